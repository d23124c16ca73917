#include "tools/logs/line_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

namespace zuvdr::tools {
namespace {

constexpr std::size_t kChunkSize = 1 << 16;  // bytes read or decompressed at a time
constexpr int kGzipOnly = 16 + MAX_WBITS;    // for inflateInit2

}  // namespace

LineReader::LineReader(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      descriptor_{path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)},
      size_(std::numeric_limits<double>::quiet_NaN()),
      input_buffer_(kChunkSize),
      text_buffer_(kLongestLine + 1 + kChunkSize) {
  if (descriptor_.number < 0) {
    throw InputError(fmt::format("{}: cannot open: {}", name_, std::strerror(errno)));
  }
  struct stat status {};
  if (path != "-" && fstat(descriptor_.number, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<double>(status.st_size);
  }
  begin();
}

LineReader::LineReader(std::string name, Read read)
    : name_(std::move(name)),
      descriptor_{-1},
      read_(std::move(read)),
      size_(std::numeric_limits<double>::quiet_NaN()),
      input_buffer_(kChunkSize),
      text_buffer_(kLongestLine + 1 + kChunkSize) {
  begin();
}

void LineReader::begin() {
  constexpr std::size_t kLongestMagic = 4;  // bytes
  while (input_.size() < kLongestMagic && read_input()) {
  }
  gzip_ = input_.starts_with("\x1F\x8B");
  if (gzip_ && inflateInit2(&stream_, kGzipOnly) != Z_OK) throw std::bad_alloc();
  inside_member_ = gzip_;
}

LineReader::~LineReader() {
  if (gzip_) inflateEnd(&stream_);
}

LineReader::Descriptor::~Descriptor() {
  if (number > STDIN_FILENO) close(number);
}

// Reads more behind what is left of the input; false at the end of the file.
bool LineReader::read_input() {
  if (!input_.empty()) std::memmove(input_buffer_.data(), input_.data(), input_.size());
  const std::size_t kept = input_.size();
  char* const behind = input_buffer_.data() + kept;
  const std::size_t room = input_buffer_.size() - kept;
  ssize_t count = 0;
  do {
    count =
        read_ ? static_cast<ssize_t>(read_(behind, room)) : read(descriptor_.number, behind, room);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    throw InputError(fmt::format("{}: cannot read: {}", name_, std::strerror(errno)));
  }
  input_ = std::string_view(input_buffer_.data(), kept + static_cast<std::size_t>(count));
  offset_ += count;
  return count > 0;
}

std::size_t LineReader::copy(char* to, std::size_t room) {
  if (input_.empty() && !read_input()) return 0;
  const std::size_t count = input_.copy(to, room);
  input_.remove_prefix(count);
  return count;
}

std::size_t LineReader::decompress(char* to, std::size_t room) {
  stream_.next_out = reinterpret_cast<Bytef*>(to);
  stream_.avail_out = static_cast<uInt>(room);
  while (stream_.avail_out == room) {
    if (!damage_.empty()) {
      throw InputError(
          fmt::format("{}: damaged gzip stream after line {}: {}", name_, number_, damage_));
    }
    if (input_.empty() && !read_input()) {
      if (!inside_member_) return 0;
      throw InputError(fmt::format("{}: gzip stream breaks off after line {}", name_, number_));
    }
    if (!inside_member_) inflateReset(&stream_);
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input_.data()));
    stream_.avail_in = static_cast<uInt>(input_.size());
    const int code = inflate(&stream_, Z_NO_FLUSH);
    input_.remove_prefix(input_.size() - stream_.avail_in);
    inside_member_ = code != Z_STREAM_END;
    if (code != Z_OK && code != Z_STREAM_END) {
      damage_ = stream_.msg != nullptr ? stream_.msg : zError(code);
    }
  }
  return room - stream_.avail_out;
}

// Puts more text behind the unread begin of a line, of which what is too long is dropped; false at
// the end.
bool LineReader::fill() {
  const std::size_t kept = std::min(text_.size(), kLongestLine + 1);
  if (kept > 0) std::memmove(text_buffer_.data(), text_.data(), kept);
  text_ = std::string_view(text_buffer_.data(), kept);
  char* const behind = text_buffer_.data() + kept;
  const std::size_t count = gzip_ ? decompress(behind, kChunkSize) : copy(behind, kChunkSize);
  text_ = std::string_view(text_buffer_.data(), kept + count);
  return count > 0;
}

bool LineReader::peek_more() {
  try {
    return text_.size() <= kLongestLine && fill();
  } catch (const InputError&) {
    return false;
  }
}

std::string LineReader::read_raw() {
  std::string all;
  do {
    all += input_;
    input_ = {};
  } while (read_input());
  return all;
}

bool LineReader::next(std::string_view& line) {
  std::size_t end = text_.find('\n');
  while (end == std::string_view::npos && fill()) end = text_.find('\n');
  if (text_.empty()) return false;
  line = text_.substr(0, std::min(end, kLongestLine + 1));
  text_.remove_prefix(std::min(end, text_.size() - 1) + 1);
  too_long_ = line.size() > kLongestLine;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (++number_ == 1 && line.starts_with(kByteOrderMark)) {
    line.remove_prefix(kByteOrderMark.size());
  }
  line = trim(line);
  return true;
}

double LineReader::progress() const {
  return static_cast<double>(offset_ - std::ssize(input_)) / size_;
}

std::string LineReader::described(const FieldError& error) const {
  return fmt::format("{}:{}: {}", name_, number_, error.what);
}

}  // namespace zuvdr::tools
