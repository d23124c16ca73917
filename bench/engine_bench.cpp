// Time of each step and of each whole road through the engine.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "ZuVDR.h"
#include "kf/kf.h"
#include "nav/ins.h"
#include "nav/matrix.h"
#include "pdr/step_detector.h"

namespace {

constexpr double kEpoch = 0.04;              // s
constexpr std::int64_t kEpochNs = 40000000;  // ns
constexpr std::int64_t kEpochsPerFix = 25;
constexpr double kCruise = 12.0;                    // m/s, north
double imu[6] = {0.01, -0.02, 0.1, 0.2, 0.5, 9.8};  // a gentle turn

struct Navigator {
  INS ins{};
  KF kf{};
  glvs glv{};

  Navigator() {
    double level[4] = {1.0, 0.0, 0.0, 0.0};
    double zero[3] = {};
    double velocity[3] = {0.0, kCruise, 0.0};
    InsInit1(level, ins, zero, zero, velocity, zero, glv, 1);
    KfInit(kf, glv, kEpoch);
  }

  void time_update() {
    InsUpdate(ins, imu, kEpoch);
    kffk(ins, kf, kEpoch);
    QkUpdate(ins, kf, imu, kEpoch);
    double unused[8] = {};
    KfUpdate(ins, kf, unused, unused, false);
  }
};

void MechanisationAndTimeUpdate(benchmark::State& state) {
  Navigator navigator;
  for (auto _ : state) navigator.time_update();
  benchmark::DoNotOptimize(navigator.kf.P[0]);
}
BENCHMARK(MechanisationAndTimeUpdate);

void GnssUpdate(benchmark::State& state) {
  Navigator navigator;
  double sigma[8] = {0.3, 0.3, 0.4, 3.0, 3.0, 5.0, 0.1, 0.05};
  for (auto _ : state) {
    MeasureUpdate(navigator.ins.pos, navigator.ins.vn, sigma, navigator.ins, navigator.kf,
                  navigator.glv);
  }
}
BENCHMARK(GnssUpdate);

template <void (*update)(KF&, INS&)>
void Aid(benchmark::State& state) {
  Navigator navigator;
  for (auto _ : state) update(navigator.kf, navigator.ins);
}
BENCHMARK_TEMPLATE(Aid, ZUPT);
BENCHMARK_TEMPLATE(Aid, NHC);

template <void (*update)(KF&, INS&, double*)>
void AidWithSample(benchmark::State& state) {
  Navigator navigator;
  double level[3] = {0.0, 0.0, 9.8};
  for (auto _ : state) update(navigator.kf, navigator.ins, level);
}
BENCHMARK_TEMPLATE(AidWithSample, wBiasupdate);
BENCHMARK_TEMPLATE(AidWithSample, tiltupdate);

void StepDetector(benchmark::State& state) {
  sns_oem_step_detector_inst_state detector{};
  unsigned long long t = 0;
  for (auto _ : state) {
    t += static_cast<unsigned long long>(kEpochNs);
    const double phase = static_cast<double>(t) * 1e-9 * 12.0;  // rad, about 2 steps a second
    float acc[3] = {0.3F, 0.2F, static_cast<float>(9.8 + 3.0 * std::sin(phase))};
    float gyr[3] = {static_cast<float>(std::sin(phase)), 0.2F, 0.1F};
    sns_oem_step_detector_StateMachine(t, acc, gyr, &detector);
  }
}
BENCHMARK(StepDetector);

// A drive through the C interface: vehicle mode, a standstill to align at, then cruising with a fix
// a second. One iteration is one sensor epoch and its share of a fix.
class Drive {
 public:
  Drive() {
    Reset();
    seconds(5, kCruise, false);
    seconds(10, 0.0, true);
    seconds(60, kCruise, false);
  }

  void epoch(double speed, bool still) {
    time_ += kEpochNs;
    const double shake =
        still ? 0.0 : 0.02 * std::sin(static_cast<double>(time_) * 3e-9);  // 0.5 Hz
    SensorData acc{1, 0, {0.1 + shake, 0.0, 9.8, 0, 0, 0}, time_};
    SensorData gyr{16, 0, {shake, -shake, shake, 0, 0, 0}, time_};
    UpdateLocationbySensorEvent(acc);
    UpdateLocationbySensorEvent(gyr);
    north_ += speed * kEpoch;
    if (++epochs_ % kEpochsPerFix == 0) fix(speed);
  }

 private:
  void seconds(int count, double speed, bool still) {
    for (int i = 0; i < count * kEpochsPerFix; ++i) epoch(speed, still);
  }

  void fix(double speed) {
    GpsData data{};
    data.time_ns = time_;
    data.latitude = 52.0 + north_ / 111320.0;
    data.longitude = 21.0;
    data.speed = static_cast<float>(speed);
    data.vel_n = data.speed;
    data.vel_acc_e = data.vel_acc_n = data.vel_acc_u = data.speed_acc = 0.3F;
    data.pos_acc_e = data.pos_acc_n = data.pos_acc_u = 3.0F;
    SyncGPSEventforFusion(&data);
    UpdateLocationbyGPSEvent(0);
  }

  std::int64_t time_ = 1000000000;  // ns
  std::int64_t epochs_ = 0;
  double north_ = 0.0;  // m
};

void WholeEpoch(benchmark::State& state) {
  Drive drive;
  if ((GetCarFlag() & ZUVDR_CAR_POSITION_SET) == 0) state.SkipWithError("the drive never aligned");
  for (auto _ : state) drive.epoch(kCruise, false);
}
BENCHMARK(WholeEpoch);

}  // namespace
