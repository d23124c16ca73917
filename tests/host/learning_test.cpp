// What the host learns of phone, receiver and walker, from motions whose truth is known in closed
// form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

#include "ZuVDRHost.hpp"
#include "host/event_order.h"
#include "host/fix_clock.h"
#include "host/fix_gate.h"
#include "host/gap_filling.h"
#include "host/mounting_estimate.h"
#include "host/positions.h"
#include "host/quadrant.h"
#include "host/walker_course.h"

namespace zuvdr::tests {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kSampleInterval = 40'000'000;

// Speed and course swing: v = 12 + 4 sin(0.2 t), course (counter-clockwise) 0.8 sin(0.13 t).
struct Motion {
  static double speed(double t) { return 12.0 + 4.0 * std::sin(0.2 * t); }
  static double forward(double t) { return 0.8 * std::cos(0.2 * t); }
  static double course(double t) { return 0.8 * std::sin(0.13 * t); }
  static double turn(double t) { return 0.104 * std::cos(0.13 * t); }
  static Vector force(double t) { return {-speed(t) * turn(t), forward(t), 9.80665}; }
  static GpsData fix(double t) {
    GpsData fix{};
    fix.time_ns = std::llround(t * 1e9);
    fix.latitude = 48.0;
    fix.longitude = 16.0;
    fix.speed = static_cast<float>(speed(t));
    fix.vel_e = static_cast<float>(-speed(t) * std::sin(course(t)));
    fix.vel_n = static_cast<float>(speed(t) * std::cos(course(t)));
    fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = fix.speed_acc = 0.3F;
    fix.pos_acc_e = fix.pos_acc_n = fix.pos_acc_u = 3.0F;
    return fix;
  }
};

// A phone lying flat, turned clockwise, and then tipped up about its own x axis.
Mounting mounted(double yaw, double pitch) {
  const double s = std::sin(yaw * kDegree), c = std::cos(yaw * kDegree);
  const double sp = std::sin(pitch * kDegree), cp = std::cos(pitch * kDegree);
  const auto tip = [&](const Vector& v) {
    return Vector{v[0], cp * v[1] + sp * v[2], -sp * v[1] + cp * v[2]};
  };
  return {tip({c, s, 0}), tip({-s, c, 0}), tip({0, 0, 1})};
}

TEST(MountingEstimate, FindsYawGravityAndATurnOfThePhone) {
  std::mt19937_64 random(3);
  std::normal_distribution<double> noise(0.0, 0.1);
  for (const double yaw : {0.0, 75.0, 180.0, -130.0}) {
    for (const double pitch : {0.0, 30.0, 70.0}) {
      MountingEstimate estimate;
      const Vector bias{0.02, -0.01, 0.015};
      bool turned = false;
      const auto drive = [&](double from, double to, const Mounting& mounting) {
        for (double t = from; t < to; t += 1.0) {
          Vector force{}, rate{};
          for (int i = 0; i < 25; ++i) {
            const double u = t + 0.04 * i + 0.02;
            const Vector f = mounting.to_phone(Motion::force(u));
            force = force + 0.04 * (f + Vector{noise(random), noise(random), noise(random)});
            rate = rate + 0.04 * (Motion::turn(u) * mounting.up + bias);
            EXPECT_FALSE(estimate.watch({std::llround(u * 1e9), f, {}}) && t > from);
          }
          const double speed = 0.5 * (Motion::speed(t) + Motion::speed(t + 1));
          turned |= estimate.add({std::llround((t + 1) * 1e9), 1.0, force, rate, speed,
                                  Motion::speed(t + 1) - Motion::speed(t),
                                  Motion::course(t + 1) - Motion::course(t)});
        }
      };
      drive(0.0, 60.0, mounted(yaw, pitch));
      ASSERT_TRUE(estimate.result()) << yaw << ' ' << pitch;
      const MountingEstimate::Result found = *estimate.result();
      const Mounting truth = mounted(yaw, pitch);
      EXPECT_LT(degrees_turned(truth, found.mounting), 1.5) << yaw << ' ' << pitch;
      EXPECT_GT(dot(truth.up, found.mounting.up), std::cos(1.0 * kDegree));
      EXPECT_GT(dot(truth.up, found.gravity), 9.7);
      EXPECT_LT(found.sigma, 2.0);
      EXPECT_GT(found.driving, 55.0);
      EXPECT_NEAR(dot(truth.up, found.bias), dot(truth.up, bias), 0.002);
      if (pitch == 0.0) {
        EXPECT_NEAR(std::remainder(found.yaw - yaw, 360.0), 0.0, 1.5);
      }
      EXPECT_FALSE(turned);
      drive(60.0, 110.0, mounted(yaw + 90.0, pitch));
      if (pitch == 0.0) {  // else up is another: watch() says so
        EXPECT_TRUE(turned);
        ASSERT_TRUE(estimate.result());
        EXPECT_LT(degrees_turned(mounted(yaw + 90.0, pitch), estimate.result()->mounting), 4.0);
      }
    }
  }
}

TEST(MountingEstimate, SaysNothingOfARandomMotion) {
  std::mt19937_64 random(8);
  std::normal_distribution<double> noise(0.0, 1.0);
  MountingEstimate estimate;
  for (int k = 0; k < 200; ++k) {
    estimate.watch({k * kSecond, {0, 0, 9.8}, {}});
    estimate.add({k * kSecond,
                  1.0,
                  {noise(random), noise(random), 9.8},
                  {0, 0, noise(random)},
                  5.0,
                  noise(random),
                  0.0});
    EXPECT_FALSE(estimate.result() && estimate.result()->sigma < 3.0) << k;
  }
}

TEST(FixClock, FindsTheOffsetOfTheStamps) {
  for (const double offset : {-0.41, -0.1, 0.0, 0.23, 0.5}) {
    FixClock clock;
    const Mounting mounting = mounted(40.0, 50.0);
    std::int64_t next_fix = 0;
    for (std::int64_t i = 0; i < 200 * 25; ++i) {
      const double t = static_cast<double>(i) * 0.04;
      // Turns of the sensors and a drift of their own.
      clock.add({i * kSampleInterval, {}, (3.0 * Motion::turn(3.0 * t) + 0.004) * mounting.up},
                mounting.up);
      for (; next_fix <= i * kSampleInterval - kSecond / 5; next_fix += kSecond) {
        GpsData fix = Motion::fix(0.0);
        const double course = Motion::course(3.0 * static_cast<double>(next_fix) * 1e-9);
        fix.vel_e = static_cast<float>(-10.0 * std::sin(course));
        fix.vel_n = static_cast<float>(10.0 * std::cos(course));
        fix.time_ns = next_fix + std::llround(offset * 1e9);
        clock.add(fix);
      }
    }
    ASSERT_TRUE(clock.offset()) << offset;
    EXPECT_NEAR(*clock.offset(), offset, 0.02);
  }
}

TEST(FixClock, SaysNothingWhereCoursesAreRoughOrStraight) {
  for (const bool rough : {false, true}) {
    std::mt19937_64 random(4);
    std::normal_distribution<double> noise(0.0, 0.3);
    FixClock clock;
    for (std::int64_t i = 0; i < 200 * 25; ++i) {
      const double t = static_cast<double>(i) * 0.04;
      clock.add({i * kSampleInterval, {}, {0, 0, rough ? Motion::turn(t) : 0.0}}, {0, 0, 1});
      if (i % 25 != 0) continue;
      const double course = rough ? Motion::course(t) + noise(random) : 0.3;
      GpsData fix = Motion::fix(t);
      fix.vel_e = static_cast<float>(-10.0 * std::sin(course));
      fix.vel_n = static_cast<float>(10.0 * std::cos(course));
      clock.add(fix);
    }
    EXPECT_FALSE(clock.offset()) << rough;
  }
}

// What was filled integrates to the motion that the fixes tell.
TEST(GapFilling, FollowsTheFixes) {
  const Mounting mounting = mounted(30.0, 60.0);
  const Vector gravity = 9.80665 * mounting.up, bias{0.01, 0.02, -0.01};
  GapFilling filling;
  EXPECT_FALSE(filling.usable());
  for (int t = 0; t <= 8; ++t) filling.add(Motion::fix(t));
  ASSERT_TRUE(filling.usable());
  double course = 0.0, speed = Motion::speed(0.0);
  std::vector<double> rates;
  for (std::int64_t i = 0; i < 8 * 25; ++i) {
    const Sample sample =
        filling.at(i * kSampleInterval + kSampleInterval / 2, mounting, gravity, bias);
    const double turn = dot(mounting.up, sample.rate - bias);
    const Vector force = mounting.to_vehicle(sample.force - gravity);
    course += 0.04 * turn;
    speed += 0.04 * force[1];
    EXPECT_NEAR(force[0], -speed * turn, 0.15);  // to the right
    EXPECT_NEAR(force[2], 0.0, 1e-9);
    rates.push_back(sample.rate[0]);
  }
  EXPECT_NEAR(course, Motion::course(8.0), 0.01);
  EXPECT_NEAR(speed, Motion::speed(8.0), 0.01);
  for (std::size_t i = 1; i < rates.size(); ++i) EXPECT_NE(rates[i], rates[i - 1]);
}

TEST(FixGate, RefusesJumpsOnceArmedAndLetsGo) {
  FixGate gate;
  HostPosition expected{};
  expected.source = Source::kCorrected;
  expected.speed = 10.0;
  const auto refused = [&](double t, double metres_off) {
    GpsData fix = Motion::fix(t);
    expected.latitude = fix.latitude + metres_off / 111'319.0;
    expected.longitude = fix.longitude;
    return gate.refuses(fix, expected).has_value();
  };
  double t = 0.0;
  EXPECT_FALSE(refused(t++, 60.0)) << "not armed yet";
  for (int k = 0; k < 20; ++k) EXPECT_FALSE(refused(t++, 3.0));
  // 3 hypot(2, sigma), sigma = 3 sqrt(2): a little over 14 m.
  EXPECT_FALSE(refused(t++, 13.0));
  for (int k = 1; k <= 6; ++k) EXPECT_TRUE(refused(t++, 50.0)) << k;
  EXPECT_FALSE(refused(t++, 20.0)) << "a prediction of 7 s may be as far off";
  for (int k = 0; k < 20; ++k) refused(t++, 500.0);
  // 3 hypot(2 + 10 + 8, 3 sqrt(2)) is 61 m.
  EXPECT_TRUE(refused(t - 1.0, 70.0));
  EXPECT_FALSE(refused(t - 1.0, 50.0));
  for (int k = 0; k < 24; ++k) refused(t++, 500.0);
  EXPECT_TRUE(refused(t, 500.0));
  EXPECT_FALSE(refused(t + 1.0, 500.0)) << "after 25 s it is the output that is wrong";
  EXPECT_FALSE(refused(t + 2.0, 500.0));
  expected.source = Source::kRawFix;
  EXPECT_FALSE(refused(t + 3.0, 500.0));
}

// South of the equator a polar vector changes the sign of x, an axial one those of y and z.
TEST(Quadrant, MirrorsVectorsByTheirKind) {
  Quadrant quadrant;
  for (const double latitude : {45.0, -45.0}) {
    quadrant.choose_for(latitude, 20.0);
    Vector force{1, 2, 3}, rate{4, 5, 6};
    quadrant.enter(force, rate);
    const double sign = latitude < 0.0 ? -1.0 : 1.0;
    EXPECT_EQ(force, (Vector{sign * 1, 2, 3}));
    EXPECT_EQ(rate, (Vector{4, sign * 5, sign * 6}));
  }
}

// A clock of the fixes that was set back is believed at the third fix.
TEST(Host, FollowsTheClockOfTheFixesBack) {
  int answers = 0;
  Host host({}, [&answers](const HostAnswer&) { ++answers; });
  for (const double t : {50.0, 51.0, 52.0, 47.0, 48.0, 49.0, 50.0}) host.fix(Motion::fix(t));
  EXPECT_EQ(answers, 5);
  EXPECT_EQ(host.counts().fixes_dropped, 2);
  EXPECT_EQ(host.counts().resets, 1);
}

TEST(EventOrder, SortsWhatComesUpToASecondLate) {
  std::mt19937_64 random(2);
  std::uniform_real_distribution<double> late(0.0, 1.0);
  std::vector<std::pair<double, std::int64_t>> arrivals;
  for (std::int64_t i = 0; i < 3000; ++i) {
    arrivals.emplace_back(static_cast<double>(i) * 0.01 + late(random), i * 10'000'000);
  }
  std::ranges::sort(arrivals);
  EventOrder order;
  std::vector<std::int64_t> times;
  const auto take = [&](auto next) {
    while (const auto event = next()) times.push_back(event->timestamp);
  };
  for (std::size_t i = 0; i < arrivals.size(); ++i) {
    order.add({static_cast<int>(i % 2) * 15 + 1, {}, arrivals[i].second});
    take([&] { return order.next(); });
  }
  take([&] { return order.next_held(); });
  ASSERT_EQ(times.size(), 3000U) << "nothing is lost";
  int disorder = 0;
  for (std::size_t i = 500; i < times.size(); ++i) disorder += times[i] < times[i - 1] ? 1 : 0;
  EXPECT_LT(disorder, 25) << "the first seconds teach how late events are";
  EventOrder punctual;
  for (std::int64_t i = 0; i < 100; ++i) {
    punctual.add({1, {}, i});
    ASSERT_TRUE(punctual.next()) << "nothing is held back where nothing is late";
  }
}

// He turns by 90 degrees after the last fix; the phone swings about its x axis as he walks.
TEST(WalkerCourse, FollowsTurnsWithoutFixes) {
  WalkerCourse course;
  double truth = 0.0;
  for (std::int64_t i = 0; i < 150 * 25; ++i) {
    const double t = static_cast<double>(i) * 0.04;
    const double turn = t > 120.0 ? 0.5 * std::numbers::pi / 30.0 : 0.3 * std::cos(0.1 * t);
    truth += 0.04 * turn;
    const double swing = 0.35 * std::sin(6.0 * t), swing_rate = 2.1 * std::cos(6.0 * t);
    const Vector up{0.0, std::sin(swing), std::cos(swing)};
    course.add({i * kSampleInterval, 9.8 * up,
                turn * up + Vector{swing_rate, 0, 0} + Vector{0.0, 0.0, 0.003}});
    if (i % 25 != 0 || t > 120.0) continue;
    GpsData fix = Motion::fix(t);
    const double seen = truth + 0.5 + 0.1 * std::sin(1.7 * t);
    fix.vel_e = static_cast<float>(-1.4 * std::sin(seen));
    fix.vel_n = static_cast<float>(1.4 * std::cos(seen));
    course.add(fix);
  }
  const auto estimate = course.estimate();
  ASSERT_TRUE(estimate);
  EXPECT_NEAR(std::remainder(estimate->course - truth - 0.5, 2.0 * std::numbers::pi), 0.0, 0.1);
  EXPECT_NEAR(estimate->speed, 1.4, 0.01);
}

TEST(Positions, AreCarriedWithTheirVelocity) {
  Positions positions;
  EXPECT_FALSE(positions.at(0));
  Positions::Entry entry{};
  entry.position.time_ns = 10 * kSecond;
  entry.position.latitude = 60.0;
  entry.position.longitude = 179.9999;
  entry.position.accuracy = 3.0;
  entry.east_velocity = 20.0;
  entry.north_velocity = -10.0;
  entry.velocity_sigma = 4.0;
  entry.good_fix = 9 * kSecond;
  positions.add(entry);
  entry.position.time_ns = 12 * kSecond;
  entry.position.latitude = 61.0;
  positions.add(entry);
  EXPECT_FALSE(positions.at(10 * kSecond - 1));
  const auto carried = positions.at(11 * kSecond);
  ASSERT_TRUE(carried);
  EXPECT_NEAR(carried->latitude, 60.0 - 10.0 / 111'319.49, 1e-9);
  EXPECT_NEAR(carried->longitude, 179.9999 - 360.0 + 20.0 / (111'319.49 * 0.5), 1e-8);
  EXPECT_DOUBLE_EQ(carried->accuracy, 5.0);
  EXPECT_DOUBLE_EQ(carried->fix_age, 2.0);
  EXPECT_EQ(carried->time_ns, 11 * kSecond);
  EXPECT_GT(positions.at(13 * kSecond)->latitude, 60.9);
}

}  // namespace
}  // namespace zuvdr::tests
