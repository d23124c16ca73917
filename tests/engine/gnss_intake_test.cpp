#include <gtest/gtest.h>

#include <cstring>

#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

Vec3 triple(const double* v) {
  return {v[0], v[1], v[2]};
}

TEST(GnssIntake, AFixIsStoredWholeAndItsPredecessorKeptGoodOrBad) {
  Reset();
  GpsData first = good_fix(5, 2.5f, 11.5, -48.25);
  first.vel_e = 1.1f;
  first.vel_u = -0.5f;
  first.bearing = 77.0f;
  first.aux = 0xFEDCBA9876543210;
  EXPECT_EQ(SyncGPSEventforFusion(&first), &first);
  const insZuAlgo& e = engine();
  EXPECT_EQ(std::memcmp(&e.gps_fix, &first, sizeof first), 0);
  EXPECT_EQ(triple(e.gps_pos), (Vec3{11.5, -48.25, 50.0})) << "longitude first";
  EXPECT_EQ(triple(e.gps_vel), (Vec3{1.100000023841858, 0.0, -0.5})) << "float32, widened";
  EXPECT_EQ(triple(e.gps_prev_pos), Vec3{});
  EXPECT_EQ(triple(e.gps_prev_vel), Vec3{});
  EXPECT_EQ(e.gps_prev_time, 0);

  GpsData bad = good_fix(kLastTime, -1.0f, kNan, 91.0);
  bad.vel_n = std::numeric_limits<float>::infinity();
  SyncGPSEventforFusion(&bad);
  EXPECT_EQ(triple(e.gps_prev_pos), (Vec3{11.5, -48.25, 50.0}));
  EXPECT_EQ(triple(e.gps_prev_vel), (Vec3{1.100000023841858, 0.0, -0.5}));
  EXPECT_EQ(e.gps_prev_time, 5);
  SyncGPSEventforFusion(&first);
  EXPECT_TRUE(std::isnan(e.gps_prev_pos[0]) && std::isinf(e.gps_prev_vel[1]));
  EXPECT_EQ(e.gps_prev_time, kLastTime);
}

}  // namespace
