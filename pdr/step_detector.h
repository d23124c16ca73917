// Decides, epoch by epoch, whether the walker has just taken a step. Made for 25 epochs a second;
// windows, filter and counts are in epochs and do not scale. Gate, refractory time and bouts:
// pdr/step_state_machine.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZuVDR.h"
#include "pdr/step_networks.h"

// The detector's record. Its owner starts it by zeroing all of it. Times are ns.
struct sns_oem_step_detector_inst_state {
  float acc_window[zuvdr::kStepWindow];           // band-passed |acceleration|, oldest first, m/s^2
  float acc_window_head[zuvdr::kStepWindowHead];  // copy of the oldest samples of acc_window
  float gyr_window[zuvdr::kStepWindow];           // band-passed |rate|, oldest first, rad/s
  std::int32_t sample_count;                      // calls since the start, wraps
  float acc_score;  // last network scores, 0 to 1; low: looks like a step
  float gyr_score;
  std::int32_t step_run_count;         // steps of the bout
  std::uint8_t nets_ready;             // the networks have run since the start
  std::uint8_t step_flag;              // answer: this call declared a step
  std::int32_t total_steps;            // steps of all bouts that reached ten
  std::int32_t bout_step_count;        // steps of the bout
  std::int64_t last_step_time;         // of the last declared step
  std::int64_t step_time;              // the same
  std::int64_t gate_time;              // when the gate was last held shut
  std::int64_t last_gate_sample_time;  // when gate_elapsed was last computed
  std::uint64_t gate_elapsed;          // since gate_time, rounded to float
  std::uint8_t acc_hit;                // this call found a new peak and valley
  std::uint8_t acc_hit_prev;           // acc_hit of the call before
  std::int32_t acc_holdoff;            // calls for which the accelerometer search rests
  std::int32_t gyr_holdoff;            // the same for the gyroscope
  std::uint8_t gyr_hit;
  std::uint8_t gyr_hit_prev;
  std::uint8_t acc_pending;  // a step came from an accelerometer hit: holds the gate shut
  std::uint8_t gyr_pending;  // the same for the gyroscope
};
static_assert(sizeof(sns_oem_step_detector_inst_state) == 280);
static_assert(offsetof(sns_oem_step_detector_inst_state, sample_count) == 192);
static_assert(offsetof(sns_oem_step_detector_inst_state, nets_ready) == 208);
static_assert(offsetof(sns_oem_step_detector_inst_state, total_steps) == 212);
static_assert(offsetof(sns_oem_step_detector_inst_state, last_step_time) == 224);
static_assert(offsetof(sns_oem_step_detector_inst_state, gate_elapsed) == 256);
static_assert(offsetof(sns_oem_step_detector_inst_state, acc_hit) == 264);
static_assert(offsetof(sns_oem_step_detector_inst_state, acc_holdoff) == 268);
static_assert(offsetof(sns_oem_step_detector_inst_state, gyr_hit) == 276);

// Takes one epoch: timestamp (ns), raw acc (3, m/s^2, gravity included), raw gyr (3, rad/s). Sets
// state->step_flag and keeps the counts; returns 1. The filters' delay lines, the pause after a
// step and the network layers belong to the process, not to the record: one detector per process,
// and zeroing the record leaves them alone.
ZUVDR_EXPORT int sns_oem_step_detector_StateMachine(unsigned long long timestamp, float* acc,
                                                    float* gyr,
                                                    sns_oem_step_detector_inst_state* state);
