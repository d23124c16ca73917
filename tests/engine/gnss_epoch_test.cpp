#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "nav/attitude.h"
#include "nav/geodesy.h"
#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

// Distance in metres between the output and a position.
double distance_to(const GpsData& fix) {
  const auto [per_lon, per_lat] = metres_per_degree(fix.latitude);
  return std::hypot((location().longitude - fix.longitude) * per_lon,
                    (location().latitude - fix.latitude) * per_lat);
}

TEST(FixQuality, EveryAccuracyHasItsLimitAndVehicleModeNeedsAGoodFixAbove5MetresPerSecond) {
  const std::tuple<float GpsData::*, float, float> limits[] = {
      // compared as double: 1.91f and 1.55f lie below the limit, 1.95f above
      {&GpsData::vel_acc_e, 1.91f, 1.9100001f},  {&GpsData::vel_acc_n, 1.9499999f, 1.95f},
      {&GpsData::vel_acc_u, 1.55f, 1.5500001f},  {&GpsData::pos_acc_e, 249.99998f, 250.0f},
      {&GpsData::pos_acc_n, 249.99998f, 250.0f}, {&GpsData::pos_acc_u, 249.99998f, 250.0f},
      {&GpsData::speed_acc, 2.9999998f, 3.0f}};
  const auto mode = [](float GpsData::*field, float value) {
    Reset();
    GpsData fix = good_fix(kSecond, 5.0000005f, -70.25, -33.5);
    fix.*field = value;
    EXPECT_EQ(feed_fix(fix), 0);
    EXPECT_EQ(distance_to(fix), 0.0) << "the raw fix, in any hemisphere";
    return GetCarFlag();
  };
  for (const auto& [accuracy, pass, fail] : limits) {
    for (const float value : {pass, std::numeric_limits<float>::denorm_min()}) {
      EXPECT_EQ(mode(accuracy, value), ZUVDR_CAR_VEHICLE_MODE) << value;
    }
    for (const float value : {fail, 0.0f, -0.0f, -1.0f, kFloatNan, 1e30f}) {
      EXPECT_EQ(mode(accuracy, value), 0) << value;
    }
  }
  EXPECT_EQ(mode(&GpsData::speed, 5.0f), 0);
  EXPECT_EQ(mode(&GpsData::speed, kFloatNan), 0);
}

TEST(VehicleDrive, GoesThroughEveryStateAndATunnel) {
  Car car;
  car.start();
  EXPECT_EQ(GetCarFlag(), 14) << "too slow to align";
  EXPECT_EQ(car.good(2.5), 0);
  EXPECT_EQ(GetCarFlag(), 15);
  EXPECT_EQ(distance_to(car.fix()), 0.0) << "raw at the aligning fix";
  for (int i = 1; i <= 33; ++i) {
    EXPECT_EQ(car.good(i <= 5 ? 2.5 : 0.0), i >= 30) << "good fix " << i << " after alignment";
    // The output belongs to the newest processed epoch, a second before the fix.
    Car then = car;
    then.distance -= then.speed * static_cast<double>(car.t - engine().last_sensor_time) / 1e9;
    EXPECT_LT(distance_to(then.fix()), i > 15 ? 1.0 : 20.0) << i;
  }
  EXPECT_EQ(car.bad(0), 2) << "a poor fix of a healthy receiver";
  EXPECT_EQ(car.good(), 1);
  for (int i = 1; i <= 62; ++i) {
    EXPECT_EQ(car.bad(), i < 30 ? 2 : 3) << "tunnel epoch " << i;
    EXPECT_EQ(engine().gps_converged, i < 60) << i;
  }
  EXPECT_LT(distance_to(car.fix()), 0.03 * 62 * car.speed) << "drift, 3 % of the distance";
  EXPECT_EQ(car.bad(0), 0) << "not converged and not all of the window without a fix";
  for (int i = 1; i <= 31; ++i) EXPECT_EQ(car.good(), i >= 30) << "good fix " << i;
}

