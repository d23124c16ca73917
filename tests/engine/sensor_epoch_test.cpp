#include <gtest/gtest.h>

#include <ctime>
#include <random>
#include <vector>

#include "tests/engine/engine_feed.h"
#include "tests/textbook.h"

namespace {

using namespace zuvdr::test;
using zuvdr::tests::Matrix;

constexpr std::int64_t ms = 1'000'000;

TEST(Release, EpochsRunUpToTheFirstAtOrAfterTheFix) {
  const std::vector<std::int64_t> steady = {100 * ms, 140 * ms, 180 * ms, 220 * ms};
  const struct {
    std::vector<std::int64_t> epochs;
    std::int64_t fix;
    int result;
    std::size_t ran;
  } cases[] = {
      {steady, 260 * ms + 1, 0, 0},
      {steady, 260 * ms, 0, 0},
      {steady, 220 * ms, 1, 4},
      {steady, 181 * ms, 1, 4},
      {steady, 180 * ms, 1, 3},
      {steady, 100 * ms + 1, 1, 2},
      {steady, 100 * ms, 0, 0},
      {steady, 60 * ms, 0, 0},
      {steady, 60 * ms - 1, 1, 0},
      {{100 * ms}, 100 * ms, 0, 0},
      // Two neighbours straddle the fix, strictly on its near side; the newest such pair counts.
      {{100 * ms, 140 * ms, 140 * ms, 180 * ms}, 140 * ms, 1, 2},
      {{100 * ms, 100 * ms}, 100 * ms, 0, 0},
      {{100 * ms, 200 * ms, 110 * ms, 210 * ms, 220 * ms}, 150 * ms, 1, 4},
      {{kFirstTime + 1, 0}, kLastTime, 0, 0},
      {{0, kLastTime}, kFirstTime, 1, 0},
      {{kFirstTime + 1, kLastTime}, 0, 1, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.epochs) + ", fix " + std::to_string(c.fix));
    Reset();
    engine().gps_time = kFirstTime;
    for (const std::int64_t t : c.epochs) feed_pair(t);
    engine().gps_time = c.fix;
    EXPECT_EQ(engine().GpsAlignment(), c.result);
    EXPECT_EQ(engine().epoch_queue.size(), c.epochs.size() - c.ran);
    EXPECT_EQ(engine().last_sensor_time, c.ran == 0 ? 0 : c.epochs[c.ran - 1]);
  }
  Reset();
  EXPECT_EQ(engine().GpsAlignment(), 0) << "an empty queue";
}

// Fix times and epochs in any order, one by one or in the place of the whole queue: the answers are
// those of a search of all of it.
TEST(Release, AgreesWithAPlainSearch) {
  Reset();
  std::mt19937 random(3);
  const auto draw = [&random](unsigned n) { return static_cast<std::int64_t>(random() % n); };
  std::vector<std::int64_t> queue;
  std::size_t longest_kept = 0;
  for (int i = 0; i < 40000; ++i) {
    const std::int64_t t = (queue.empty() ? kSecond : queue.back()) + (draw(7) - 2) * 10 * ms;
    if (draw(i < 20000 ? 40 : 1000) == 0) {
      const GpsData fix = good_fix(t + (draw(60) - 40) * 5 * ms);
      SyncGPSEventforFusion(&fix);
    }
    const std::int64_t fix = engine().gps_time;
    const bool replace = draw(200) < (i % 1000 < 100 ? 100 : 1);
    if (replace) {
      queue.assign(static_cast<std::size_t>(1 + (draw(2) == 0 ? draw(3) : draw(600))), 0);
      const std::int64_t earliest = 3 * draw(2) - 3;
      for (std::int64_t& time : queue) time = fix + (earliest + draw(8)) * 10 * ms;
      engine().epoch_queue.clear();
      for (const std::int64_t time : queue) engine().epoch_queue.emplace_back().time_ns = time;
    } else {
      queue.push_back(t);
    }
    std::size_t k = queue.size() - 1;
    while (k > 0 && !(queue[k] >= fix && queue[k - 1] < fix)) --k;
    const bool too_early = fix - queue.back() > 40 * ms, too_late = queue.front() - fix > 40 * ms;
    const int result = replace ? engine().GpsAlignment() : feed_pair(t);
    ASSERT_EQ(result, !too_early && (too_late || k > 0)) << i;
    if (!too_early && !too_late) {
      if (k > 0) queue.erase(queue.begin(), queue.begin() + 1 + long(k));
      longest_kept = std::max(longest_kept, queue.size());
    }
    ASSERT_EQ(engine().epoch_queue.size(), queue.size()) << i;
  }
  EXPECT_GT(longest_kept, 600u);
}

