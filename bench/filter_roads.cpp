// Each step of the vehicle's filter on a record as it is after a minute of driving. Before every
// run the record is put back from a copy, unmeasured: the few calls of a run leave P as it is met
// on the road, where repeating an update for ever would end in covariances that no drive has.
#include <algorithm>

#include "bench/roads.h"
#include "kf/kf.h"
#include "kf/time_update.h"
#include "nav/ins.h"
#include "nav/matrix.h"
#include "tests/kf/dense_filter.h"

namespace zuvdr::bench {
namespace {

constexpr double kEpoch = 0.04;  // s
constexpr int kCalls = 10;

// The forms that a filter may take. Mechanisation and transition have only one.
struct Filter {
  decltype(&zuvdr::time_update) time_update = zuvdr::time_update;
  decltype(&::QkUpdate) process_noise = ::QkUpdate;
  decltype(&::KfUpdate) update = ::KfUpdate;
  decltype(&::MeasureUpdate) gnss_update = ::MeasureUpdate;
  decltype(&::ZUPT) zero_velocity = ::ZUPT;
  decltype(&::NHC) non_holonomic = ::NHC;
  decltype(&::wBiasupdate) gyro_bias = ::wBiasupdate;
  decltype(&::tiltupdate) tilt = ::tiltupdate;
  decltype(&::MatrixInverse_n) inverse = ::MatrixInverse_n;
};

double unused[8];

void dense_time_update(INS& ins, KF& kf, const double* imu, double dt) {
  double sample[6];
  std::copy_n(imu, 6, sample);
  kffk(ins, kf, dt);
  dense::QkUpdate(ins, kf, sample, dt);
  dense::KfUpdate(ins, kf, unused, unused, false);
}

constexpr Filter kDense = {dense_time_update,    dense::QkUpdate,   dense::KfUpdate,
                           dense::MeasureUpdate, dense::ZUPT,       dense::NHC,
                           dense::wBiasupdate,   dense::tiltupdate, dense::cofactor_inverse};

struct Vehicle {
  INS ins{};
  KF kf{};
  glvs glv{};
  double inverse[64];
};

using Step = void (*)(const Filter&, Vehicle&);

double imu[6] = {0.01, -0.02, 0.1, 0.3, -0.2, 9.8};  // rad/s, m/s^2: a gentle turn
double velocity[3] = {3.0, 12.0, 0.1};               // m/s

void time_update(const Filter& filter, Vehicle& v) {
  InsUpdate(v.ins, imu, kEpoch);
  filter.time_update(v.ins, v.kf, imu, kEpoch);
}

void gnss_update(const Filter& filter, Vehicle& v) {
  double position[3] = {v.ins.pos[0] + 1.0, v.ins.pos[1] - 0.5, v.ins.pos[2] + 0.3};
  double sigma[8] = {0.3, 0.3, 0.4, 3.0, 3.0, 5.0, 0.1, 0.05};
  filter.gnss_update(position, velocity, sigma, v.ins, v.kf, v.glv);
}

Vehicle vehicle_on_the_road() {
  Vehicle v;
  double attitude[4] = {0.9, 0.1, -0.2, 0.3741657};
  double zero[3] = {};
  InsInit1(attitude, v.ins, zero, zero, velocity, zero, v.glv, 1);
  KfInit(v.kf, v.glv, kEpoch);
  for (int epoch = 1; epoch <= 60 * 25; ++epoch) {
    time_update({}, v);
    if (epoch % 25 == 0) gnss_update({}, v);
  }
  return v;
}

class FilterRoad : public Road {
 public:
  FilterRoad(Step step, const Filter& filter) : step_(step), filter_(filter) {}

  void prepare() override { vehicle_ = start_; }
  void run() override {
    for (int i = 0; i < kCalls; ++i) step_(filter_, vehicle_);
  }
  std::string fault() const override {
    for (int i = 0; i < 18; ++i) {
      // NaN and denormals, which take other times, lie outside.
      const double variance = vehicle_.kf.P[19 * i];
      if (!(variance > 1e-15 && variance < 1e6)) return "P has left the range of a drive";
    }
    return {};
  }

 private:
  const Step step_;
  const Filter filter_;
  const Vehicle start_ = vehicle_on_the_road();
  Vehicle vehicle_;
};

}  // namespace

void add_filter_roads(std::vector<NamedRoad>& roads) {
  const auto add = [&roads](const std::string& name, Step step, bool has_dense = true) {
    const auto make = [step](const Filter& filter) {
      return [step, filter] { return std::make_unique<FilterRoad>(step, filter); };
    };
    roads.push_back({name, kCalls, make({})});
    if (!has_dense) return;
    // Every dense update takes the inverse by cofactors.
    dense::inverse = dense::cofactor_inverse;
    roads.push_back({"dense: " + name, kCalls, make(kDense), 1});
  };
  add(
      "mechanisation", [](const Filter&, Vehicle& v) { InsUpdate(v.ins, imu, kEpoch); }, false);
  add(
      "transition", [](const Filter&, Vehicle& v) { kffk(v.ins, v.kf, kEpoch); }, false);
  add("process noise",
      [](const Filter& f, Vehicle& v) { f.process_noise(v.ins, v.kf, imu, kEpoch); });
  add("prediction",
      [](const Filter& f, Vehicle& v) { f.update(v.ins, v.kf, unused, unused, false); });
  add("mechanisation and time update", time_update);
  add("MeasureUpdate", gnss_update);
  add("ZUPT", [](const Filter& f, Vehicle& v) { f.zero_velocity(v.kf, v.ins); });
  add("NHC", [](const Filter& f, Vehicle& v) { f.non_holonomic(v.kf, v.ins); });
  add("wBiasupdate", [](const Filter& f, Vehicle& v) { f.gyro_bias(v.kf, v.ins, imu); });
  add("tiltupdate", [](const Filter& f, Vehicle& v) { f.tilt(v.kf, v.ins, imu + 3); });
  add("inverse 8x8", [](const Filter& f, Vehicle& v) { f.inverse(v.kf.S, v.inverse, 8); });
}

}  // namespace zuvdr::bench
