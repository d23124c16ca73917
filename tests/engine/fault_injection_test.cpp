// What a broken sensor, receiver or host may send. Numbers that are none stay in the sensor filters
// and in the attitude step for the life of the process; what does not pass through those works
// after Reset.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "nav/attitude.h"
#include "nav/ins.h"
#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;
using Fault = std::function<void(Car&)>;

// The part that no earlier sample can spoil: pairing, release, raw output, mode, log.
void expect_intake_and_raw_output() {
  Reset();
  EXPECT_EQ(std::string(getAlgoLog()).substr(0, 36), "zuxdr: 0 0 0 0 0 0 0 0 0 0 0.000000 ");
  Car car;
  car.good();
  car.speed = 8.0;
  EXPECT_EQ(car.good(), 0);
  EXPECT_EQ(engine().last_sensor_time, car.t - kSecond);
  EXPECT_EQ(engine().epoch_queue.size(), 25u);
  EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_VEHICLE_MODE);
  EXPECT_EQ(location().latitude, car.fix().latitude);
}

// A car under way at status 1, driven before any fault reaches the process.
struct FaultInjection : testing::Test {
  static void SetUpTestSuite() {
    car_under_way.converge();
    engine_under_way = std::make_unique<insZuAlgo>(engine());
  }
  // That car once more, for the next fault.
  static Car car() {
    engine() = *engine_under_way;
    INS scratch{};
    scratch.qnb[0] = 1.0;
    double no_rate[3] = {};
    qupdt3(scratch, no_rate, 0.04);  // the attitude step forgets the rate of the faulty epoch
    return car_under_way;
  }
  static void expect_on_the_road(const Car& c) {
    EXPECT_NEAR(location().latitude, c.fix().latitude, 0.001);
    EXPECT_NEAR(location().longitude, c.fix().longitude, 0.001);
  }
  static inline Car car_under_way;
  static inline std::unique_ptr<insZuAlgo> engine_under_way;
};

TEST_F(FaultInjection, OneBackwardTimeOrShortGapLeavesTheSolutionFinite) {
  const Fault faults[] = {
      [](Car& c) { feed_pair(c.t - kSecond / 2); },
      [](Car& c) { c.t += kSecond; },
      [](Car&) {
        UpdateLocationbySensorEvent(event(99, kLastTime, {kNan, kNan, kNan}));
      },
      [](Car& c) {  // the accelerometer pauses
        for (int i = 0; i < 30; ++i) UpdateLocationbySensorEvent(event(16, c.t += kEpoch));
        EXPECT_EQ(engine().gyr_queue.size(), 30u);
      },
  };
  for (const auto& fault : faults) {
    Car c = car();
    c.epoch();
    fault(c);
    for (int i = 0; i < 40; ++i) EXPECT_EQ(c.good(), 1);
    EXPECT_LE(engine().gyr_queue.size(), 1u);
    expect_on_the_road(c);
  }
  Car c = car();
  c.t += 600 * kSecond;
  c.speed = 0.0;
  c.converge();  // begins with Reset: a gap before it does no harm
  EXPECT_EQ(c.good(), 1);
}

// The fix before the flood lies before all its epochs or upon the first.
TEST_F(FaultInjection, AFloodWithoutFixesWaitsAndIsReleasedWholeByTheNextFix) {
  constexpr std::int64_t kEpochs = 30'000;
  for (const std::int64_t fix_time : {std::int64_t{1}, kSecond + kEpoch}) {
    Reset();
    feed_fix(good_fix(fix_time));
    for (std::int64_t i = 1; i <= kEpochs; ++i) feed_pair(kSecond + i * kEpoch);
    EXPECT_EQ(engine().epoch_queue.size(), static_cast<std::size_t>(kEpochs));
    feed_fix(good_fix(kSecond + kEpochs * kEpoch));
    feed_pair(kSecond + (kEpochs + 1) * kEpoch);
    EXPECT_EQ(engine().last_sensor_time, kSecond + kEpochs * kEpoch);
  }
}

