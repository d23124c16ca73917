#include "nav/geodesy.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <cmath>

#include "nav/ins.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// The radii are those of the reference point: to 1e-5 they hold over the kilometre to the target.
TEST(Geodesy, OffsetsAreTheGeodesicsAlongMeridianAndParallel) {
  glvs glv{};
  GlvInit(glv);
  const auto& wgs84 = GeographicLib::Geodesic::WGS84();
  for (const double latitude : {-60.0, -10.0, 0.0, 23.0, 45.0, 70.0}) {
    for (const double angle : {0.01, -0.01}) {  // degrees
      double ref[3] = {179.0, latitude, 0.0}, llh[3] = {179.0 + angle, latitude - angle, 30.0};
      double enu[3], east, north;
      G2M(ref, llh, glv, enu);
      wgs84.Inverse(latitude, ref[0], latitude, llh[0], east);
      wgs84.Inverse(latitude, ref[0], llh[1], ref[0], north);
      EXPECT_NEAR(enu[0], std::copysign(east, angle), 1e-5 * east) << latitude;
      EXPECT_NEAR(enu[1], std::copysign(north, -angle), 1e-5 * north) << latitude;
      EXPECT_EQ(enu[2], 30.0);
    }
  }
}

// A reference height of 18000/pi m counts as 100 m in the radii; at 30 degrees sin^2 is 1/4. On the
// way back the height offset is stretched by 180/pi.
TEST(Geodesy, HeightsAreScaledLikeAngles) {
  glvs glv{};
  GlvInit(glv);
  const double e2 = 2.0 / 298.257 - 1.0 / (298.257 * 298.257);
  const double RN = 6378137.0 / std::sqrt(1.0 - e2 / 4.0);
  const double RM = RN * (1.0 - e2) / (1.0 - e2 / 4.0);
  double ref[3] = {100.0, 30.0, 18000.0 / kPi}, llh[3] = {101.0, 31.0, 18002.0 / kPi}, enu[3];
  G2M(ref, llh, glv, enu);
  EXPECT_NEAR(enu[0], kPi / 180.0 * std::sqrt(0.75) * (RN + 100.0), 1e-6);
  EXPECT_NEAR(enu[1], kPi / 180.0 * (RM + 100.0), 1e-6);
  EXPECT_NEAR(enu[2], 2.0 / kPi, 1e-9);
  double back[3];
  M2G(ref, enu, glv, back);
  EXPECT_NEAR(back[0], 101.0, 1e-12);
  EXPECT_NEAR(back[1], 31.0, 1e-12);
  EXPECT_NEAR(back[2], 18000.0 / kPi + 2.0 / kPi * 180.0 / kPi, 1e-9);
  EXPECT_NEAR(ref[0], kPi / 1.8, 1e-14);  // converted in place, the height too
  EXPECT_NEAR(ref[2], 100.0, 1e-12);
}

}  // namespace