// The same ends, fix and length as a queue that was searched in vain before the Reset.
TEST(Release, AResetForgetsTheQueueBefore) {
  for (const std::int64_t odd : {1500 * ms, -5 * ms}) {
    Reset();
    const GpsData fix = good_fix(kSecond);
    if (odd > 0) SyncGPSEventforFusion(&fix);
    for (int i = 0; i < 299; ++i) feed_pair(kSecond + (i == 150 ? odd : i * 10 * ms));
    SyncGPSEventforFusion(&fix);
    EXPECT_EQ(feed_pair(kSecond + 2990 * ms), odd < 0 ? 1 : 0);
  }
}

// At 100 Hz epochs just after the last fix stay in its reach: each new one has the queue searched.
TEST(Release, AnHourWithoutFixesCostsNoMoreThanItsEpochs) {
  Reset();
  engine().gps_time = kSecond;
  const std::clock_t start = std::clock();
  for (int i = 1; i <= 360'000; ++i) ASSERT_EQ(feed_pair(kSecond + i * 10 * ms), 0);
  EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC);
}

TEST(QuietDetector, EachAxisHasItsThreshold) {
  const auto quiet = [](const Vec3& sigma) {
    Reset();
    std::deque<double>* windows[] = {&engine().gyr_win_x, &engine().gyr_win_y, &engine().gyr_win_z};
    for (std::size_t i = 0; i < 3; ++i) {
      // Four times a, four times -a and 17 zeros have the sample standard deviation a / sqrt(3).
      const double a = sigma[i] * std::sqrt(3.0);
      windows[i]->assign({a, -a, a, -a, a, -a, a, -a});
      windows[i]->resize(24);
    }
    run_epoch(kSecond);
    return engine().static_count == 1;
  };
  const Vec3 limits = {0.00026375, 0.0002375, 0.000265};
  EXPECT_TRUE(quiet({limits[0] * (1 - 1e-9), limits[1] * (1 - 1e-9), limits[2] * (1 - 1e-9)}));
  for (std::size_t i = 0; i < 3; ++i) {
    Vec3 sigma = {};
    sigma[i] = limits[i] * (1 + 1e-9);
    EXPECT_FALSE(quiet(sigma)) << i;
    sigma[i] = kNan;
    EXPECT_FALSE(quiet(sigma)) << i;
  }
  double sum = 0.0;
  for (int k = 0; k < 8; ++k) sum += std::pow(limits[1] * std::sqrt(3.0), 2);
  ASSERT_EQ(std::sqrt(sum / 24.0), limits[1]);
  EXPECT_FALSE(quiet({0.0, limits[1], 0.0})) << "at the limit";

  // One sample apart from 24 equal ones has a deviation of a fifth of the distance: wherever it
  // stands, also at the end that the next epoch is compared with.
  for (const std::size_t place : {0U, 12U, 23U}) {
    for (const double fifths : {4.99, 5.01}) {
      quiet({0.0, 0.0, 0.0});
      engine().static_count = 0;
      engine().gyr_win_x.assign(24, 0.0);
      engine().gyr_win_x[place] = fifths * limits[0];
      run_epoch(kSecond + kEpoch);
      EXPECT_EQ(engine().static_count, fifths < 5.0 ? 1 : 0) << place;
    }
  }
  // Ends d apart around samples in their middle have a deviation of d / sqrt(48), the least that
  // they can have. The newest sample is the silent sensor's zero.
  for (const double root_of_48ths : {0.999, 1.001}) {
    quiet({0.0, 0.0, 0.0});
    engine().static_count = 0;
    const double apart = root_of_48ths * std::sqrt(48.0) * limits[0];
    engine().gyr_win_x.assign(24, 0.5 * apart);
    engine().gyr_win_x.front() = apart;
    run_epoch(kSecond + kEpoch);
    EXPECT_EQ(engine().static_count, root_of_48ths < 1.0 ? 1 : 0);
  }
}

