// The zuvdr program, run in the folder of a test case. ZUVDR_PROGRAM names it.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/tools/scratch.h"

namespace zuvdr::tools {

class ProgramTest : public ScratchTest {
 protected:
  struct Result {
    int status;
    std::string out;
    std::string err;
  };

  // The arguments may end in redirections of the shell.
  Result run(const std::string& arguments, const std::string& before = "") const {
    const std::string command = "cd " + path("") + "; exec >" + path("out") + " 2>" + path("err") +
                                "; " + before + ZUVDR_PROGRAM + " " + arguments;
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(path("out")),
            read_file(path("err"))};
  }

  std::string simulated(const std::string& scenario, const std::string& name) const {
    const Result result = run("simulate " + scenario + " --out " + path(name));
    EXPECT_EQ(result.status, 0) << result.err;
    return path(name);
  }
};

}  // namespace zuvdr::tools
