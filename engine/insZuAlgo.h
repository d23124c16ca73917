// The engine: one object per process that owns every record and queue. Its members are driven by
// the exported functions of include/ZuVDR.h and are no interface of their own.
//
//   sensor_intake.cpp       DataSort: filing and pairing of raw events
//   epoch_release.cpp       GpsAlignment: the epochs that a fix lets through
//   sensor_epoch.cpp        algo_sensor_update: one paired epoch
//   standstill.cpp          quiet windows: moving, static_long
//   gnss_intake.cpp         a fix and its predecessor
//   gnss_epoch.cpp          algo_gps_update: one fix, the vehicle's side
//   alignment.cpp           the navigator levelled, its first heading and position
//   pedestrian.cpp          the walker's side of epochs and fixes
//   published_position.cpp  the output and its range guard
//   monitors.cpp            sliding-window voters
//   log_line.cpp            the diagnostic text
//   exports.cpp             the C interface
//   insZuAlgo.cpp           creation, Reset, clear routines
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "ZuVDR.h"
#include "kf/kf.h"
#include "nav/ins.h"
#include "pdr/pedestrian_filter.h"
#include "pdr/step_detector.h"

// One time-paired epoch, at the gyroscope's time.
struct SensorEpoch {
  float acc[6];   // m/s^2 in 0 to 2
  float gyr[6];   // rad/s in 0 to 2
  float mag[6];   // uT in 0 to 2; zero when not paired
  float pres[6];  // hPa in 0; zero when not paired
  std::int64_t reserved;
  std::int64_t time_ns;     // of the gyroscope event
  std::int32_t match_mask;  // 1 accelerometer and gyroscope, +2 magnetometer, +4 pressure
  std::int32_t reserved_mask;
};
static_assert(sizeof(SensorEpoch) == 120);
static_assert(offsetof(SensorEpoch, time_ns) == 104 && offsetof(SensorEpoch, match_mask) == 112);

// The host's time stamps and the interface's long are the same type on LP64.
static_assert(sizeof(long) == 8);

class insZuAlgo {
 public:
  // The one engine; null until the library's static initialiser has run.
  ZUVDR_EXPORT static insZuAlgo* sinsZuAlgo;

  // Lifecycle. The clear routines set only zeros; algo_reset leaves moving at 1.
  ZUVDR_EXPORT void algo_reset();
  ZUVDR_EXPORT void InsClear();      // navigator, filter, monitors, car flags
  ZUVDR_EXPORT void DriDataClear();  // GNSS intake, epochs, per-type queues
  ZUVDR_EXPORT void PdrClear();      // walker's solution, filter, origin, monitor
  ZUVDR_EXPORT void PdrDataClear();  // walker's history

  // Sensor events. DataSort: 1 when the event completed an epoch, else 0. SensorUpdate: DataSort
  // and, when it returned 1, the result of GpsAlignment; else 0.
  ZUVDR_EXPORT int SensorUpdate(SensorData event);
  ZUVDR_EXPORT int DataSort(SensorData event);
  // Runs algo_sensor_update on every queued epoch up to the newest at or after gps_time whose
  // predecessor lies before it. 0 when there is none or the epochs end more than 40 ms before
  // gps_time; else 1, also when all of them lie more than 40 ms after it.
  ZUVDR_EXPORT int GpsAlignment();
  ZUVDR_EXPORT int algo_sensor_update();  // works on cur_epoch; always 0
  ZUVDR_EXPORT int algo_gpswin_update();  // 1 when epoch_queue is empty, else 0

  // GNSS fixes: algo_gps_update returns the status code 0 to 3 (include/ZuVDR.h).
  void store_fix(const GpsData& fix);
  ZUVDR_EXPORT int algo_gps_update(int sample);

  // Sliding-window voters on samples that are zero or not: 1 when the last N were all zero, 0 when
  // all were non-zero, -1 otherwise.
  ZUVDR_EXPORT int CarStability(int sample);  // N = 30
  ZUVDR_EXPORT int CarTunnel(int sample);     // N = 60
  ZUVDR_EXPORT int PdrStability(int sample);  // N = 5
  // True when 30 or more of the last 50 samples were non-zero.
  ZUVDR_EXPORT bool CarConvergence(int sample);

  // Walker (pdr/pedestrian_filter.h) on this engine's solution.
  ZUVDR_EXPORT void PdrKfInit(PDRKF& filter);
  ZUVDR_EXPORT void PdrInit(GpsData& fix);
  ZUVDR_EXPORT void PdrUpdate(double dt);
  ZUVDR_EXPORT void PdrKfPredit(PDRKF& filter, double dt);
  ZUVDR_EXPORT void PseudoSpeedUpdate(PDRKF& filter, double speed);
  ZUVDR_EXPORT void PdrGpsUpdate(PDRKF& filter, GpsData& fix, double* position);
  // True when there was no step yet or one within the last 60 s; t in ns.
  ZUVDR_EXPORT bool PdrStatus(long t);
  // Appends one epoch to the history: accelerometer in sample[3..5] (m/s^2), t in ns, step flag.
  ZUVDR_EXPORT void PdrDataSort(double* sample, long t, int step);

  ZUVDR_EXPORT std::string getAlgoLog();

