#include "tools/logs/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace zuvdr::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBufferSize = 1 << 16;  // bytes
constexpr std::size_t kLongestStem = 200;     // bytes of the name that its temporary name repeats
constexpr int kMostLinks = 40;                // in a chain, as the kernel has it

constexpr int kFatalSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE, SIGALRM,
                                 SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ};

// The temporary files that stand, for the signal handler. Changed with the signals held back only.
std::vector<std::string> temporary_files;

sigset_t fatal_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kFatalSignals) sigaddset(&set, signal);
  return set;
}

class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    const sigset_t set = fatal_signals();
    pthread_sigmask(SIG_BLOCK, &set, &before_);
  }
  ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_;
};

void remove_temporary_files(int signal) {
  for (const std::string& path : temporary_files) unlink(path.c_str());
  raise(signal);  // SA_RESETHAND: ends the program
}

void install_handler() {
  static bool installed = false;
  if (std::exchange(installed, true)) return;
  struct sigaction action {};
  action.sa_handler = remove_temporary_files;
  action.sa_mask = fatal_signals();
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : kFatalSignals) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
  }
}

// Where a file opened under this name would come to stand: links followed, also one to nowhere.
fs::path target_of(const std::string& path) {
  fs::path place = path;
  std::error_code error;
  for (int links = 0; links < kMostLinks && fs::is_symlink(place, error); ++links) {
    place = place.parent_path() / fs::read_symlink(place, error);
  }
  return place;
}

// Equal for two names of one file; empty for what is neither a file nor could become one.
std::string identity(const std::string& path, int standard) {
  struct stat status {};
  if ((path == "-" ? fstat(standard, &status) : stat(path.c_str(), &status)) == 0) {
    if (!S_ISREG(status.st_mode)) return {};
    return fmt::format("{}:{}", status.st_dev, status.st_ino);
  }
  if (path.empty() || path == "-") return {};
  std::error_code error;
  return fs::weakly_canonical(fs::absolute(target_of(path), error), error).string();
}

}  // namespace

void check_outputs(std::span<const std::string> inputs, std::span<const std::string> outputs) {
  if (std::ranges::count(inputs, "-") > 1)
    throw std::invalid_argument("standard input: named twice");
  if (std::ranges::count_if(outputs, is_standard_output) > 1) {
    throw OutputError("standard output: named for two outputs");
  }
  std::vector<std::pair<std::string, std::string>> known;  // identity, why it is refused
  for (const std::string& path : inputs) {
    const std::string input = path == "-" ? "standard input" : "the input " + path;
    known.emplace_back(identity(path, STDIN_FILENO), "would overwrite " + input);
  }
  const auto add = [&](const std::string& path, const std::string& name, const char* kind) {
    const std::string file = identity(path, STDOUT_FILENO);
    const auto same = std::ranges::find_if(
        known, [&](const auto& other) { return !file.empty() && other.first == file; });
    if (same != known.end()) throw OutputError(fmt::format("{}: {}", name, same->second));
    known.emplace_back(file, fmt::format("the same file as {}{}", kind, name));
  };
  add("-", "standard output", "");
  for (const std::string& path : outputs) {
    if (!is_standard_output(path)) add(path, path, "the output ");
  }
}

bool is_standard_output(const std::string& path) {
  if (path == "-" || path == "/dev/stdout") return true;
  struct stat named {};
  struct stat standard {};
  if (stat(path.c_str(), &named) != 0 || fstat(STDOUT_FILENO, &standard) != 0) return false;
  const bool device = S_ISCHR(named.st_mode) && isatty(STDOUT_FILENO) == 0;  // such as /dev/null
  return !S_ISREG(named.st_mode) && !device && named.st_dev == standard.st_dev &&
         named.st_ino == standard.st_ino;
}

void flush_standard_output() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
  throw OutputError(fmt::format("standard output: cannot write: {}", std::strerror(errno)));
}

OutputFile::OutputFile(const std::string& path)
    : name_(is_standard_output(path) ? "standard output" : path) {
  if (is_standard_output(path)) {
    descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  } else {
    struct stat status {};
    const bool there = stat(path.c_str(), &status) == 0;
    if (!there && (errno != ENOENT || path.empty())) fail("open");
    if (there && !S_ISREG(status.st_mode)) {
      descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
      target_ = target_of(path).string();
      if (there && access(target_.c_str(), W_OK) != 0) fail("open");
      open_beside();
      // Not all file systems have modes.
      if (descriptor_ >= 0 && there) static_cast<void>(fchmod(descriptor_, status.st_mode & 07777));
    }
  }
  if (descriptor_ < 0) fail("open");
}

void OutputFile::open_beside() {
  const fs::path place = target_;
  const std::string stem = place.filename().string().substr(0, kLongestStem);
  std::random_device random;
  const SignalsHeldBack held;
  install_handler();
  do {
    const std::string name = fmt::format(".{}.{:06x}.part", stem, random() & 0xFFFFFF);
    temporary_ = (place.parent_path() / name).string();
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EEXIST);
  if (descriptor_ >= 0) temporary_files.push_back(temporary_);
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (temporary_.empty()) return;
  const SignalsHeldBack held;
  unlink(temporary_.c_str());
  std::erase(temporary_files, temporary_);
}

void OutputFile::write(std::string_view text) {
  buffer_ += text;
  if (buffer_.size() >= kBufferSize) drain();
}

void OutputFile::flush() {
  if (temporary_.empty()) drain();
}

void OutputFile::drain() {
  for (std::string_view rest = buffer_; !rest.empty();) {
    const ssize_t count = ::write(descriptor_, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("write");
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  buffer_.clear();
}

void OutputFile::close() {
  drain();
  const SignalsHeldBack held;
  if (::close(std::exchange(descriptor_, -1)) != 0) fail("write");
  if (temporary_.empty()) return;
  if (rename(temporary_.c_str(), target_.c_str()) != 0) fail("write");
  std::erase(temporary_files, std::exchange(temporary_, {}));
}

void OutputFile::fail(const char* what) const {
  throw OutputError(fmt::format("{}: cannot {}: {}", name_, what, std::strerror(errno)));
}

}  // namespace zuvdr::tools