TEST(Alignment, NeedsAGoodFixFastAndShakenWithAnAcceleration) {
  Car car;
  car.start();
  car.second(2.5);
  const GpsData fix = car.fix();
  SyncGPSEventforFusion(&fix);
  const insZuAlgo before = engine();
  const std::tuple<const char*, int, std::function<void(insZuAlgo&)>> cases[] = {
      {"as driven", 1, [](insZuAlgo&) {}},
      {"6 m/s", 0, [](insZuAlgo& e) { e.gps_fix.speed = 6.0f; }},
      {"faster", 1, [](insZuAlgo& e) { e.gps_fix.speed = 6.0000005f; }},
      {"at rest", 0, [](insZuAlgo& e) { e.moving = 0; }},
      {"poor", 0, [](insZuAlgo& e) { e.gps_fix.vel_acc_u = 1.6f; }},
      {"attitude open", 0, [](insZuAlgo& e) { e.att_converged = 0; }},
      // Without a change of the GNSS velocity the angle to the felt acceleration, here half a m/s^2
      // to the right and forward, is exactly zero, which stands for "none".
      {"no acceleration", 0,
       [](insZuAlgo& e) {
         std::copy_n(e.gps_vel, 3, e.gps_prev_vel);
         for (int i = 0; i < 3; ++i) {
           e.acc_lpf[i] = e.ins.db[i] + kGravity * e.ins.Cnb[6 + i] + (i < 2 ? 0.5 : 0.0);
         }
       }},
      {"no time between the fixes", 1,
       [](insZuAlgo& e) {
         std::copy_n(e.gps_vel, 3, e.gps_prev_vel);
         e.gps_prev_time = e.gps_time;
       }},
  };
  for (const auto& [name, aligned, change] : cases) {
    engine() = before;
    change(engine());
    EXPECT_EQ(UpdateLocationbyGPSEvent(0), 0) << name;
    EXPECT_EQ(engine().ins_pos_set, aligned) << name;
    EXPECT_EQ(engine().ins.vn[0] == engine().gps_vel[0], aligned) << name;
    EXPECT_EQ(distance_to(fix), 0.0) << name;
  }
  for (const int order : {1, 2, 0}) {
    engine() = before;
    engine().euler_order = order;
    UpdateLocationbyGPSEvent(0);
    const INS& ins = engine().ins;
    EXPECT_NEAR(ins.att[2], -Car::kHeading, 1e-6);
    EXPECT_NEAR(ins.pos[0], car.distance * std::sin(Car::kHeading), 1e-3);
    EXPECT_NEAR(ins.pos[1], car.distance * std::cos(Car::kHeading), 1e-3);
    EXPECT_TRUE(std::equal(ins.att, ins.att + 2, before.ins.att)) << "the tilt is kept";
    EXPECT_TRUE(std::equal(ins.Cmount, ins.Cmount + 9, before.ins.Cmount));
    EXPECT_TRUE(std::equal(engine().kf.P, engine().kf.P + 324, before.kf.P));
    double turned[3][3];
    a2mat(ins.att, turned);
    for (int i = order == 1 ? 6 : 0; i < 9; ++i) {  // order 0 takes no heading
      EXPECT_NEAR(ins.Cnb[i], order == 2 ? turned[i / 3][i % 3] : before.ins.Cnb[i], 1e-12);
    }
    if (order == 1) {  // the phone's y axis points along the road
      EXPECT_NEAR(std::atan2(ins.Cnb[1], ins.Cnb[4]), Car::kHeading, 2e-3);
    }
  }
}