TEST(QuietDetector, AStandstillIsDeclaredAtThe26thQuietWindowAndALongOneAfter1500Milliseconds) {
  for (const std::int64_t at_50 : {1500 * ms, 100 * kSecond}) {
    Reset();
    for (int i = 1; i <= 52; ++i) {  // the first window is full at the 25th epoch
      const std::int64_t t = at_50 + (i - 50) * kEpoch;
      run_epoch(t);
      EXPECT_EQ(engine().moving, i < 50) << i;
      // The first quiet spell counts as begun at time 0.
      EXPECT_EQ(engine().static_long, i >= 50 && t > 1500 * ms) << i;
    }
  }
  std::int64_t t = 101 * kSecond;
  run_epoch(t, kFlat, {0.0, 0.2, 0.0});
  int since_noise = 0, noisy = 0;
  for (int i = 0; i < 150; ++i) {
    run_epoch(t += kEpoch);
    since_noise = engine().static_count == 0 ? 0 : since_noise + 1;
    noisy += since_noise == 0;
    EXPECT_EQ(engine().moving, since_noise < 26) << i;
    EXPECT_EQ(engine().static_long, since_noise * 40 > 1500) << i;
  }
  EXPECT_GE(noisy, 25) << "the window holds the shock";
  EXPECT_LE(noisy, 75);
  engine().static_count = std::numeric_limits<std::int32_t>::max();
  run_epoch(t += kEpoch);
  EXPECT_EQ(engine().moving, 0) << "the count does not overflow";
}

// A walker shows dt: at 1 m/s its path is the time. The heading wraps after the step.
TEST(SensorEpoch, TheWalkerMovesByTheTimeUnlessTheGapIsLong) {
  const struct {
    std::int64_t before, now;
    double dt, heading;
  } cases[] = {{0, 1200 * ms, 1.2, 2.0},
               {kSecond, kSecond + kEpoch, 0.04, 3.2},
               {kSecond, 2500 * ms, 1.5, -3.2},
               {kSecond, 2500 * ms + 1, 0.0, 10.0},
               {kSecond, kSecond, 0.0, M_PI},
               {kSecond, 800 * ms, -0.2, -1.0},
               {kFirstTime, kLastTime, 0.0, 0.0},
               {kLastTime, kFirstTime, static_cast<double>(kFirstTime) / 1e9, 0.0}};
  for (const auto& [before, now, dt, heading] : cases) {
    Reset();
    engine().pdr_started = engine().pdr_ready = 1;
    engine().pdr_heading = heading;
    engine().pdr_speed = 1.0;
    engine().prev_epoch_time = before;
    run_epoch(now);
    EXPECT_NEAR(engine().pdr_east, -dt * std::sin(heading), 1e-15);
    EXPECT_DOUBLE_EQ(engine().pdr_north, dt * std::cos(heading));
    const double turn = heading > M_PI ? -2 * M_PI : heading < -M_PI ? 2 * M_PI : 0.0;
    EXPECT_DOUBLE_EQ(engine().pdr_heading, heading + turn);
    EXPECT_NEAR(engine().pdr_kf.F[3], -dt * std::sin(heading), 1e-15) << "the filter follows";
    EXPECT_EQ(engine().last_sensor_time, now);
  }
}

