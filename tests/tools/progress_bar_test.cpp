#include "tools/cli/progress_bar.h"

#include <gtest/gtest.h>

#include <string>

namespace zuvdr::tools {
namespace {

TEST(ProgressBarTest, FillsFromTheLeft) {
  EXPECT_EQ(bar_text(0.25), "[" + std::string(10, '#') + std::string(30, '.') + "]  25 %");
  EXPECT_EQ(bar_text(-1.0), "[" + std::string(40, '.') + "]   0 %");
  EXPECT_EQ(bar_text(1.5), "[" + std::string(40, '#') + "] 100 %");
}

}  // namespace
}  // namespace zuvdr::tools
