#include "host/phone_fix.h"

#include <gtest/gtest.h>

#include <cmath>

#include "engine/fix_quality.h"

namespace zuvdr {
namespace {

// 10 m/s towards the bearing whose sine and cosine are 0.8 and 0.6; the bearing's sigma is 0.2 m/s
// at that speed.
const PhoneFix kFix{.time_ns = 7,
                    .latitude = 48.2,
                    .longitude = 16.4,
                    .altitude = 160.0,
                    .horizontal_accuracy = 4.0,
                    .vertical_accuracy = 6.0,
                    .speed = 10.0,
                    .speed_accuracy = 0.5,
                    .bearing = 53.13010235415598,
                    .bearing_accuracy = 1.1459155902616465};

TEST(PhoneFix, SpeedAndBearingBecomeAVelocityWithSigmas) {
  const GpsData fix = to_gps_data(kFix);
  EXPECT_TRUE(passes_quality_test(fix));
  EXPECT_NEAR(fix.vel_e, 8.0, 1e-6);
  EXPECT_NEAR(fix.vel_n, 6.0, 1e-6);
  EXPECT_EQ(fix.vel_u, 0.0F);
  EXPECT_NEAR(fix.vel_acc_e, 0.41761226035642203, 1e-7);  // sqrt(0.40^2 + 0.12^2)
  EXPECT_NEAR(fix.vel_acc_n, 0.34, 1e-7);                 // sqrt(0.30^2 + 0.16^2)
  EXPECT_NEAR(fix.pos_acc_e, 2.82842712474619, 1e-6);
  EXPECT_EQ(fix.pos_acc_n, fix.pos_acc_e);
  EXPECT_EQ(fix.pos_acc_u, 6.0F);
  EXPECT_EQ(fix.time_ns, 7);
  EXPECT_EQ(fix.altitude, 160.0);
}

TEST(PhoneFix, WhatIsUnknownDoesNotPass) {
  for (double PhoneFix::*unknown :
       {&PhoneFix::latitude, &PhoneFix::longitude, &PhoneFix::altitude,
        &PhoneFix::horizontal_accuracy, &PhoneFix::vertical_accuracy, &PhoneFix::speed,
        &PhoneFix::speed_accuracy, &PhoneFix::bearing, &PhoneFix::bearing_accuracy}) {
    for (const double value : {PhoneFix::kUnknown, HUGE_VAL, -HUGE_VAL}) {
      PhoneFix fix = kFix;
      fix.*unknown = value;
      const GpsData made = to_gps_data(fix);
      EXPECT_FALSE(passes_quality_test(made));
      EXPECT_TRUE(std::isfinite(made.latitude + made.longitude + made.altitude + made.speed +
                                made.bearing + made.vel_e + made.vel_n));
    }
  }
  PhoneFix stand = kFix;
  stand.speed = 0.3;
  stand.bearing = stand.bearing_accuracy = 0.0;  // as phones say it at a standstill
  const GpsData made = to_gps_data(stand);
  EXPECT_TRUE(passes_quality_test(made));
  EXPECT_EQ(made.vel_e, 0.0F);
  EXPECT_NEAR(made.vel_acc_n, 0.58309518948453, 1e-7);  // sqrt(0.5^2 + 0.3^2)
}

}  // namespace
}  // namespace zuvdr
