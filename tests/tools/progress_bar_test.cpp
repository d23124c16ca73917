#include "tools/cli/progress_bar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/tools/scratch.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {
namespace {

TEST(ProgressBarTest, FillsFromTheLeft) {
  EXPECT_EQ(bar_text(0.25), "[" + std::string(10, '#') + std::string(30, '.') + "]  25 %");
  EXPECT_EQ(bar_text(-1.0), "[" + std::string(40, '.') + "]   0 %");
  EXPECT_EQ(bar_text(1.5), "[" + std::string(40, '#') + "] 100 %");
}

using LogProgressTest = ScratchTest;

// The bar shows how much of the file has been read, in whole blocks.
TEST_F(LogProgressTest, GrowsToOne) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += "P," + std::to_string(i) + "\n";
  EventLogReader reader(file("log.csv", text));
  double last = 0.0;
  double largest_jump = 0.0;
  EventRow row;
  while (reader.next(row)) {
    ASSERT_GE(reader.progress(), last);
    largest_jump = std::max(largest_jump, reader.progress() - last);
    last = reader.progress();
  }
  EXPECT_EQ(last, 1.0);
  EXPECT_LT(largest_jump, 0.2);
}

}  // namespace
}  // namespace zuvdr::tools
