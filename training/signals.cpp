#include "training/signals.h"

#include "pdr/step_state_machine.h"

namespace zuvdr::training {

Signals signals_of(const Recording& recording) {
  Signals signals;
  StepStateMachine detector;
  StepStateMachine::State state{};
  for (const MotionEpoch& epoch : recording.epochs) {
    const int filled = state.sample_count;
    const bool full = detector.take_samples(epoch.acc, epoch.gyr, state);
    const int newest = full ? kStepWindow - 1 : filled;
    signals.acc.push_back(state.acc_window[newest]);
    signals.gyr.push_back(state.gyr_window[newest]);
    signals.acc_search.push_back(full && has_peak_and_valley(state.acc_window, kAccValley));
    signals.gyr_search.push_back(full && has_peak_and_valley(state.gyr_window, kGyrValley));
    signals.strong.push_back(full && window_strength(state.acc_window) > kStepPeak);
  }
  return signals;
}

tools::WalkLog detect(const Recording& recording, std::span<const float> acc_scores,
                      std::span<const float> gyr_scores) {
  tools::WalkLog log;
  log.steps = recording.steps;
  log.has_reference = recording.walking();
  if (!recording.epochs.empty()) log.last_epoch = recording.seconds(recording.epochs.size() - 1);
  StepStateMachine detector;
  StepStateMachine::State state{};
  for (std::size_t i = 0; i < recording.epochs.size(); ++i) {
    const MotionEpoch& epoch = recording.epochs[i];
    if (detector.take_samples(epoch.acc, epoch.gyr, state)) {
      state.acc_score = acc_scores[i];
      state.gyr_score = gyr_scores[i];
      state.nets_ready = 1;
    }
    detector.decide(static_cast<std::uint64_t>(epoch.time_ns), state);
    if (!state.step_flag) continue;
    log.steps.declared.push_back(recording.seconds(i));
    log.bout_steps.push_back(state.bout_step_count);
  }
  return log;
}

}  // namespace zuvdr::training
