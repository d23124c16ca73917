#include <gtest/gtest.h>

#include <string>

#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

TEST(LogLine, ShowsSpeedAndThreefoldPositions) {
  Reset();
  EXPECT_STREQ(getAlgoLog(),
               "zuxdr: 0 0 0 0 0 0 0 0 0 0 0.000000 0.000000 0.000000 0.000000 0.000000 0.000000 "
               "0.000000");
  GpsData fix = good_fix(kSecond, 1.0f, 116.5, -33.25);
  fix.altitude = -10.0 / 3.0;
  fix.vel_e = -3.0f;
  fix.vel_n = 4.0f;
  fix.vel_u = 100.0f;  // the speed is horizontal
  SyncGPSEventforFusion(&fix);
  EXPECT_STREQ(getAlgoLog(),
               "zuxdr: 0 0 0 0 0 0 0 0 0 0 5.000000 349.500000 -99.750000 -10.000000 0.000000 "
               "0.000000 0.000000");
  UpdateLocationbyGPSEvent(0);  // raw output; the fix passes the quality test
  EXPECT_STREQ(getAlgoLog(),
               "zuxdr: 0 0 0 0 0 0 0 0 0 1 5.000000 349.500000 -99.750000 -10.000000 349.500000 "
               "-99.750000 0.000000");
}

TEST(LogLine, OrderOfTheWholeNumbers) {
  insZuAlgo& e = engine();
  Reset();
  std::int32_t* values[] = {&e.motion_reset,   &e.vehicle_mode, &e.ins_aligned,
                            &e.att_converged,  &e.ins_pos_set,  &e.gps_status,
                            &e.gps_converged,  &e.pdr_flag,     &e.step_detector.bout_step_count,
                            &e.ins_init_enable};
  for (int i = 0; i < 10; ++i) *values[i] = i < 9 ? i + 1 : std::numeric_limits<int>::min();
  EXPECT_EQ(std::string(getAlgoLog()).substr(0, 46),
            "zuxdr: 1 2 3 4 5 6 7 8 9 -2147483648 0.000000 ");
}

TEST(LogLine, IsCutAt179CharactersAndLeavesNoRemains) {
  Reset();
  const std::string start = getAlgoLog();
  GpsData fix = good_fix(kSecond, 1.0f, 1e300, 0.0);
  SyncGPSEventforFusion(&fix);
  const std::string whole = engine().getAlgoLog();
  ASSERT_GT(whole.size(), 300u);
  const char* line = getAlgoLog();
  EXPECT_EQ(line, whole.substr(0, 179));
  Reset();
  EXPECT_EQ(getAlgoLog(), line) << "the buffer is always the same";
  EXPECT_EQ(std::string(line, 180), start + std::string(180 - start.size(), '\0'));
}

}  // namespace