// No time between two epochs or fixes leaves no rate: 0/0. No flag tells.
TEST_F(FaultInjection, NoTimeBetweenEpochsOrFixesBreaksTheVehicleSolution) {
  const Fault faults[] = {
      [](Car& c) { c.t += 2 * kSecond; },
      [](Car& c) { feed_pair(c.t); },
      [](Car& c) { feed_pair(c.t - 5 * kSecond); },  // and forward again
      [](Car& c) {
        feed_fix(c.fix());
        feed_fix(c.fix());
      },
  };
  for (const auto& fault : faults) {
    Car c = car();
    EXPECT_EQ(c.good(), 1);
    expect_on_the_road(c);
    c.epoch();
    fault(c);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(c.good(), 1);
    EXPECT_EQ(GetCarFlag(), 15);
    EXPECT_TRUE(std::isnan(location().latitude) && std::isnan(location().longitude));
    expect_intake_and_raw_output();
  }
}

TEST_F(FaultInjection, NumbersThatAreNone) {
  for (const double value : {-1e20, 3e38, 1e308, kInfinity, -kInfinity, kNan}) {
    for (const int type : {6, 14, 16, 1}) {
      Car c = car();
      c.epoch();
      const std::int64_t t = c.t + kEpoch / 2;
      UpdateLocationbySensorEvent(event(type, t, {value, value, value}));
      feed_pair(t);
      for (int i = 0; i < 3; ++i) c.good();
      const int status = c.bad();
      if (type == 6 || type == 14) {
        EXPECT_EQ(status, 2) << "carried along, not used";
        expect_on_the_road(c);
      }
      expect_intake_and_raw_output();
    }
    const auto narrow = static_cast<float>(value);
    const std::function<void(GpsData&)> faults[] = {
        [&](GpsData& f) { f.longitude = value; },
        [&](GpsData& f) { f.latitude = f.altitude = value; },
        [&](GpsData& f) { f.speed = f.bearing = narrow; },
        [&](GpsData& f) { f.vel_e = f.vel_n = f.pos_acc_n = narrow; },
    };
    for (int i = 0; i < 8; ++i) {
      Car c = car();
      if (i % 2) c.speed = 1.2;  // a walker's
      for (int k = 0; k < 5; ++k) {
        engine().pdr_started = i % 2;
        engine().step_detector.bout_step_count = 20;
        c.second();
        GpsData fix = c.fix();
        if (k > 2) faults[i / 2](fix);
        feed_fix(fix);
      }
      expect_intake_and_raw_output();
    }
  }
}

TEST_F(FaultInjection, RandomBytesAndTimesAtTheEndsOfTheClock) {
  std::mt19937_64 random(5);
  const auto scramble = [&random](auto& record) {
    auto* bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) bytes[i] = static_cast<unsigned char>(random());
  };
  const int types[] = {1, 16, 14, 6};
  const std::int64_t ends[] = {kFirstTime, kLastTime, 0, -1, kLastTime - kEpoch, kSecond};
  for (int round = 0; round < 6; ++round) {
    Car c = car();
    const auto choose_time = [&](std::int64_t& t) {  // every third round keeps the random bytes
      if (round % 3 == 1) t = c.t += static_cast<std::int64_t>(random() % 8'000'000);
      if (round % 3 == 2) t = ends[random() % 6];
    };
    for (int i = 0; i < 10000; ++i) {
      SensorData sample{};
      scramble(sample);
      if (i % 16 != 0) sample.type = types[random() % 4];
      choose_time(sample.timestamp);
      UpdateLocationbySensorEvent(sample);
      if (i % 20 != 0) continue;
      GpsData fix{};
      scramble(fix);
      choose_time(fix.time_ns);
      const int status = feed_fix(fix, static_cast<int>(random()));
      EXPECT_TRUE(status >= 0 && status <= 3);
      EXPECT_LE(std::strlen(getAlgoLog()), 179u);
      EXPECT_EQ(GetCarFlag() & ~31, 0);
      EXPECT_EQ(GetPdrFlag() & ~1, 0);
    }
    expect_intake_and_raw_output();
  }
}

}  // namespace
