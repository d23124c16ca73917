// Roads through the engine in a known state: its epochs and fixes through the C interface, and the
// walker's steps on what the engine holds while somebody walks.
#include "bench/journey.h"
#include "bench/roads.h"
#include "engine/insZuAlgo.h"
#include "pdr/step_detector.h"
#include "pdr/step_length.h"
#include "pdr/step_networks.h"

namespace zuvdr::bench {
namespace {

constexpr int kCalls = 10;
constexpr int kEpochs = 25;  // of a second

enum class Sides { kVehicle, kWalker, kBoth, kStandstill };

// An engine with these sides running, half a minute after the last change.
class EngineRoad : public Road {
 public:
  explicit EngineRoad(Sides sides) : sides_(sides) {
    Reset();
    if (sides != Sides::kWalker) {
      for (const Stretch& stretch : kVehicleStart) play(stretch);
    }
    play({motion(), 30});
  }

  std::string fault() const override { return fault_; }

 protected:
  void take_next_second() { second_ = journey_.next(motion()); }

  void hand_over_events() {
    for (const SensorData& event : second_.events) UpdateLocationbySensorEvent(event);
  }

  void hand_over_fix() {
    SyncGPSEventforFusion(&second_.fix);
    UpdateLocationbyGPSEvent(0);
    GetLocation(&location_);
  }

  void check_state() {
    constexpr int kRunning =
        ZUVDR_CAR_POSITION_SET | ZUVDR_CAR_ALIGNED | ZUVDR_CAR_ATTITUDE_CONVERGED;
    const bool stands = engine().moving == 0 && engine().static_long == 1;
    const bool walker_runs = engine().pdr_ready == 1 && GetPdrFlag() == 1;
    if ((GetCarFlag() & kRunning) != (sides_ == Sides::kWalker ? 0 : kRunning)) {
      fault_ = "the vehicle's side is not in its state";
    } else if (walker_runs != (motion() == Motion::kWalking)) {
      fault_ = "the walker's side is not in its state";
    } else if (stands != (motion() == Motion::kStanding)) {
      fault_ = "the aids at a standstill are not in their state";
    }
  }

  static insZuAlgo& engine() { return *minsZuAlgo; }
  Second second_;
  std::string fault_;

 private:
  Motion motion() const {
    if (sides_ == Sides::kStandstill) return Motion::kStanding;
    return sides_ == Sides::kVehicle ? Motion::kDriving : Motion::kWalking;
  }

  void play(const Stretch& stretch) {
    for (int i = 0; i < stretch.seconds; ++i) {
      second_ = journey_.next(stretch.motion);
      hand_over_events();
      hand_over_fix();
    }
  }

  const Sides sides_;
  Journey journey_;
  Location location_{};
};

// The sensor events of a second. Epochs wait for a fix at or after them, and the first event behind
// it releases them: so each run files and pairs 25 epochs and processes the 25 before the last fix.
class EpochsRoad : public EngineRoad {
 public:
  using EngineRoad::EngineRoad;
  void prepare() override {
    if (fix_due_) hand_over_fix();
    fix_due_ = true;
    check_state();
    take_next_second();
  }
  void run() override { hand_over_events(); }

 private:
  bool fix_due_ = false;
};

// The fix at the end of a second.
class FixRoad : public EngineRoad {
 public:
  using EngineRoad::EngineRoad;
  void prepare() override {
    check_state();
    take_next_second();
    hand_over_events();
  }
  void run() override { hand_over_fix(); }
};

class StepDetectorRoad : public EngineRoad {
 public:
  using EngineRoad::EngineRoad;
  void prepare() override {
    take_next_second();
    for (std::size_t i = 0; i < kEpochs; ++i) {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        acc_[i][axis] = static_cast<float>(second_.events[2 * i].values[axis]);
        gyr_[i][axis] = static_cast<float>(second_.events[2 * i + 1].values[axis]);
      }
    }
  }
  void run() override {
    const int steps = detector_.total_steps;
    for (std::size_t i = 0; i < kEpochs; ++i) {
      const auto time = static_cast<unsigned long long>(second_.events[2 * i].timestamp);
      sns_oem_step_detector_StateMachine(time, acc_[i], gyr_[i], &detector_);
    }
    if (detector_.total_steps == steps) fault_ = "a second without steps";
  }

 private:
  sns_oem_step_detector_inst_state detector_ = engine().step_detector;
  float acc_[kEpochs][3], gyr_[kEpochs][3];
};

class NetworksRoad : public EngineRoad {
 public:
  using EngineRoad::EngineRoad;
  void prepare() override {}
  void run() override {
    const sns_oem_step_detector_inst_state& detector = engine().step_detector;
    for (int i = 0; i < kCalls; ++i) {
      if (accelerometer_step_score(detector.acc_window, detector.acc_window_head) !=
              detector.acc_score ||
          gyroscope_step_score(detector.gyr_window) != detector.gyr_score) {
        fault_ = "the scores are not those of the step detector";
      }
    }
  }
};

class StepSpeedRoad : public EngineRoad {
 public:
  using EngineRoad::EngineRoad;
  void prepare() override {}
  void run() override {
    insZuAlgo& e = engine();
    int count = static_cast<int>(e.pdr_window_len);
    double previous = 1.4;
    for (int i = 0; i < kCalls; ++i) {
      const double speed = step_speed(e.pdr_acc_x, e.pdr_acc_y, e.pdr_acc_z, e.pdr_time,
                                      e.pdr_step_flags, count, previous);
      if (!(speed > 0.5)) fault_ = "no steps were measured";
    }
  }
};

template <typename Type>
NamedRoad road(const std::string& name, int calls, Sides sides) {
  return {name, calls, [sides] { return std::make_unique<Type>(sides); }};
}

}  // namespace

void add_engine_roads(std::vector<NamedRoad>& roads) {
  roads.insert(roads.end(), {road<NetworksRoad>("both step networks", kCalls, Sides::kWalker),
                             road<StepDetectorRoad>("step detector", kEpochs, Sides::kWalker),
                             road<StepSpeedRoad>("step speed", kCalls, Sides::kWalker),
                             road<EpochsRoad>("vehicle epoch", kEpochs, Sides::kVehicle),
                             road<EpochsRoad>("walker epoch", kEpochs, Sides::kWalker),
                             road<EpochsRoad>("whole epoch", kEpochs, Sides::kBoth),
                             road<EpochsRoad>("standstill epoch", kEpochs, Sides::kStandstill),
                             road<FixRoad>("fix", 1, Sides::kBoth)});
}

}  // namespace zuvdr::bench
