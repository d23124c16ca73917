#include <gtest/gtest.h>

#include <cstddef>

#include "tests/engine/engine_feed.h"
#include "tests/engine/heap_counter.h"

namespace {

using namespace zuvdr::test;

// Fills the blocks of every queue a whole number of times.
constexpr int kFixes = 128, kEpochs = 25 * kFixes;

// The blocks that so many new elements fill.
constexpr int blocks(int elements, std::size_t size) {
  return elements / static_cast<int>(512 / size);
}

// A phone whose vehicle navigator has converged, with all four sensors.
struct Phone {
  Car car;
  Phone() { car.converge(); }

  void epoch(double bounce, double swing) {
    car.t += kEpoch;
    car.distance += car.speed * 0.04;
    const double phase = 1.8 * 2e-9 * M_PI * static_cast<double>(car.t);  // 1.8 steps a second
    const double rise = bounce * (std::sin(phase) + 0.3 * std::sin(2.0 * phase + 1.0));
    UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, car.t, {20.0}));
    UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_PRESSURE, car.t, {1000.0}));
    feed_pair(car.t, {0.0, kGravity * std::sin(Car::kRise), kGravity * std::cos(Car::kRise) + rise},
              {0.0, 0.0, swing * std::sin(phase)});
  }
  void fixes(int count, double bounce, double swing, bool healthy) {
    for (int i = 0; i < count; ++i) {
      for (int k = 0; k < 25; ++k) epoch(bounce, swing);
      GpsData fix = car.fix();
      if (!healthy) fix.pos_acc_e = 0.0f;
      feed_fix(fix, healthy ? 0 : 1);
    }
  }
};

TEST(Allocation, AResetOfEmptyQueuesAllocatesNothing) {
  const zuvdr::tests::HeapCount before = zuvdr::tests::heap_count();
  Reset();
  const zuvdr::tests::HeapCount after = zuvdr::tests::heap_count();
  EXPECT_EQ(after.deque_blocks, before.deque_blocks);
  EXPECT_EQ(after.others, before.others);
}

TEST(Allocation, ASteadyEpochAllocatesNothingButTheBlocksOfItsQueues) {
  Phone phone;
  ASSERT_EQ(GetCarFlag(), 15);
  const struct {
    const char* name;
    double speed, bounce, swing;  // m/s, m/s^2, rad/s
    bool healthy;
    int walks, moving;
  } cases[] = {{"a walk after the ride", 1.4, 2.5, 0.5, true, 1, 1},
               {"a standstill", 0.0, 0.0, 0.0, true, 0, 0},
               {"a drive", 15.0, 0.0, 0.004, true, 0, 1},
               {"a tunnel", 15.0, 0.0, 0.004, false, 0, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    phone.car.speed = c.speed;
    phone.fixes(70, c.bounce, c.swing, c.healthy);
    const auto expect_both_sides = [&] {
      EXPECT_EQ(GetCarFlag(), 15);
      EXPECT_EQ(engine().pdr_started + engine().pdr_ready, 2 * c.walks);
      EXPECT_EQ(engine().pdr_window_len, 150);
      EXPECT_EQ(engine().moving, c.moving);
      EXPECT_EQ(engine().static_long, 1 - c.moving);
    };
    expect_both_sides();
    const zuvdr::tests::HeapCount before = zuvdr::tests::heap_count();
    phone.fixes(kFixes, c.bounce, c.swing, c.healthy);
    const zuvdr::tests::HeapCount after = zuvdr::tests::heap_count();
    expect_both_sides();
    EXPECT_EQ(after.others, before.others);
    // The walker's history, quiet windows and attitudes; raw events; paired epochs; votes a fix.
    EXPECT_LE(after.deque_blocks - before.deque_blocks,
              (5 + 3 + 2) * blocks(kEpochs, sizeof(double)) +
                  4 * blocks(kEpochs, sizeof(SensorData)) + blocks(kEpochs, sizeof(SensorEpoch)) +
                  4 * blocks(kFixes, sizeof(std::int32_t)));
    EXPECT_GT(after.deque_blocks, before.deque_blocks) << "the library's calls are counted";
  }
}

}  // namespace