TEST(SensorEpoch, TheWalkerStartsAtElevenStepsAndStopsAMinuteAfterTheLast) {
  Reset();
  insZuAlgo& e = engine();
  e.pdr_ready = 1;
  e.pdr_speed = 1.0;
  for (const int steps : {10, 11}) {
    e.step_detector.bout_step_count = steps;
    run_epoch(kSecond + steps * kEpoch);
    EXPECT_EQ(e.pdr_started, steps == 11);
    EXPECT_EQ(e.pdr_north, 0.0) << "moves from the next epoch on";
  }
  const struct {
    std::int64_t last_step, now;
    int walks;
  } cases[] = {{0, 500 * kSecond, 1}, {kSecond, 61 * kSecond, 1}, {kSecond, 61 * kSecond + 1, 0},
               {kSecond, 0, 1},       {kFirstTime, kLastTime, 0}, {kLastTime, kFirstTime, 1}};
  for (const auto& [last_step, now, walks] : cases) {
    e.pdr_started = e.pdr_ready = e.pdr_flag = e.step_detector.bout_step_count = 1;
    e.pdr_origin[0] = e.pdr_north = e.pdr_kf.P[0] = 7.0;
    e.last_step_time_ns = last_step;
    run_epoch(now);
    EXPECT_EQ(GetPdrFlag(), walks) << now;
    EXPECT_EQ(e.pdr_started + e.pdr_ready + e.step_detector.bout_step_count, 3 * walks) << now;
    EXPECT_EQ(e.pdr_origin[0] + e.pdr_north + e.pdr_kf.P[0] > 0.0, walks) << now;
    EXPECT_EQ(e.last_step_time_ns, last_step);
  }
  EXPECT_EQ(e.pdr_window_len, 8) << "the history stays";
}

// A minute without motion: long enough for the filters to settle.
void stand_still(const Vec3& acc, const Vec3& gyr, std::int64_t from) {
  for (int i = 0; i < 1500; ++i) run_epoch(from + i * kEpoch, acc, gyr);
}

TEST(NavigatorStart, LevelsThePhoneAndTakesTheRateForBias) {
  const double c = std::cos(0.3), s = std::sin(0.3);
  const std::pair<Vec3, int> cases[] = {
      // up in the body frame (x right, y up along the screen, z out of it), Euler order
      {{0, 0, 1}, 1}, {{0, 1, 0}, 1},  {{s, c * c, c * s}, 1},  {{-s, -c * s, c * c}, 1},
      {{1, 0, 0}, 2}, {{-1, 0, 0}, 2}, {{c, s * c, -s * s}, 2}, {{-c, -s * s, s * c}, 2}};
  const Vec3 bias = {0.01, -0.02, 0.003};
  for (const auto& [up, order] : cases) {
    SCOPED_TRACE(testing::PrintToString(up));
    Reset();
    const Vec3 acc = {kGravity * up[0], kGravity * up[1], kGravity * up[2]};
    stand_still(acc, bias, 100 * kSecond);
    GpsData fix = good_fix(160 * kSecond, 6.0f);
    fix.vel_e = 0.25f;
    feed_fix(fix);
    EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_VEHICLE_MODE);
    run_epoch(160 * kSecond, acc, bias);
    insZuAlgo& e = engine();
    EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_VEHICLE_MODE | ZUVDR_CAR_ALIGNED);
    EXPECT_EQ(e.ins.att_mode, order);
    EXPECT_EQ(e.euler_order, order);
    const double* C = e.ins.Cnb;
    const Matrix eye = Matrix::identity(3), Cnb(C, 3, 3), felt(acc.data());
    const auto tilt = [&] {
      return distance(eye.data() + 6, 1.0 / kGravity * (Matrix(C, 3, 3) * felt));
    };
    EXPECT_LT(tilt(), 1e-6) << "float32 samples";
    EXPECT_LT((Cnb * Cnb.transpose() - eye).norm(), 1e-12);
    EXPECT_NEAR(C[0] * (C[4] * C[8] - C[5] * C[7]) + C[1] * (C[5] * C[6] - C[3] * C[8]) +
                    C[2] * (C[3] * C[7] - C[4] * C[6]),
                1.0, 1e-12);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_NEAR(e.ins.eb[i], bias[i], 1e-8);
      EXPECT_EQ(e.ins.vn[i], e.gps_vel[i]);
      EXPECT_EQ(e.ins.pos[i], 0.0);
      EXPECT_EQ(e.ref_pos[i], e.gps_pos[i]);
    }
    for (int i = 1; i < 1500; ++i) {
      run_epoch(160 * kSecond + i * kEpoch, acc, bias);
      const double sigma = std::sqrt(e.kf.P[0]) / kDegree;  // never rises at rest
      EXPECT_EQ(e.att_converged, sigma < 0.2) << i;
    }
    EXPECT_EQ(GetCarFlag(), 8 + 4 + ZUVDR_CAR_ATTITUDE_CONVERGED);
    EXPECT_LT(tilt(), 0.2 * kDegree) << "what the flag promises";
    EXPECT_NEAR(e.ins.vn[0], 0.0, 1e-3) << "held by the zero-velocity updates";
  }
  for (const bool good : {false, true}) {
    Reset();
    engine().vehicle_mode = 1;
    engine().ins_init_enable = good;
    stand_still(kFlat, {}, 100 * kSecond);
    EXPECT_EQ(engine().ins_aligned, good) << "the last fix must be good";
  }
}

