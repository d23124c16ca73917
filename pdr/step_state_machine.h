// The step detector without its networks: filters, windows, searches, gate and counts. It keeps
// what the detector's record does not hold, so that tools can run detectors side by side and under
// scores of their own; sns_oem_step_detector_StateMachine is the engine's one.
#pragma once

#include <array>
#include <cstdint>

#include "pdr/step_detector.h"

namespace zuvdr {

// A score below its threshold lets the sensor's search run and keeps a pending gate shut.
inline constexpr double kAccScoreThreshold = 0.4;
inline constexpr double kGyrScoreThreshold = 0.3;

inline constexpr float kStepPeak = 0.5f;    // m/s^2 and rad/s
inline constexpr float kAccValley = -0.5f;  // m/s^2
inline constexpr float kGyrValley = -0.3f;  // rad/s

inline constexpr std::uint64_t kShortestGate = 200000001;  // ns

inline constexpr std::int32_t kConfirmingBout = 10;  // steps

// Whether a hit at time t (ns) would find the gate open. The machine computes the time since the
// gate was shut, as float32, only in epochs that can show a hit.
inline bool gate_open(const sns_oem_step_detector_inst_state& state, std::uint64_t t) {
  const std::uint64_t elapsed = t - static_cast<std::uint64_t>(state.gate_time);
  return static_cast<float>(elapsed) > static_cast<float>(kShortestGate - 1);
}

// Whether the window has a peak above 0.5 and then a valley below the threshold. The peak is the
// first interior local maximum above the oldest sample (without one, the oldest sample itself); the
// valley is the first interior local minimum after it (without one, the peak). The newest sample is
// never either.
bool has_peak_and_valley(const float (&window)[kStepWindow], float valley_threshold);

// The greatest sample of the accelerometer window but the newest; a step needs one above kStepPeak,
// whichever sensor shows it.
float window_strength(const float (&acc_window)[kStepWindow]);

// One epoch is take_samples, then the scores, then decide.
class StepStateMachine {
 public:
  using State = sns_oem_step_detector_inst_state;

  // Band-passes the magnitudes of raw acc (m/s^2, gravity included) and gyr (rad/s) and slides the
  // record's windows. True when the windows were full before: the caller then puts the scores of
  // the new windows into the record and sets nets_ready.
  bool take_samples(const float acc[3], const float gyr[3], State& state);

  // Searches, gate, decision and counts at time t (ns), from the record's windows and scores.
  void decide(std::uint64_t t, State& state);

  // Calls that must still pass before the next step.
  std::int32_t refractory() const { return refractory_; }

 private:
  // Third-order Butterworth band-pass in direct form II: -3 dB at 0.012 and 0.108 cycles per sample
  // (0.3 and 2.7 Hz at 25 Hz). It sees gravity as a step and takes some seconds to settle.
  class BandPass {
   public:
    float filter(double x);

   private:
    std::array<double, 6> w_{};  // newest first
  };

  BandPass acc_band_pass_;
  BandPass gyr_band_pass_;
  std::int32_t refractory_ = 0;
};

}  // namespace zuvdr