  // Sum of the car flags' bits (include/ZuVDR.h).
  int car_flag_word() const;

  // Current epoch; its mask is not kept up.
  SensorEpoch cur_epoch;

  // Vehicle navigator and filter.
  INS ins;
  KF kf;
  std::deque<std::int32_t> stability_win;    // last 30 samples
  std::deque<std::int32_t> tunnel_win;       // last 60
  std::deque<std::int32_t> convergence_win;  // last 50

  // Car flags, 0 or 1.
  std::int32_t att_converged;  // tilt known to better than 0.2 degrees
  std::int32_t ins_pos_set;    // position and heading set from a fix
  std::int32_t ins_aligned;    // navigator initialised
  std::int32_t vehicle_mode;   // vehicle navigation enabled by speed
  std::int32_t motion_reset;   // the last epoch's motion check restarted the navigator
  std::int32_t euler_order;    // att_mode the navigator was initialised with; 0 before
  std::int32_t gps_converged;  // verdict of CarConvergence
  std::int32_t gps_status;     // status of the last GNSS epoch, 0 to 3

  // GNSS intake: longitude (deg), latitude (deg), altitude (m); east, north, up (m/s); ns. The
  // previous fix is whatever was handed over before, good or bad.
  double gps_prev_pos[3];
  double gps_prev_vel[3];
  double gps_pos[3];
  double gps_vel[3];
  std::int64_t gps_prev_time;
  std::int64_t gps_time;

  std::deque<SensorEpoch> epoch_queue;  // epochs waiting for a fix, oldest first

  std::int64_t last_sensor_time;  // of the epoch processed last, ns
  std::int32_t match_mask;        // sources paired in the current call of DataSort
  std::deque<SensorData> acc_queue;
  std::deque<SensorData> gyr_queue;
  std::deque<SensorData> mag_queue;
  std::deque<SensorData> pres_queue;

  glvs glv;

  // Walker's solution: metres from pdr_origin; heading in rad, counter-clockwise from north, in
  // [-pi, pi]; m/s. Nothing sets the height.
  double pdr_east;
  double pdr_north;
  double pdr_height;
  double pdr_heading;
  double pdr_speed;

  // Walker.
  PDRKF pdr_kf;
  std::int32_t pdr_started;                    // propagation enabled by a bout of steps
  std::int32_t pdr_ready;                      // filter initialised
  double pdr_origin[3];                        // longitude (deg), latitude (deg), altitude (m)
  std::deque<std::int32_t> pdr_stability_win;  // last 5 samples
  // The last 150 epochs, aligned by index, oldest first.
  std::deque<double> pdr_acc_x;  // m/s^2
  std::deque<double> pdr_acc_y;
  std::deque<double> pdr_acc_z;
  std::deque<std::int64_t> pdr_time;  // ns
  std::deque<double> pdr_step_flags;  // 1.0 at an epoch with a step, else 0.0

  sns_oem_step_detector_inst_state step_detector;
  std::int64_t pdr_window_len;  // epochs in the history

  // Output, degrees. loc_alt is zeroed with them and never set: no height is published.
  double loc_lat;
  double loc_lon;
  double loc_alt;

  GpsData gps_fix;  // the latest fix as handed over

  std::int64_t prev_epoch_time;  // ns

  // Quiet detector.
  std::deque<double> gyr_win_x;  // the last 25 values of gyr_lpf, rad/s
  std::deque<double> gyr_win_y;
  std::deque<double> gyr_win_z;
  std::int32_t static_long;  // 1 when quiet for more than 1.5 s
  double static_start_time;  // of the current quiet spell, ns
  double acc_lpf[3];         // m/s^2
  double gyr_lpf[3];         // rad/s
  double acc_lpf1hz[3];      // m/s^2
  double ref_pos[3];         // origin of the navigator's frame: longitude, latitude (deg), m

  // Mode words.
  std::int32_t moving;           // 0 after more than 25 quiet windows in a row
  std::int32_t ins_init_enable;  // 1 when the latest fix passed the quality test
  std::int32_t ins_running;      // navigator propagated since the last reset
  std::int32_t pdr_flag;         // walker's filter initialised (GetPdrFlag)
  std::int64_t last_step_time_ns;
  std::int32_t static_count;  // consecutive quiet windows

  // Steps of algo_sensor_update.
  void detect_quiet();
  void pedestrian_sensor_epoch(double* imu, double dt);
  void propagate_vehicle(double* imu, double dt);
  void initialise_navigator(double dt);

  // Steps of algo_gps_update.
  bool fix_passes_quality_test() const;
  int vehicle_gnss_epoch(int stability, int tunnel);
  void align_navigator_with_gnss();
  int gnss_update();
  int dead_reckoning_epoch(int stability, int tunnel);
  int raw_output();
  int guard_range(int status);
  int pedestrian_gnss_epoch(int sample, int vehicle_status);
  void initialise_pedestrian_filter();
  void publish(const double* reference, double east, double north, double up);
  void restart_pedestrian();
  zuvdr::PedestrianSolution pedestrian();
};

// The same pointer, as the exported functions use it.
ZUVDR_EXPORT extern insZuAlgo* minsZuAlgo;
