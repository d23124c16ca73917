#include "training/targets.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <tuple>

namespace zuvdr::training {
namespace {

// In epochs.
constexpr std::size_t kEarliestValley = 6, kLatestValley = 16;  // after a reference step
constexpr std::size_t kReach = 5;         // of an event around the wanted epoch
constexpr std::size_t kShortestStep = 7;  // six calls lie between two steps
constexpr std::size_t kShortStep = 9;     // below, the gate is likely to be shut still
constexpr std::size_t kLongestLow = 6, kShortestLow = 2;
constexpr std::size_t kHigh = 7;  // the gate needs more than 0.2 s of them
constexpr std::size_t kLongestPeriod = 25;

constexpr float kReachPenalty = 1.0f;      // at the end of the reach, grows with the square
constexpr float kShortStepPenalty = 1.5f;  // per epoch

std::size_t epoch_at(const Recording& recording, double seconds) {
  const auto time = recording.start_ns + static_cast<std::int64_t>(seconds * 1e9);
  const auto after =
      std::lower_bound(recording.epochs.begin(), recording.epochs.end(), time,
                       [](const MotionEpoch& epoch, std::int64_t t) { return epoch.time_ns < t; });
  return static_cast<std::size_t>(after - recording.epochs.begin());
}

std::size_t first_candidate(std::size_t wanted) {
  return std::max(wanted, kFirstScored + kReach) - kReach;
}

std::size_t distance(std::size_t a, std::size_t b) {
  return a > b ? a - b : b - a;
}

// Walking is possible, but no reference step says whether it was: where the signal is strong
// between two reference steps more than a slow step's time apart.
void forget_gaps(const Signals& signals, std::span<const std::size_t> wanted,
                 std::vector<float>& weight) {
  std::size_t begin = 0;
  for (std::size_t k = 0; k <= wanted.size(); ++k) {
    const std::size_t end = k < wanted.size() ? wanted[k] : weight.size();
    if (end > begin + kLongestPeriod) {
      const std::size_t first = k == 0 ? 0 : begin + kReach, last = std::max(end, kReach) - kReach;
      for (std::size_t i = first; i < last; ++i) {
        if (signals.strong[i]) weight[i] = 0.0f;
      }
    }
    begin = end;
  }
}

}  // namespace

std::vector<std::size_t> valley_epochs(const Recording& recording, const Signals& signals) {
  std::vector<std::size_t> epochs;
  for (const double step : recording.steps.reference) epochs.push_back(epoch_at(recording, step));
  std::size_t delay = kEarliestValley;
  double deepest = std::numeric_limits<double>::infinity();
  for (std::size_t shift = kEarliestValley; shift <= kLatestValley; ++shift) {
    double sum = 0.0;
    for (const std::size_t epoch : epochs) {
      if (epoch >= kFirstScored && epoch + shift < signals.acc.size()) {
        sum += static_cast<double>(signals.acc[epoch + shift]);
      }
    }
    if (sum < deepest) {
      deepest = sum;
      delay = shift;
    }
  }
  for (std::size_t& epoch : epochs) epoch = std::min(epoch + delay, signals.acc.size());
  return epochs;
}

std::vector<std::size_t> choose_events(const Signals& signals, std::span<const std::size_t> wanted,
                                       std::span<const float> cost, float missing) {
  constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  // The choices up to one wanted epoch that end with the event `last`; `before` is the choice that
  // it extends, among those up to the wanted epoch before.
  struct Choice {
    std::size_t last;  // kNone before the first event
    float cost;
    std::size_t before;
    bool taken;  // last belongs to this wanted epoch
  };
  std::vector<std::vector<Choice>> choices(wanted.size() + 1);
  choices[0].push_back({kNone, 0.0f, 0, false});
  for (std::size_t k = 0; k < wanted.size(); ++k) {
    std::vector<Choice> next;
    const std::vector<Choice>& previous = choices[k];
    for (std::size_t p = 0; p < previous.size(); ++p) {
      next.push_back({previous[p].last, previous[p].cost + missing, p, false});
    }
    const std::size_t first = first_candidate(wanted[k]);
    const std::size_t end = std::min(wanted[k] + kReach + 1, signals.acc.size());
    for (std::size_t i = first; i < end; ++i) {
      if (!signals.strong[i] || !(signals.acc_search[i] || signals.gyr_search[i])) continue;
      const float off = static_cast<float>(distance(i, wanted[k])) / static_cast<float>(kReach);
      Choice best{i, std::numeric_limits<float>::infinity(), 0, true};
      for (std::size_t p = 0; p < previous.size(); ++p) {
        float total = previous[p].cost + cost[i] + kReachPenalty * off * off;
        const bool first_event = previous[p].last == kNone;
        if (!first_event && i < previous[p].last + kShortestStep) continue;
        const std::size_t interval = first_event ? kShortStep : i - previous[p].last;
        if (interval < kShortStep) {
          total += kShortStepPenalty * static_cast<float>(kShortStep - interval);
        }
        if (total < best.cost) std::tie(best.cost, best.before) = std::tuple(total, p);
        // The others cost no less before, and nothing less here.
        if (interval >= kShortStep) break;
      }
      if (best.cost < std::numeric_limits<float>::infinity()) next.push_back(best);
    }
    // A choice that costs no less and ends later, or both so early that it makes no difference to
    // the next step, can't become the best.
    const std::size_t next_first = k + 1 < wanted.size() ? first_candidate(wanted[k + 1]) : kNone;
    const auto settled = [next_first](const Choice& choice) {
      return choice.last == kNone || choice.last + kShortStep <= next_first;
    };
    std::stable_sort(next.begin(), next.end(),
                     [](const Choice& a, const Choice& b) { return a.cost < b.cost; });
    for (const Choice& choice : next) {
      const auto better = [&](const Choice& kept) {
        return settled(kept) || (!settled(choice) && kept.last <= choice.last);
      };
      std::vector<Choice>& kept = choices[k + 1];
      if (std::none_of(kept.begin(), kept.end(), better)) kept.push_back(choice);
    }
  }
  std::vector<std::size_t> events;
  std::size_t index = 0;  // the least cost comes first
  for (std::size_t k = wanted.size(); k > 0; --k) {
    const Choice& choice = choices[k][index];
    if (choice.taken) events.push_back(choice.last);
    index = choice.before;
  }
  std::reverse(events.begin(), events.end());
  return events;
}

Targets make_targets(const Recording& recording, const Signals& signals,
                     std::span<const std::size_t> wanted, std::span<const std::size_t> events,
                     const TargetWeights& weights) {
  const std::size_t count = recording.epochs.size();
  Targets targets{std::vector<float>(count, 1.0f), std::vector<float>(count, 1.0f)};
  if (!recording.walking()) {
    for (std::size_t i = 0; i < count; ++i) {
      const bool found = signals.acc_search[i] || signals.gyr_search[i];
      targets.weight[i] = signals.strong[i] && found ? weights.non_walking : 0.0f;
    }
  } else {
    forget_gaps(signals, wanted, targets.weight);
    // A step that cannot be declared: whether its dip is seen does not matter.
    for (const std::size_t epoch : wanted) {
      const auto after = std::lower_bound(events.begin(), events.end(), epoch);
      const bool near = (after != events.end() && *after - epoch <= kReach) ||
                        (after != events.begin() && epoch - *(after - 1) <= kReach);
      if (near) continue;
      const std::size_t end = std::min(epoch + kReach, count);
      for (std::size_t i = std::max(epoch, kReach) - kReach; i < end; ++i) {
        targets.weight[i] = 0.0f;
      }
    }
  }
  for (std::size_t k = 0; k < events.size(); ++k) {
    const std::size_t event = events[k];
    std::size_t width = kLongestLow;
    if (k + 1 < events.size()) {
      const std::size_t interval = events[k + 1] - event;
      width = std::clamp(std::max(interval, kHigh) - kHigh, kShortestLow, kLongestLow);
    }
    const std::size_t end = std::min(event + width, count);
    std::fill(targets.score.begin() + static_cast<std::ptrdiff_t>(event),
              targets.score.begin() + static_cast<std::ptrdiff_t>(end), 0.0f);
    std::fill(targets.weight.begin() + static_cast<std::ptrdiff_t>(event),
              targets.weight.begin() + static_cast<std::ptrdiff_t>(end), weights.low);
    // One epoch sooner or later does no harm.
    if (event > 0) targets.weight[event - 1] = 0.0f;
    if (end < count) targets.weight[end] = 0.0f;
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (i < kFirstScored || !recording.steps.counts(recording.seconds(i))) targets.weight[i] = 0.0f;
  }
  return targets;
}

}  // namespace zuvdr::training
