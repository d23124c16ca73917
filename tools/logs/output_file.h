// Files that a command writes.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zuvdr::tools {

// Something cannot be written; what() is one line naming the file and the reason.
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Refuses what would overwrite an input, another output or standard output, links followed: throws
// OutputError; and standard input ("-") named twice: throws std::invalid_argument. To be called
// before anything is opened. Devices and pipes may be named more than once.
void check_outputs(std::span<const std::string> inputs, std::span<const std::string> outputs);

// "-", or a name of the pipe or terminal that standard output is.
bool is_standard_output(const std::string& path);

// Throws OutputError unless everything printed to the C library's stdout has been written.
void flush_standard_output();

// A file to be written, or standard output. A regular file is written beside its place, under a
// temporary name, and takes its place when it is closed; until then, and if it never is, what stood
// there stands. Signals that ask the program to end remove the temporary file; a crash or SIGKILL
// leaves it. Devices and pipes are written directly. All members throw OutputError.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(std::string_view text);
  // For readers that follow what is written directly.
  void flush();
  // To be called when the file is complete.
  void close();

  const std::string& name() const { return name_; }  // for messages

  // For writers of their own, which do not use write. The file keeps it.
  int descriptor() const { return descriptor_; }
  // Throws what errno says.
  [[noreturn]] void fail(const char* what) const;

 private:
  void open_beside();
  void drain();

  std::string name_;
  std::string target_;     // links followed
  std::string temporary_;  // empty when written directly
  int descriptor_ = -1;
  std::string buffer_;
};

}  // namespace zuvdr::tools
