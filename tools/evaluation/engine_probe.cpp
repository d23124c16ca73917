#include "tools/evaluation/engine_probe.h"

#include <cmath>
#include <numbers>

#include "pdr/step_state_machine.h"

namespace zuvdr::tools {

EngineProbe probe_engine() {
  const insZuAlgo& engine = *minsZuAlgo;
  return {.last_epoch_time = engine.last_sensor_time,
          .waiting_epochs = engine.epoch_queue.size(),
          .fix_accepted = engine.ins_init_enable != 0,
          .converged = engine.gps_converged != 0,
          .pedestrian_started = engine.pdr_started != 0,
          .pedestrian_ready = engine.pdr_ready != 0,
          .pedestrian_speed = engine.pdr_speed,
          .long_quiet = engine.static_long != 0,
          .moving = engine.moving != 0,
          .navigator_ran = engine.ins_running != 0,
          .tilt_sigma = std::sqrt(engine.kf.P[0]) * 180.0 / std::numbers::pi,
          .bout_steps = engine.step_detector.bout_step_count,
          .total_steps = engine.step_detector.total_steps};
}

std::optional<SensorEpoch> pair_epoch(const SensorData& event) {
  if (minsZuAlgo->DataSort(event) == 0) return std::nullopt;
  const SensorEpoch epoch = minsZuAlgo->epoch_queue.front();
  minsZuAlgo->epoch_queue.pop_front();
  return epoch;
}

std::optional<DetectedEpoch> detect_steps(const SensorData& event) {
  std::optional<SensorEpoch> epoch = pair_epoch(event);
  if (!epoch) return std::nullopt;
  sns_oem_step_detector_inst_state& detector = minsZuAlgo->step_detector;
  sns_oem_step_detector_StateMachine(static_cast<unsigned long long>(epoch->time_ns), epoch->acc,
                                     epoch->gyr, &detector);
  const int newest = (detector.nets_ready != 0 ? kStepWindow : detector.sample_count) - 1;
  return DetectedEpoch{.time_ns = epoch->time_ns,
                       .bout_steps = detector.bout_step_count,
                       .total_steps = detector.total_steps,
                       .acc = detector.acc_window[newest],
                       .gyr = detector.gyr_window[newest],
                       .acc_score = detector.acc_score,
                       .gyr_score = detector.gyr_score,
                       .scored = detector.nets_ready != 0,
                       .acc_hit = detector.acc_hit != 0,
                       .gyr_hit = detector.gyr_hit != 0,
                       .gate_open = gate_open(detector, static_cast<std::uint64_t>(epoch->time_ns)),
                       .step = detector.step_flag != 0};
}

}  // namespace zuvdr::tools
