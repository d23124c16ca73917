// One paired sensor epoch: input filters, quiet detection, step detection, the walker's
// propagation, and the vehicle navigator with its filter's time update and standstill aids.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "engine/insZuAlgo.h"
#include "kf/kf.h"
#include "kf/time_update.h"
#include "nav/attitude.h"
#include "nav/clock.h"
#include "nav/constants.h"
#include "nav/geodesy.h"
#include "nav/motion.h"
#include "nav/signal.h"

namespace {

constexpr double kLongestStep = 1.5;  // s; a longer gap is not integrated

// Quiet means: standard deviation of the filtered rate below these, rad/s, tuned per axis.
constexpr std::size_t kQuietWindow = 25;  // epochs, 1 s at 25 Hz
constexpr double kQuietX = 0.00026375;
constexpr double kQuietY = 0.0002375;
constexpr double kQuietZ = 0.000265;
constexpr std::int32_t kQuietWindowsToStand = 25;  // windows before the one that ends the motion
constexpr double kLongQuiet = 1.5;                 // s

constexpr std::int32_t kStepsToStart = 11;  // steps in a bout that start the walker's propagation
constexpr double kConvergedTilt = 0.2;      // degrees, 1 sigma

// Whether the standard deviation of a window is below the limit. In a full one two samples d apart
// put it at d / sqrt(2 (n - 1)) or above, d / 6.93, whatever the others are: most windows of a
// moving phone need no sums.
bool deviation_below(const std::deque<double>& window, double limit) {
  if (window.size() != kQuietWindow) return zuvdr::sample_standard_deviation(window) < limit;
  if (std::fabs(window.back() - window.front()) > 8.0 * limit) return false;
  std::array<double, kQuietWindow> samples;
  std::copy(window.begin(), window.end(), samples.begin());
  return zuvdr::sample_standard_deviation(samples) < limit;
}

}  // namespace

int insZuAlgo::algo_sensor_update() {
  const std::int64_t t = cur_epoch.time_ns;
  double imu[6];  // gyroscope x, y, z (rad/s), accelerometer x, y, z (m/s^2)
  std::copy_n(cur_epoch.gyr, 3, imu);
  std::copy_n(cur_epoch.acc, 3, imu + 3);

  last_sensor_time = t;
  double dt = zuvdr::elapsed_seconds(t, prev_epoch_time);
  prev_epoch_time = t;
  if (dt > kLongestStep) dt = 0.0;

  aLowPassFilter(imu + 3, acc_lpf);
  wLowPassFilter(imu, gyr_lpf);
  LPF_1Hz_order3(imu + 3, acc_lpf1hz);

  detect_quiet();

  sns_oem_step_detector_StateMachine(static_cast<unsigned long long>(t), cur_epoch.acc,
                                     cur_epoch.gyr, &step_detector);
  PdrDataSort(imu, t, step_detector.step_flag);
  if (!PdrStatus(t)) {
    restart_pedestrian();
    pdr_flag = 0;
  }
  propagate_pedestrian(dt);

  if (vehicle_mode == 0) return 0;
  if (ins_aligned != 0) {
    propagate_vehicle(imu, dt);
  } else if (static_long == 1 && ins_init_enable != 0) {
    initialise_navigator(dt);
  }
  return 0;
}

void insZuAlgo::detect_quiet() {
  const auto t = static_cast<double>(cur_epoch.time_ns);
  const auto long_quiet = [&] {
    return (t - static_start_time) / zuvdr::kNanosecondsPerSecond > kLongQuiet ? 1 : 0;
  };
  gyr_win_x.push_back(gyr_lpf[0]);
  gyr_win_y.push_back(gyr_lpf[1]);
  gyr_win_z.push_back(gyr_lpf[2]);
  if (gyr_win_x.size() != kQuietWindow) {
    if (moving == 0) static_long = long_quiet();
    return;
  }
  const bool quiet = deviation_below(gyr_win_x, kQuietX) && deviation_below(gyr_win_y, kQuietY) &&
                     deviation_below(gyr_win_z, kQuietZ);
  gyr_win_x.pop_front();
  gyr_win_y.pop_front();
  gyr_win_z.pop_front();
  if (quiet) {
    const std::int32_t before = static_count;
    if (static_count < std::numeric_limits<std::int32_t>::max()) ++static_count;
    moving = before < kQuietWindowsToStand ? 1 : 0;
    if (before >= kQuietWindowsToStand) static_long = long_quiet();
  } else {
    static_count = 0;
    moving = 1;
    static_long = 0;
    static_start_time = t;
  }
}

void insZuAlgo::propagate_pedestrian(double dt) {
  if (pdr_started == 0) {
    if (step_detector.bout_step_count >= kStepsToStart) pdr_started = 1;
  } else if (pdr_ready != 0) {
    PdrUpdate(dt);
    PdrKfPredit(pdr_kf, dt);
  }
}

void insZuAlgo::propagate_vehicle(double* imu, double dt) {
  ins_running = 1;
  const int disturbed = MP_MOVE(ins);
  InsUpdate(ins, imu, dt);
  if (disturbed != 0) {
    InsClear();
    motion_reset = 1;
    return;
  }
  motion_reset = 0;

  zuvdr::time_update(ins, kf, imu, dt);

  if (moving == 0) {
    if (static_long == 1) {
      wBiasupdate(kf, ins, gyr_lpf);
      tiltupdate(kf, ins, acc_lpf);
    }
    ZUPT(kf, ins);
  }
  if (att_converged == 0) {
    const double sigma = std::sqrt(kf.P[0]) * 180.0 / zuvdr::kPi;  // degrees
    if (sigma < kConvergedTilt) att_converged = 1;
  }
}

void insZuAlgo::initialise_navigator(double dt) {
  ins_aligned = 1;
  const int order = LandscapeDetector(acc_lpf1hz);
  double u[3];
  for (int i = 0; i < 3; ++i) u[i] = acc_lpf[i] / -zuvdr::kGravity;
  double angles[3] = {};  // yaw 0
  double R[9];
  double q[4] = {};
  zuvdr::tilt_from_gravity(u, order, angles);
  if (zuvdr::euler_to_matrix(angles, order, R)) rot2qua(R, q);
  double position[3] = {};
  if (ins_running != 0) {
    G2M(ref_pos, gps_pos, glv, position);
  } else {
    std::copy_n(gps_pos, 3, ref_pos);
  }
  double acc_bias[3] = {};
  InsInit1(q, ins, acc_bias, gyr_lpf, gps_vel, position, glv, order);
  euler_order = order;
  KfInit(kf, glv, dt);
}