TEST(NavigatorRestart, TippingThePhoneStopsTheNavigatorOneEpochAfterTheLimit) {
  Reset();
  insZuAlgo& e = engine();
  feed_fix(good_fix(99 * kSecond, 6.0f));
  const Vec3 tilted = {0.0, 1.0, std::sqrt(kGravity * kGravity - 1.0)};
  stand_still(tilted, {}, 100 * kSecond);
  ASSERT_EQ(GetCarFlag(), 14);
  // Quiet windows hold the velocity before the spell is a long one.
  e.static_start_time = 159e9;
  e.ins.vn[0] = e.kf.P[3 * 18 + 3] = 1.0;
  run_epoch(160 * kSecond, tilted);
  EXPECT_EQ(e.static_long, 0);
  EXPECT_NEAR(e.ins.vn[0], 0.0, 0.05);

  const double reference = e.ref_pos[0];
  std::vector<double> roll(30, e.ins.att[0]);  // before each epoch
  for (int i = 0; GetCarFlag() == 14 && i < 30; ++i) {
    roll.push_back(e.ins.att[0]);
    run_epoch(160 * kSecond + (i + 1) * kEpoch, tilted, {i == 0 ? 0.0 : 0.9, 0.0, 0.0});
  }
  EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_MOTION_RESET);
  const auto turned = [&](std::size_t i) { return std::abs(roll[i] - roll[i - 24]); };
  EXPECT_GT(turned(roll.size() - 1), 25.0 * kDegree);
  EXPECT_LE(turned(roll.size() - 2), 25.0 * kDegree);
  run_epoch(162 * kSecond, tilted);
  EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_MOTION_RESET) << "stays until the navigator runs again";

  // The new start keeps the frame: 100 m further east.
  feed_fix(good_fix(163 * kSecond, 6.0f, 116.0 + 100.0 / metres_per_degree(40.0)[0]));
  EXPECT_EQ(GetCarFlag(), ZUVDR_CAR_MOTION_RESET | ZUVDR_CAR_VEHICLE_MODE);
  stand_still(tilted, {}, 163 * kSecond);
  EXPECT_EQ(GetCarFlag(), 14);
  EXPECT_EQ(e.ref_pos[0], reference);
  EXPECT_NEAR(e.ins.pos[0], 100.0, 0.05);
}

}  // namespace
