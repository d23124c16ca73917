// A step needs a peak followed by a valley in the window of one of the sensors whose network finds
// the window step-like, a strong accelerometer window, an open gate and six calls since the last
// step. The gate: a step shuts it, and it stays shut until the score of the sensor that showed the
// step has risen to its threshold again and 0.2 s more have passed. A network whose score stays low
// through a walk therefore yields one step and no more.
//
// Scores are compared as "not below" so that a NaN score blocks.
#include "pdr/step_state_machine.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "nav/clock.h"

namespace zuvdr {
namespace {

using State = sns_oem_step_detector_inst_state;

constexpr std::int32_t kHoldoff = 6;               // calls, 0.24 s
constexpr std::int32_t kRefractory = 6;            // calls, 0.24 s
constexpr std::uint64_t kLongPause = 2000000001;   // ns: ends any bout
constexpr std::uint64_t kShortPause = 1300000001;  // ns: ends a bout that has hardly begun
constexpr std::int32_t kYoungBout = 3;             // steps

float magnitude(const float v[3]) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// x as an unsigned integer; below the range (and NaN) 0, above it the maximum.
template <typename Float>
std::uint64_t saturated(Float x) {
  if (!(x > 0)) return 0;
  constexpr Float kTwoTo64 = 18446744073709551616.0f;
  return x < kTwoTo64 ? static_cast<std::uint64_t>(x) : std::numeric_limits<std::uint64_t>::max();
}

void count_up(std::int32_t& counter, std::uint32_t n = 1) {
  counter = static_cast<std::int32_t>(static_cast<std::uint32_t>(counter) + n);
}

void count_down(std::int32_t& counter) {
  if (counter > 0) --counter;
}

void slide(float (&window)[kStepWindow], float newest) {
  std::copy(window + 1, window + kStepWindow, window);
  window[kStepWindow - 1] = newest;
}

// One sensor's peak and valley test. After a hit it rests, so hit is never set twice in a row.
void search(const float (&window)[kStepWindow], float valley_threshold, bool allowed,
            std::uint8_t& hit, std::int32_t& holdoff) {
  if (!allowed || hit || holdoff != 0) {
    hit = 0;
    count_down(holdoff);
    return;
  }
  hit = has_peak_and_valley(window, valley_threshold);
  if (hit) holdoff = kHoldoff;
}

// Moves the gate's clock. Each pending flag holds the gate shut while its own score stays low; the
// gyroscope's is looked at only once the accelerometer's is clear.
void update_gate(State& state, std::uint64_t t, bool acc_allowed, bool gyr_allowed) {
  if (!acc_allowed) state.acc_pending = 0;
  if (state.acc_pending) {
    state.gate_time = static_cast<std::int64_t>(t);
  } else {
    if (!gyr_allowed) state.gyr_pending = 0;
    if (state.gyr_pending) state.gate_time = static_cast<std::int64_t>(t);
  }
  if (!acc_allowed && !gyr_allowed) return;
  state.last_gate_sample_time = static_cast<std::int64_t>(t);
  const std::uint64_t elapsed = t - static_cast<std::uint64_t>(state.gate_time);
  state.gate_elapsed = saturated(static_cast<float>(elapsed));
}

void note_step(State& state, std::uint64_t t) {
  const std::int64_t previous_time = state.last_step_time;
  const std::int32_t previous_count = state.bout_step_count;
  state.last_step_time = static_cast<std::int64_t>(t);
  state.step_time = state.last_step_time;
  state.step_flag = 1;
  if (state.acc_hit) state.acc_pending = 1;
  if (state.gyr_hit) state.gyr_pending = 1;

  const std::uint64_t interval =
      saturated(static_cast<double>(elapsed_ns(state.last_step_time, previous_time)));
  if (interval >= kLongPause || (interval >= kShortPause && previous_count <= kYoungBout)) {
    state.bout_step_count = 1;
    state.step_run_count = 1;
  } else {
    count_up(state.bout_step_count);
    count_up(state.step_run_count);
  }
}

// The tenth step of a bout confirms the nine before it; a shorter bout adds nothing.
void confirm_steps(State& state) {
  if (!state.step_flag) return;
  if (state.bout_step_count == kConfirmingBout) count_up(state.total_steps, kConfirmingBout);
  if (state.bout_step_count > kConfirmingBout) count_up(state.total_steps);
}

}  // namespace

float StepStateMachine::BandPass::filter(double x) {
  const double w0 = x + 4.682242974380293 * w_[0] - 9.250999609658354 * w_[1] +
                    9.923387376042646 * w_[2] - 6.118011489148686 * w_[3] +
                    2.0565471074628596 * w_[4] - 0.29324496912098136 * w_[5];
  // The zero taps stay: an infinity in any delay comes out as NaN.
  const double y = 0.016309423449092482 * w0 + 0.0 * w_[0] - 0.048928270347277446 * w_[1] +
                   0.0 * w_[2] + 0.048928270347277446 * w_[3] + 0.0 * w_[4] -
                   0.016309423449092482 * w_[5];
  w_ = {w0, w_[0], w_[1], w_[2], w_[3], w_[4]};
  return static_cast<float>(y);
}

bool has_peak_and_valley(const float (&w)[kStepWindow], float valley_threshold) {
  int start = 0;
  for (int i = 1; i < kStepWindow - 1; ++i) {
    if (w[i] > w[i - 1] && w[i] > w[i + 1] && w[i] > w[0]) {
      start = i;
      break;
    }
  }
  const float peak = w[start];
  float valley = peak;
  for (int i = start + 1; i < kStepWindow - 1; ++i) {
    if (w[i] < w[i - 1] && w[i] < w[i + 1] && w[i] < peak) {
      valley = w[i];
      break;
    }
  }
  return peak > kStepPeak && valley < valley_threshold;
}

float window_strength(const float (&acc_window)[kStepWindow]) {
  float strongest = acc_window[0];
  for (int i = 1; i < kStepWindow - 1; ++i) {
    if (acc_window[i] > strongest) strongest = acc_window[i];
  }
  return strongest;
}

bool StepStateMachine::take_samples(const float acc[3], const float gyr[3], State& state) {
  const float acc_sample = acc_band_pass_.filter(magnitude(acc));
  const float gyr_sample = gyr_band_pass_.filter(magnitude(gyr));
  const auto n = static_cast<std::uint32_t>(state.sample_count);
  count_up(state.sample_count);
  if (n < kStepWindow) {
    state.acc_window[n] = acc_sample;
    state.gyr_window[n] = gyr_sample;
    return false;
  }
  slide(state.acc_window, acc_sample);
  std::copy_n(state.acc_window, kStepWindowHead, state.acc_window_head);
  slide(state.gyr_window, gyr_sample);
  return true;
}

void StepStateMachine::decide(std::uint64_t t, State& state) {
  state.step_flag = 0;
  const bool acc_allowed = state.nets_ready && state.acc_score < kAccScoreThreshold;
  const bool gyr_allowed = state.nets_ready && state.gyr_score < kGyrScoreThreshold;
  if (state.nets_ready) {
    state.acc_hit_prev = state.acc_hit;
    state.gyr_hit_prev = state.gyr_hit;
  }
  search(state.acc_window, kAccValley, acc_allowed, state.acc_hit, state.acc_holdoff);
  search(state.gyr_window, kGyrValley, gyr_allowed, state.gyr_hit, state.gyr_holdoff);
  update_gate(state, t, acc_allowed, gyr_allowed);
  if ((state.acc_hit || state.gyr_hit) && window_strength(state.acc_window) > kStepPeak &&
      state.gate_elapsed >= kShortestGate && refractory_ == 0) {
    note_step(state, t);
    refractory_ = kRefractory;
  } else {
    count_down(refractory_);
  }
  confirm_steps(state);
}

}  // namespace zuvdr
