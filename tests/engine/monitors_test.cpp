#include <gtest/gtest.h>

#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

TEST(Monitors, VotersAnswerAfterAFullWindowOfOneKind) {
  const struct {
    int (insZuAlgo::*vote)(int);
    int window;
  } voters[] = {
      {&insZuAlgo::CarStability, 30}, {&insZuAlgo::CarTunnel, 60}, {&insZuAlgo::PdrStability, 5}};
  for (const auto& voter : voters) {
    Reset();
    const int N = voter.window;
    const auto feed = [&voter](int n, int sample, int until, int then) {
      for (int i = 1; i <= n; ++i) {
        EXPECT_EQ((engine().*voter.vote)(sample), i < until ? -1 : then)
            << voter.window << ' ' << i;
      }
    };
    feed(N + 10, 0, N, 1);
    feed(1, 7, 2, 0);  // one of the other kind
    feed(N, 0, N, 1);
    // Any value but zero is of the same kind.
    for (const int other : {1, -1, std::numeric_limits<int>::min(), 256}) feed(1, other, 2, 0);
    feed(100, 65536, N - 4, 0);
  }
  engine().InsClear();
  EXPECT_TRUE(engine().stability_win.empty() && engine().tunnel_win.empty());
  EXPECT_EQ(engine().PdrStability(1), 0) << "the walker's window is not the vehicle's";
  engine().PdrClear();
  EXPECT_EQ(engine().PdrStability(1), -1);
}

TEST(Monitors, ConvergenceNeeds30OfTheLast50) {
  Reset();
  for (int i = 1; i <= 30; ++i) EXPECT_EQ(engine().CarConvergence(1), i >= 30) << i;
  for (int i = 1; i <= 25; ++i) EXPECT_EQ(engine().CarConvergence(0), i <= 20) << i;
  engine().InsClear();
  for (int i = 0; i < 200; ++i) EXPECT_FALSE(engine().CarConvergence(i % 2)) << i;
  engine().InsClear();
  for (int i = 0; i < 200; ++i) EXPECT_EQ(engine().CarConvergence(i % 5 < 3 ? -i - 1 : 0), i >= 47);
}

}  // namespace
