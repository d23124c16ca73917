// Text that a command writes, plain or gzip.
#pragma once

#include <zlib.h>

#include <string>
#include <string_view>

#include "tools/logs/output_file.h"

namespace zuvdr::tools {

// An OutputFile, gzip when the path ends in ".gz". All members throw OutputError.
class TextFile {
 public:
  explicit TextFile(const std::string& path);
  ~TextFile();
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;

  void write(std::string_view text);
  // To be called when the file is complete.
  void close();

 private:
  OutputFile file_;
  gzFile gzip_ = nullptr;  // in front of the file
};

}  // namespace zuvdr::tools
