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
#include <system_error>
#include <utility>
#include <vector>

namespace zuvdr::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBufferSize = 1 << 16;  // bytes
constexpr std::size_t kLongestStem = 200;     // bytes of the name that its hidden name repeats
constexpr int kMostLinks = 40;                // in a chain, as the kernel has it

constexpr int kFatalSignals[] = {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGXFSZ};

// The hidden files that stand, for the signal handler. Changed with the signals held back only.
struct HiddenFiles {
  pid_t owner = 0;  // children have them too
  std::vector<std::string> paths;
};
HiddenFiles hidden_files;

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

void remove_hidden_files(int signal) {
  if (getpid() == hidden_files.owner) {
    for (const std::string& path : hidden_files.paths) unlink(path.c_str());
  }
  raise(signal);  // SA_RESETHAND: ends the program
}

void install_handler() {
  hidden_files.owner = getpid();
  struct sigaction action {};
  action.sa_handler = remove_hidden_files;
  action.sa_mask = fatal_signals();
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : kFatalSignals) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
  }
}

// Where a file opened under this name would come to stand: links followed, also one to nowhere.
fs::path place_of(const std::string& path) {
  fs::path place = path;
  std::error_code error;
  for (int links = 0; links < kMostLinks && fs::is_symlink(place, error); ++links) {
    place = place.parent_path() / fs::read_symlink(place, error);
  }
  return place;
}

bool is_standard_output(const std::string& path) {
  return path == "-" || path == "/dev/stdout";
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
  return fs::weakly_canonical(fs::absolute(place_of(path), error), error).string();
}

}  // namespace

void check_outputs(std::span<const std::string> inputs, std::span<const std::string> outputs) {
  std::vector<std::pair<std::string, std::string>> known;  // identity, why it is refused
  for (const std::string& path : inputs) {
    const std::string input = path == "-" ? "standard input" : "the input " + path;
    known.emplace_back(identity(path, STDIN_FILENO), "would overwrite " + input);
  }
  bool standard_output = false;
  for (const std::string& path : outputs) {
    if (path == "-" && std::exchange(standard_output, true)) {
      throw OutputError("standard output: named for two outputs");
    }
    const std::string file = identity(path, STDOUT_FILENO);
    const auto same = std::ranges::find_if(
        known, [&](const auto& other) { return !file.empty() && other.first == file; });
    const std::string name = path == "-" ? "standard output" : path;
    if (same != known.end()) throw OutputError(fmt::format("{}: {}", name, same->second));
    known.emplace_back(file, "the same file as the output " + name);
  }
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
      place_ = place_of(path).string();
      if (there && access(place_.c_str(), W_OK) != 0) fail("open");
      open_beside();
      // Not all file systems have modes.
      if (descriptor_ >= 0 && there) static_cast<void>(fchmod(descriptor_, status.st_mode & 07777));
    }
  }
  if (descriptor_ < 0) fail("open");
}

void OutputFile::open_beside() {
  const fs::path place = place_;
  const std::string stem = place.filename().string().substr(0, kLongestStem);
  std::random_device random;
  const SignalsHeldBack held;
  if (hidden_files.owner != getpid()) install_handler();
  do {
    const std::string name = fmt::format(".{}.{:06x}.part", stem, random() & 0xFFFFFF);
    temporary_ = (place.parent_path() / name).string();
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EEXIST);
  if (descriptor_ >= 0) hidden_files.paths.push_back(temporary_);
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (temporary_.empty()) return;
  const SignalsHeldBack held;
  unlink(temporary_.c_str());
  std::erase(hidden_files.paths, temporary_);
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
  if (rename(temporary_.c_str(), place_.c_str()) != 0) fail("write");
  std::erase(hidden_files.paths, std::exchange(temporary_, {}));
}

void OutputFile::fail(const char* what) const {
  throw OutputError(fmt::format("{}: cannot {}: {}", name_, what, std::strerror(errno)));
}

}  // namespace zuvdr::tools
