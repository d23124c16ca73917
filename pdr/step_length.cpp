#include "pdr/step_length.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "nav/clock.h"
#include "nav/signal.h"

namespace {

constexpr int kFullHistory = zuvdr::kPedestrianHistory;
constexpr double kStretchLength = 5.0;      // s, over which the speed is taken
constexpr double kWalkingSpeed = 0.48;      // m/s: a previous speed above it outlives missing steps
constexpr double kLatestFirstStep = 0.05;   // of the stretch, from its start
constexpr double kLongestStandstill = 0.3;  // of the stretch, from its last step to its end

// The last epochs of a history, without copies.
struct Stretch {
  const std::deque<double>& acc_x;
  const std::deque<double>& acc_y;
  const std::deque<double>& acc_z;
  const std::deque<std::int64_t>& time;
  const std::deque<double>& step_flags;
  std::size_t begin;
  std::size_t end;
};

std::size_t common_length(const std::deque<double>& acc_x, const std::deque<double>& acc_y,
                          const std::deque<double>& acc_z, const std::deque<std::int64_t>& time,
                          const std::deque<double>& step_flags) {
  return std::min({acc_x.size(), acc_y.size(), acc_z.size(), time.size(), step_flags.size()});
}

double nanoseconds(std::int64_t later, std::int64_t earlier) {
  return static_cast<double>(zuvdr::elapsed_ns(later, earlier));
}

// Time between two epochs, ns.
double elapsed(const Stretch& s, std::size_t later, std::size_t earlier) {
  return nanoseconds(s.time[later], s.time[earlier]);
}

// Times 1e-9, not divided by 1e9: the last bit decides which epochs lie within the stretch.
double seconds(double ns) {
  return ns * 1e-9;
}

// Elements begin to end - 1 of a deque.
class Slice {
 public:
  Slice(const std::deque<double>& values, std::size_t begin, std::size_t end)
      : begin_(values.begin() + static_cast<std::ptrdiff_t>(begin)),
        end_(values.begin() + static_cast<std::ptrdiff_t>(end)) {}
  auto begin() const { return begin_; }
  auto end() const { return end_; }
  auto size() const { return end_ - begin_; }

 private:
  std::deque<double>::const_iterator begin_;
  std::deque<double>::const_iterator end_;
};

// Index of the first step from an epoch on; s.end when there is none.
std::size_t next_step(const Stretch& s, std::size_t from) {
  const auto flags = s.step_flags.begin();
  const auto end = flags + static_cast<std::ptrdiff_t>(s.end);
  return static_cast<std::size_t>(std::find(flags + static_cast<std::ptrdiff_t>(from), end, 1.0) -
                                  flags);
}

struct Steps {
  std::size_t first;  // s.end when there are none
  std::size_t last;
  std::size_t longest_interval;  // epochs; 0 with fewer than two steps
};

Steps find_steps(const Stretch& s) {
  const std::size_t first = next_step(s, s.begin);
  Steps steps{first, first, 0};
  if (first == s.end) return steps;
  for (std::size_t i = next_step(s, first + 1); i < s.end; i = next_step(s, i + 1)) {
    steps.longest_interval = std::max(steps.longest_interval, i - steps.last);
    steps.last = i;
  }
  return steps;
}

// length = r^(1/4) (0.66 - 0.37 u + 0.15 u^2): r is the vertical range over the step, u the
// horizontal mean acceleration times one sample period, a stand-in for the horizontal speed. The
// period is that of the two newest epochs of the stretch.
double length_of_step(const Stretch& s, std::size_t from, std::size_t to) {
  double lowest = s.acc_z[from];
  double highest = lowest;
  for (const double z : Slice(s.acc_z, from, to)) {
    if (z < lowest) lowest = z;
    if (z > highest) highest = z;
  }
  const double mean_x = zuvdr::arithmetic_mean(Slice(s.acc_x, from, to));
  const double mean_y = zuvdr::arithmetic_mean(Slice(s.acc_y, from, to));
  const double period = seconds(elapsed(s, s.end - 1, s.end - 2));
  const double u = period * std::sqrt(mean_x * mean_x + mean_y * mean_y);
  return std::sqrt(std::sqrt(highest - lowest)) * (0.66 - 0.37 * u + 0.15 * (u * u));
}

// A window as long as the longest step interval plus one sample slides over the stretch up to, but
// not including, its newest sample, and measures the last step it holds against the one before. So
// every step is measured when the window has just passed it, except those that the first window
// holds already: of them only the last. Calls note(index, length in m) for each, in their order.
template <typename Note>
void measure_steps(const Stretch& s, const Steps& steps, Note note) {
  if (steps.first == steps.last) return;
  const std::size_t first_window_end = s.begin + steps.longest_interval + 1;
  std::size_t previous = steps.first;
  std::size_t step = next_step(s, previous + 1);
  while (step < s.end) {
    const std::size_t next = next_step(s, step + 1);
    const std::size_t window_end = std::max(first_window_end, step + 1);
    if (window_end < s.end && next >= window_end) note(step, length_of_step(s, previous, step));
    previous = step;
    step = next;
  }
}

}  // namespace

std::deque<double> steplen(std::deque<double>& acc_x, std::deque<double>& acc_y,
                           std::deque<double>& acc_z, std::deque<std::int64_t>& time,
                           std::deque<double>& step_flags) {
  const std::size_t n = common_length(acc_x, acc_y, acc_z, time, step_flags);
  std::deque<double> lengths(n, 0.0);
  const Stretch stretch{acc_x, acc_y, acc_z, time, step_flags, 0, n};
  measure_steps(stretch, find_steps(stretch),
                [&](std::size_t index, double length) { lengths[index] = length; });
  return lengths;
}

double step_speed(std::deque<double>& acc_x, std::deque<double>& acc_y, std::deque<double>& acc_z,
                  std::deque<std::int64_t>& time, std::deque<double>& step_flags, int& count,
                  double& speed) {
  if (count < kFullHistory) return 0.0;
  const std::size_t n = common_length(acc_x, acc_y, acc_z, time, step_flags);
  Stretch stretch{acc_x, acc_y, acc_z, time, step_flags, n, n};
  const std::int64_t newest = n == 0 ? 0 : time[n - 1];
  auto begin = time.begin() + static_cast<std::ptrdiff_t>(n);
  while (begin != time.begin() &&
         seconds(nanoseconds(newest, *std::prev(begin))) <= kStretchLength) {
    --begin;
  }
  stretch.begin = static_cast<std::size_t>(begin - time.begin());
  const Steps steps = find_steps(stretch);
  double distance = 0.0;
  measure_steps(stretch, steps, [&](std::size_t, double length) { distance += length; });

  // Without a distance the length of the stretch does not matter: it may be empty or last no time.
  const double estimate =
      distance == 0.0 ? 0.0 : distance / seconds(elapsed(stretch, n - 1, stretch.begin));
  if (estimate == 0.0) return speed > kWalkingSpeed ? speed : 0.0;

  // A speed of exactly 0 is left only through another source of the previous speed.
  const double candidate = speed != 0.0 ? estimate : 0.0;
  const double duration = elapsed(stretch, n - 1, stretch.begin);
  const double lead_in = elapsed(stretch, steps.first, stretch.begin);
  const double standstill = elapsed(stretch, n - 1, steps.last);
  if (!(standstill / duration <= kLongestStandstill)) return 0.0;
  return lead_in / duration <= kLatestFirstStep ? candidate : speed;
}
