#include "training/recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <variant>

#include "host/engine_probe.h"
#include "tools/evaluation/steps.h"
#include "tools/simulation/simulation.h"

namespace zuvdr::training {
namespace {

// Builds a recording from the rows of a log, in their order.
class Recorder {
 public:
  explicit Recorder(Recording& recording) : recording_(recording) { Reset(); }

  void add(const tools::EventRow& row) {
    if (const auto* sensor = std::get_if<tools::SensorRow>(&row)) {
      if (!started_) recording_.start_ns = sensor->event.timestamp;
      started_ = true;
      if (const auto epoch = pair_epoch(sensor->event)) add(*epoch);
    } else if (const auto* step = std::get_if<tools::StepRow>(&row); step != nullptr && started_) {
      recording_.steps.reference.push_back(seconds_since(recording_.start_ns, step->time_ns));
    }
  }

 private:
  void add(const SensorEpoch& epoch) {
    MotionEpoch motion{};
    motion.time_ns = epoch.time_ns;
    std::copy_n(epoch.acc, 3, motion.acc);
    std::copy_n(epoch.gyr, 3, motion.gyr);
    recording_.epochs.push_back(motion);
  }

  Recording& recording_;
  bool started_ = false;
};

}  // namespace

Recording read_recording(const std::string& path, const std::string& set) {
  Recording recording;
  recording.name = std::filesystem::path(path).stem().stem().string();
  recording.set = set;
  tools::EventLogReader reader(path);
  Recorder recorder(recording);
  for (tools::EventRow row; reader.next(row);) recorder.add(row);
  recording.walker = reader.header("subject");
  recording.position = reader.header("position");
  recording.activity = reader.header("activity");
  tools::set_counted_part(recording.steps, path, reader.header("span_s"));
  return recording;
}

Recording simulate_recording(const tools::RouteOptions& route) {
  Recording recording;
  recording.name = fmt::format("seed {}", route.seed);
  recording.set = kSimulatedSet;
  recording.walker = fmt::format("{}", route.walker);
  tools::SimulationOptions options;
  options.route = route;
  options.motion_only = true;
  Recorder recorder(recording);
  for (const tools::EventRow& row : tools::simulate(options)) recorder.add(row);
  return recording;
}

Recording warped(const Recording& recording, double factor) {
  Recording result = recording;
  result.epochs.clear();
  for (double& step : result.steps.reference) step *= factor;
  result.steps.from = std::max(recording.steps.from * factor, tools::kSettling);
  result.steps.to = recording.steps.to * factor;
  const std::vector<MotionEpoch>& epochs = recording.epochs;
  if (epochs.size() < 2 || !(recording.seconds(epochs.size() - 1) > 0.0)) return result;
  const double interval =
      recording.seconds(epochs.size() - 1) / static_cast<double>(epochs.size() - 1);
  std::size_t before = 0;
  for (double now = 0.0;; now += interval) {
    const double sampled = now / factor;
    while (before + 1 < epochs.size() && recording.seconds(before + 1) <= sampled) ++before;
    if (before + 1 == epochs.size()) return result;
    const MotionEpoch &a = epochs[before], &b = epochs[before + 1];
    const double gap = recording.seconds(before + 1) - recording.seconds(before);
    const auto share = static_cast<float>(
        gap > 0.0 ? std::clamp((sampled - recording.seconds(before)) / gap, 0.0, 1.0) : 0.0);
    MotionEpoch motion{};
    motion.time_ns = recording.start_ns + std::llround(now * 1e9);
    for (int axis = 0; axis < 3; ++axis) {
      motion.acc[axis] = a.acc[axis] + share * (b.acc[axis] - a.acc[axis]);
      motion.gyr[axis] = a.gyr[axis] + share * (b.gyr[axis] - a.gyr[axis]);
    }
    result.epochs.push_back(motion);
  }
}

}  // namespace zuvdr::training
