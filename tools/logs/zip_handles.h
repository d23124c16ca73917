// Owners of libzip's objects.
#pragma once

#include <zip.h>

#include <memory>

namespace zuvdr::tools {

// Changes that zip_close has not written are given up.
using ZipArchive = std::unique_ptr<zip_t, decltype(&zip_discard)>;

struct ZipError : zip_error_t {
  ZipError() { zip_error_init(this); }
  ~ZipError() { zip_error_fini(this); }
  ZipError(const ZipError&) = delete;
  ZipError& operator=(const ZipError&) = delete;
};

}  // namespace zuvdr::tools
