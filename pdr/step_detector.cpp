// The engine's step detector: the state machine (pdr/step_state_machine.cpp) under the scores of
// the two networks.
#include "pdr/step_detector.h"

#include "pdr/step_state_machine.h"

namespace {

zuvdr::StepStateMachine state_machine;

}  // namespace

int sns_oem_step_detector_StateMachine(unsigned long long timestamp, float* acc, float* gyr,
                                       sns_oem_step_detector_inst_state* state) {
  if (state_machine.take_samples(acc, gyr, *state)) {
    state->acc_score = accelerometer_step_score(state->acc_window, state->acc_window_head);
    state->gyr_score = gyroscope_step_score(state->gyr_window);
    state->nets_ready = 1;
  }
  state_machine.decide(timestamp, *state);
  return 1;
}
