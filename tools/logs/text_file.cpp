#include "tools/logs/text_file.h"

#include <unistd.h>

#include <utility>

namespace zuvdr::tools {

TextFile::TextFile(const std::string& path) : file_(path) {
  if (!path.ends_with(".gz")) return;
  const int descriptor = dup(file_.descriptor());
  if (descriptor < 0 || (gzip_ = gzdopen(descriptor, "wb")) == nullptr) file_.fail("open");
}

TextFile::~TextFile() {
  if (gzip_ != nullptr) gzclose(gzip_);
}

void TextFile::write(std::string_view text) {
  if (gzip_ == nullptr) {
    file_.write(text);
  } else if (!text.empty() &&
             gzwrite(gzip_, text.data(), static_cast<unsigned>(text.size())) == 0) {
    file_.fail("write");
  }
}

void TextFile::close() {
  if (gzip_ != nullptr && gzclose(std::exchange(gzip_, nullptr)) != Z_OK) file_.fail("write");
  file_.close();
}

}  // namespace zuvdr::tools
