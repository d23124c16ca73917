#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

// Calls f with every plain member that Reset zeroes. The navigator's record holds deques: by parts.
template <typename Function>
void for_each_plain_member(insZuAlgo& e, Function f) {
  const auto all = [&f](auto&... members) { (f(members), ...); };
  INS& i = e.ins;
  all(i.qnb, i.vn, i.pos, i.att, i.Cnb, i.fn, i.fb, i.after_fb, i.eb, i.db, i.an, i.after_an, i.wb,
      i.after_wb, i.install_att, i.install_Cnb, i.Cmount, i.install_qnb, i.att_mode, e.kf);
  all(e.att_converged, e.ins_pos_set, e.ins_aligned, e.vehicle_mode, e.motion_reset, e.euler_order,
      e.gps_converged, e.gps_status);
  all(e.gps_prev_pos, e.gps_prev_vel, e.gps_pos, e.gps_vel, e.gps_prev_time, e.gps_time, e.gps_fix,
      e.last_sensor_time, e.match_mask, e.prev_epoch_time);
  all(e.pdr_east, e.pdr_north, e.pdr_height, e.pdr_heading, e.pdr_speed, e.pdr_kf, e.pdr_started,
      e.pdr_ready, e.pdr_origin, e.step_detector, e.pdr_window_len, e.loc_lat, e.loc_lon,
      e.loc_alt);
  all(e.static_long, e.static_start_time, e.acc_lpf, e.gyr_lpf, e.acc_lpf1hz, e.ref_pos,
      e.ins_init_enable, e.ins_running, e.pdr_flag, e.last_step_time_ns, e.static_count);
}

template <typename Function>
void for_each_queue(insZuAlgo& e, Function f) {
  const auto all = [&f](auto&... queues) { (f(queues), ...); };
  all(e.ins.pitch_hist, e.ins.roll_hist, e.stability_win, e.tunnel_win, e.convergence_win,
      e.epoch_queue, e.acc_queue, e.gyr_queue, e.mag_queue, e.pres_queue, e.pdr_stability_win,
      e.pdr_acc_x, e.pdr_acc_y, e.pdr_acc_z, e.pdr_time, e.pdr_step_flags, e.gyr_win_x, e.gyr_win_y,
      e.gyr_win_z);
}

TEST(Lifecycle, ResetClearsEverythingButConstantsAndTheCurrentEpoch) {
  ASSERT_NE(minsZuAlgo, nullptr);
  EXPECT_EQ(minsZuAlgo, insZuAlgo::sinsZuAlgo);
  for (const std::size_t queued : {1u, 1000u}) {
    const auto spoil = [](auto& member) { std::memset(&member, 0x5A, sizeof member); };
    for_each_plain_member(engine(), spoil);
    for_each_queue(engine(), [queued](auto& queue) { queue.resize(queued); });
    engine().moving = 0;
    spoil(engine().glv);
    spoil(engine().cur_epoch);
    Reset();
    int index = 0;
    for_each_plain_member(engine(), [&index](const auto& member) {
      const std::vector<unsigned char> zeros(sizeof member);
      EXPECT_EQ(std::memcmp(&member, zeros.data(), sizeof member), 0) << "member " << index;
      ++index;
    });
    for_each_queue(engine(), [](const auto& queue) { EXPECT_TRUE(queue.empty()); });
    EXPECT_EQ(engine().moving, 1);
    EXPECT_EQ(engine().glv.Re, 0x5A5A5A5Au);
    EXPECT_EQ(engine().cur_epoch.match_mask, 0x5A5A5A5A);
    EXPECT_EQ(GetCarFlag() + GetPdrFlag(), 0);
    EXPECT_EQ(isSensorEventBufferFull() + engine().algo_gpswin_update(), 2);
  }
}

TEST(Lifecycle, ADriveAfterResetIsTheSameDrive) {
  std::vector<std::string> answers[3];  // status, flags, and the log with threefold positions
  for (auto& drive : answers) {
    Car car;
    car.start();
    for (int i = 0; i < 80; ++i) {
      const int status = i < 40 ? car.good(i < 6 ? 2.5 : 0.0) : car.bad();
      drive.push_back(std::to_string(status) + std::to_string(GetCarFlag()) + getAlgoLog());
    }
    EXPECT_EQ(drive.back().substr(0, 3), "315");
    Reset();
    EXPECT_EQ(location().latitude, 0.0);
  }
  // The sensor filters live on through Reset: only the later drives start alike.
  EXPECT_EQ(answers[1], answers[2]);
  for (int i = 0; i < 500; ++i) run_epoch(i * kEpoch, kFlat, {0.1, 0.0, 0.0});
  Reset();
  run_epoch(kSecond, kFlat, {0.1, 0.0, 0.0});
  EXPECT_NEAR(engine().acc_lpf[2], kGravity, 1e-6);
  EXPECT_NEAR(engine().acc_lpf1hz[2], kGravity, 1e-6);
  EXPECT_NEAR(engine().gyr_lpf[0], 0.1, 1e-6);
}

}  // namespace
