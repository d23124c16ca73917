#include "tools/engine_probe.h"

#include "engine/insZuAlgo.h"

namespace zuvdr::tools {

EngineProbe probe_engine() {
  const insZuAlgo& engine = *minsZuAlgo;
  return {.last_epoch_time = engine.last_sensor_time,
          .waiting_epochs = engine.epoch_queue.size(),
          .fix_accepted = engine.ins_init_enable != 0,
          .converged = engine.gps_converged != 0,
          .pedestrian_started = engine.pdr_started != 0,
          .pedestrian_ready = engine.pdr_ready != 0,
          .bout_steps = engine.step_detector.bout_step_count,
          .total_steps = engine.step_detector.total_steps};
}

std::optional<DetectedEpoch> detect_steps(const SensorData& event) {
  if (minsZuAlgo->DataSort(event) == 0) return std::nullopt;
  SensorEpoch epoch = minsZuAlgo->epoch_queue.front();
  minsZuAlgo->epoch_queue.pop_front();
  sns_oem_step_detector_inst_state& detector = minsZuAlgo->step_detector;
  sns_oem_step_detector_StateMachine(static_cast<unsigned long long>(epoch.time_ns), epoch.acc,
                                     epoch.gyr, &detector);
  return DetectedEpoch{.time_ns = epoch.time_ns,
                       .step = detector.step_flag != 0,
                       .bout_steps = detector.bout_step_count,
                       .total_steps = detector.total_steps};
}

}  // namespace zuvdr::tools