TEST(GnssUpdate, UsesTheFixInterpolatedToTheNavigationTime) {
  Car car;
  car.converge();
  car.second();
  const GpsData fix = car.fix();
  SyncGPSEventforFusion(&fix);
  insZuAlgo before = engine();
  before.gps_prev_pos[0] += 500.0 / metres_per_degree(40.0)[0];  // whatever the previous one was
  for (const double alpha : {0.0, 0.25, 1.0, 1.5, -0.5}) {
    engine() = before;
    engine().last_sensor_time = before.gps_prev_time + std::llround(alpha * 1e9);
    insZuAlgo expected = engine();
    EXPECT_EQ(UpdateLocationbyGPSEvent(0), 1);
    double p0[3], p1[3], pos[3], vel[3];
    double r[8] = {0.2f, 0.2f, 0.2f, 2.0, 2.0, 2.0, 0.1, 0.05};
    G2M(expected.ref_pos, expected.gps_prev_pos, expected.glv, p0);
    G2M(expected.ref_pos, expected.gps_pos, expected.glv, p1);
    for (int i = 0; i < 3; ++i) {
      pos[i] = (1.0 - alpha) * p0[i] + alpha * p1[i];
      vel[i] = (1.0 - alpha) * expected.gps_prev_vel[i] + alpha * expected.gps_vel[i];
    }
    MeasureUpdate(pos, vel, r, expected.ins, expected.kf, expected.glv);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(engine().ins.pos[i], expected.ins.pos[i], 1e-9) << alpha;
      EXPECT_NEAR(engine().ins.vn[i], expected.ins.vn[i], 1e-9) << alpha;
      EXPECT_NEAR(engine().ins.qnb[i], expected.ins.qnb[i], 1e-9) << alpha;
    }
    EXPECT_NEAR(distance_to(good_fix(0)), std::hypot(expected.ins.pos[0], expected.ins.pos[1]), 0.1)
        << "published";
  }
  engine() = before;
  engine().gps_fix.speed_acc = 0.0f;
  EXPECT_EQ(UpdateLocationbyGPSEvent(1), 2) << "without a good fix only the constraint";
  NHC(before.kf, before.ins);
  EXPECT_TRUE(std::equal(before.kf.P, before.kf.P + 324, engine().kf.P));
  EXPECT_TRUE(std::equal(before.ins.vn, before.ins.vn + 3, engine().ins.vn));
}

TEST(RangeGuard, OutsideTheNorthEastBothNavigatorsStartAnew) {
  const double corners[][2] = {{-5.0, 50.0}, {5.0, -10.0}, {181.0, 50.0}, {5.0, 90.5}};
  for (const auto& [longitude, latitude] : corners) {
    SCOPED_TRACE(testing::Message() << longitude << ", " << latitude);
    Car car;
    car.longitude = longitude;
    car.latitude = latitude;
    car.start();
    int good = 0;  // after the alignment
    for (; engine().gps_status == 0 && good < 60; ++good) {
      engine().pdr_flag = engine().step_detector.bout_step_count = 1;
      EXPECT_EQ(car.good(good < 6 ? 2.5 : 0.0), 0);
    }
    EXPECT_EQ(good, 31) << "not before the status would be 1";
    EXPECT_EQ(std::string(getAlgoLog()).substr(0, 25), "zuxdr: 0 0 0 0 0 1 0 0 0 ")
        << "the status is kept, all else starts anew";
    EXPECT_EQ(engine().kf.P[0], 0.0);
  }
}

// A walker under way: eleven steps, propagation on.
void start_walking() {
  Reset();
  engine().pdr_started = 1;
  engine().step_detector.bout_step_count = 11;
}

