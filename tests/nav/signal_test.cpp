#include "nav/signal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {

// The amplitude response is the bilinear transform's, 1/sqrt(1 + (tan(pi f/fs)/tan(pi fc/fs))^6),
// for a design rate a thousandth beside fs = 25 Hz; at DC it is exact. The impulse on z must find
// the delay lines of this filter and of this axis still empty, whatever went through the others
// before.
TEST(LowPass, EachFilterAndAxisIsAButterworthOfThirdOrderAtOneHertz) {
  for (const auto filter : {wLowPassFilter, aLowPassFilter, LPF_1Hz_order3}) {
    double first[3], out[3], step[3] = {-3.0, 0.0, 0.0};
    filter(step, first);
    EXPECT_DOUBLE_EQ(first[0], -3.0 * 0.0015704238321204136);
    for (int k = 0; k < 1000; ++k) filter(step, out);
    EXPECT_NEAR(out[0], -3.0, 1e-9);
    for (const double frequency : {0.0, 0.3, 1.0, 2.0, 5.0, 10.0}) {  // Hz
      constexpr double kTurn = std::numbers::pi / 25.0;
      std::complex<double> response;
      for (int k = 0; k < 1000; ++k) {
        const double impulse[3] = {-3.0, 0.0, k == 0 ? 1.0 : 0.0};
        filter(impulse, out);
        response += std::polar(1.0, -2.0 * kTurn * frequency * k) * out[2];
        EXPECT_EQ(out[1], 0.0);
      }
      const double warped = std::tan(kTurn * frequency) / std::tan(kTurn);
      const double expected = 1.0 / std::sqrt(1.0 + std::pow(warped, 6));
      EXPECT_NEAR(std::abs(response), expected, 0.003 * expected) << frequency;
    }
  }
}

TEST(Statistics, DenominatorsAndEmptyCases) {
  const std::deque<double> three = {1.0, 2.0, 3.0}, one = {5.0}, none;
  EXPECT_DOUBLE_EQ(CalStd(std::queue(three)), 1.0);
  EXPECT_DOUBLE_EQ(var(three), 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(mean(three), 2.0);
  EXPECT_TRUE(std::isnan(CalStd(std::queue(one))));
  EXPECT_DOUBLE_EQ(var(one), 0.0);
  EXPECT_TRUE(std::isnan(mean(none)) && std::isnan(var(none)));
  const double empty = CalStd(std::queue(none));
  EXPECT_TRUE(empty == 0.0 && std::signbit(empty));
}

}  // namespace
