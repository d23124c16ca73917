#include "tools/logs/output_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/tools/scratch.h"

namespace zuvdr::tools {
namespace {

namespace fs = std::filesystem;

// What a case changes of the process is put back.
class OutputFileTest : public ScratchTest {
 protected:
  OutputFileTest() { getrlimit(RLIMIT_FSIZE, &limit_); }
  ~OutputFileTest() override {
    umask(mask_);
    setrlimit(RLIMIT_FSIZE, &limit_);
    signal(SIGXFSZ, too_large_);
    fs::current_path(working_);
  }

  // Of everything in the folder, hidden files too, in order.
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(path(""))) {
      all.push_back(entry.path().filename());
    }
    std::ranges::sort(all);
    return all;
  }

  rlimit limit_{};
  const mode_t mask_ = umask(022);
  const sighandler_t too_large_ = signal(SIGXFSZ, SIG_IGN);
  const fs::path working_ = fs::current_path();
};

void put(const std::string& path, const std::string& text) {
  OutputFile file(path);
  file.write(text);
  file.close();
}

mode_t mode_of(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST_F(OutputFileTest, AFileTakesItsPlaceWhenItIsComplete) {
  const std::string place = file("t.csv", "old");
  chmod(place.c_str(), 0604);
  {
    OutputFile file(place);
    file.write(std::string(200'000, 'x'));
    EXPECT_EQ(names().size(), 2U);
  }
  EXPECT_EQ(names(), std::vector<std::string>{"t.csv"});
  EXPECT_EQ(read_file(place), "old");
  put(place, "new");
  EXPECT_EQ(names(), std::vector<std::string>{"t.csv"});
  EXPECT_EQ(read_file(place), "new");
  EXPECT_EQ(mode_of(place), 0604U);

  umask(027);
  put(path("u.csv"), "");
  EXPECT_EQ(mode_of(path("u.csv")), 0640U);
}

TEST_F(OutputFileTest, LinksAreFollowedAndLongNamesTaken) {
  fs::create_directory(path("a"));
  fs::create_symlink("a/t.csv", path("link"));  // to nowhere yet
  fs::create_symlink("link", path("chain"));
  put(path("chain"), "1");
  EXPECT_EQ(read_file(path("a/t.csv")), "1");
  put(path("link"), "2");
  EXPECT_EQ(read_file(path("a/t.csv")), "2");
  EXPECT_TRUE(fs::is_symlink(path("chain")) && fs::is_symlink(path("link")));
  put(path(std::string(255, 'n')), "3");
  EXPECT_EQ(read_file(path(std::string(255, 'n'))), "3");
}

TEST_F(OutputFileTest, WhatCannotBeWrittenIsNamedWithItsReason) {
  const rlimit limit{4096, limit_.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  fs::create_symlink("loop", path("loop"));
  const std::string full = file("t.csv", "old");
  const struct {
    std::string place;
    const char* why;
  } cases[] = {
      {path("none/t.csv"), ": cannot open: No such file or directory"},
      {"", ": cannot open: No such file or directory"},
      {path(""), ": cannot open: Is a directory"},
      {path("t.csv/u.csv"), ": cannot open: Not a directory"},
      {path("loop"), ": cannot open: Too many levels of symbolic links"},
      {path(std::string(256, 'n')), ": cannot open: File name too long"},
      {"/dev/full", ": cannot write: No space left on device"},
      {full, ": cannot write: File too large"},
  };
  for (const auto& [place, why] : cases) {
    try {
      put(place, std::string(5000, 'x'));
      ADD_FAILURE() << place;
    } catch (const OutputError& error) {
      EXPECT_EQ(error.what(), place + why);
    }
  }
  EXPECT_EQ(read_file(full), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"loop", "t.csv"}));
}

TEST_F(OutputFileTest, ASignalThatEndsTheProgramRemovesTheTemporaryFile) {
  const pid_t child = fork();
  if (child == 0) {
    OutputFile file(path("t.csv"));
    if (names().size() == 1) raise(SIGUSR1);
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGUSR1);
  EXPECT_TRUE(names().empty());
}

TEST_F(OutputFileTest, InputsAndOtherOutputsAreNotOverwritten) {
  const std::string log = file("log.csv", "log");
  fs::create_symlink("log.csv", path("symbolic"));
  fs::create_hard_link(log, path("hard"));
  fs::create_symlink("t.csv", path("dangling"));
  fs::create_directory(path("a"));
  fs::current_path(path(""));
  using Paths = std::vector<std::string>;
  const struct {
    Paths outputs;
    std::string why;
  } cases[] = {
      {{path("t.csv"), path("a/t.csv"), "/dev/null", "/dev/null", "-"}, ""},
      {{path("t.csv"), log}, "log.csv: would overwrite the input " + log},
      {{path("a/../log.csv")}, "log.csv: would overwrite the input " + log},
      {{path("symbolic")}, "symbolic: would overwrite the input " + log},
      {{path("hard")}, "hard: would overwrite the input " + log},
      {{path("t.csv"), path("a/../t.csv")}, "t.csv: the same file as the output " + path("t.csv")},
      {{path("t.csv"), path("dangling")}, "dangling: the same file as the output " + path("t.csv")},
      {{"t.csv", "./t.csv"}, "./t.csv: the same file as the output t.csv"},
      {{"-", "-"}, "standard output: named for two outputs"},
  };
  for (const auto& [outputs, why] : cases) {
    std::string found;
    try {
      check_outputs(Paths{log}, outputs);
    } catch (const OutputError& error) {
      found = error.what();
    }
    EXPECT_TRUE(why.empty() ? found.empty() : found.ends_with(why)) << found << " for " << why;
  }
}

}  // namespace
}  // namespace zuvdr::tools