TEST(Walker, IsInitialisedByAGoodFixAfterMoreThanTenSteps) {
  for (const auto& [bearing, heading] :
       {std::pair{0.0f, 0.0}, {90.0f, -M_PI / 2}, {180.0f, -M_PI}, {270.0f, M_PI / 2}}) {
    start_walking();
    GpsData fix = good_fix(kSecond, 1.25f);
    fix.bearing = bearing;
    engine().step_detector.bout_step_count = 10;
    feed_fix(fix);
    EXPECT_EQ(GetPdrFlag(), 0) << "ten steps";
    engine().step_detector.bout_step_count = 11;
    fix.speed_acc = 3.0f;
    feed_fix(fix);
    EXPECT_EQ(GetPdrFlag(), 0) << "poor fix";
    fix.speed_acc = 0.2f;
    EXPECT_EQ(feed_fix(fix), 0) << "the output is still the raw fix";
    EXPECT_EQ(GetPdrFlag() + engine().pdr_ready, 2);
    EXPECT_NEAR(engine().pdr_heading, heading, 1e-15) << bearing;
    EXPECT_EQ(engine().pdr_speed, 1.25);
    EXPECT_EQ(engine().pdr_kf.P[0] + engine().pdr_kf.P[5], 450.0);
    EXPECT_TRUE(std::equal(engine().pdr_origin, engine().pdr_origin + 3, engine().gps_pos));
  }
}

TEST(Walker, TakesEveryFixWhateverItsQualityButStaysInTheNorthEast) {
  start_walking();
  feed_fix(good_fix(kSecond, 1.25f));
  GpsData fix = good_fix(2 * kSecond, 1.25f, 116.0 + 30.0 / metres_per_degree(40.0)[0]);
  fix.vel_acc_u = 2.0f;  // fails the vehicle's test
  fix.pos_acc_e = fix.pos_acc_n = 0.1f;
  fix.speed_acc = 1e9f;
  EXPECT_EQ(feed_fix(fix), 1);
  EXPECT_LT(distance_to(fix), 0.01);
  // The step speed is 0 until 6 s of history are held: (0.15 m/s)^2 against (0.5 m/s)^2.
  EXPECT_NEAR(engine().pdr_speed, 1.25 * (1.0 - 0.0225 / 0.2725), 1e-9);
  fix = good_fix(3 * kSecond, 1.25f, 116.0005, 40.0005);
  fix.vel_acc_e = fix.vel_acc_n = fix.pos_acc_e = fix.pos_acc_n = fix.speed_acc = 0.0f;
  EXPECT_EQ(feed_fix(fix), 1);
  EXPECT_LT(distance_to(fix), 1e-4) << "accuracies of 0 snap to the fix";

  start_walking();
  EXPECT_EQ(feed_fix(good_fix(kSecond, 1.25f, -1e-6)), 0);
  EXPECT_EQ(GetPdrFlag(), 1);
  EXPECT_EQ(feed_fix(good_fix(2 * kSecond, 1.25f, -1e-6)), 0);
  EXPECT_EQ(engine().gps_status, 1) << "kept";
  EXPECT_EQ(GetPdrFlag() + engine().pdr_started + engine().step_detector.bout_step_count, 0);
}

TEST(Walker, IsStoppedByUnlikelySpeedsAndByFiveEpochsWithoutAFix) {
  const std::tuple<float, int, int> cases[] = {
      // speed, epochs with a non-zero sample, still walking
      {1.0f, 0, 1}, {0.46f, 0, 1},     {0.4599999f, 0, 0}, {5.0f, 0, 1}, {5.0000005f, 0, 0},
      {1.0f, 4, 1}, {kFloatNan, 0, 1}, {1.0f, 5, 0},       {0.0f, 1, 0}};
  for (const auto& [speed, samples, walking] : cases) {
    start_walking();
    feed_fix(good_fix(kSecond, 1.25f));
    for (int i = 1; i < samples; ++i) engine().PdrStability(1);
    EXPECT_EQ(feed_fix(good_fix(2 * kSecond, speed), samples > 0 ? -1 : 0), walking) << speed;
    EXPECT_EQ(engine().pdr_started, walking) << speed << ' ' << samples;
    EXPECT_EQ(engine().step_detector.bout_step_count, 11 * walking);
    EXPECT_EQ(engine().pdr_kf.P[0] != 0.0, walking);
    EXPECT_EQ(GetPdrFlag(), 1) << "tells that the walker was initialised once";
  }
}

}  // namespace
