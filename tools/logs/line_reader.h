// Lines of a text file, plain or gzip.
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/logs/text_fields.h"

namespace zuvdr::tools {

// An input cannot be read; what() is one line naming file, line number and field.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The memory it needs grows neither with the length of the file nor with that of a line.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = 1 << 12;  // bytes; a row takes a few hundred

  // "-" is standard input. Throws InputError when the file cannot be opened or is no file.
  explicit LineReader(const std::string& path);
  // Of something else that has bytes: `read` puts up to so many there and returns how many it put,
  // 0 at the end; it may throw InputError. The name is for messages.
  using Read = std::function<std::size_t(char* to, std::size_t room)>;
  LineReader(std::string name, Read read);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, trimmed, without the byte order mark the file may begin with; valid until the
  // next call. Of a line that is too long only the first bytes. False at the end of the file.
  // Throws InputError when the rest cannot be read, after what stands before.
  bool next(std::string_view& line);

  // The text at hand that has not been read as lines; valid until the next call. peek_more brings
  // more of it, up to kLongestLine and beyond; false when there is none, or none that can be read:
  // the error is thrown when the lines before have been read.
  std::string_view peek() const { return text_; }
  bool peek_more();

  // The file itself, whatever is in it: how it begins, and all of it that has not been read. To be
  // called instead of next and peek.
  std::string_view raw_begin() const { return input_; }
  std::string read_raw();
  bool regular_file() const { return size_ == size_; }

  bool too_long() const { return too_long_; }      // the last line
  std::int64_t number() const { return number_; }  // of the last line, from 1
  const std::string& name() const { return name_; }
  // How much of the file has been read, 0 to 1; NaN when its size is not known.
  double progress() const;

  // "FILE:LINE: WHY" for the last line.
  std::string described(const FieldError& error) const;

 private:
  struct Descriptor {
    ~Descriptor();  // closes it, but not standard input
    int number;
  };

  void begin();
  bool read_input();
  bool fill();
  std::size_t copy(char* to, std::size_t room);
  std::size_t decompress(char* to, std::size_t room);

  std::string name_;
  const Descriptor descriptor_;
  const Read read_;          // instead of the descriptor
  double size_;              // of the file, bytes
  std::int64_t offset_ = 0;  // in the file, behind the input
  std::vector<char> input_buffer_;
  std::string_view input_;  // part of its buffer
  bool gzip_ = false;
  bool inside_member_ = false;
  z_stream stream_{};
  std::string damage_;  // of the gzip stream
  std::vector<char> text_buffer_;
  std::string_view text_;  // part of its buffer
  std::int64_t number_ = 0;
  bool too_long_ = false;
};

}  // namespace zuvdr::tools
