// Files of one test case, in a folder of its own that goes with it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zuvdr::tools {

inline std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class ScratchTest : public testing::Test {
 protected:
  ScratchTest() { std::filesystem::create_directories(folder_); }
  ~ScratchTest() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }

 private:
  const std::filesystem::path folder_ =
      std::filesystem::path(testing::TempDir()) / ("zuvdr_scratch_" + std::to_string(getpid()));
};

}  // namespace zuvdr::tools
