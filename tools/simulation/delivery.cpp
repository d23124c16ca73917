#include "tools/simulation/delivery.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "nav/constants.h"
#include "tools/logs/time_difference.h"
#include "tools/simulation/local_frame.h"
#include "tools/simulation/random.h"
#include "tools/simulation/sensor_model.h"

namespace zuvdr::tools {
namespace {

// Jumps that come of themselves.
constexpr double kNearest = 20.0, kFarthest = 200.0;  // m
constexpr double kShortest = 3.0, kLongest = 8.0;     // s

constexpr float kAccuracy = 3.0F;      // m, the worst one that a jumped fix admits, per level axis
constexpr double kDegreeCounts = 1e8;  // resolution of a position

std::int64_t time_of(const EventRow& row) {
  if (const auto* sensor = std::get_if<SensorRow>(&row)) return sensor->event.timestamp;
  if (const auto* fix = std::get_if<FixRow>(&row)) return fix->fix.time_ns;
  if (const auto* truth = std::get_if<TruthRow>(&row)) return truth->time_ns;
  return std::get<StepRow>(row).time_ns;
}

// The first sensor event's time; without one the first row's.
std::int64_t origin_of(const std::vector<EventRow>& rows) {
  const auto sensor = std::find_if(rows.begin(), rows.end(), [](const EventRow& row) {
    return std::holds_alternative<SensorRow>(row);
  });
  return time_of(sensor != rows.end() ? *sensor : rows.front());
}

template <class Interval>
bool covers(const Interval& interval, double t) {
  return t >= interval.begin && t < interval.begin + interval.length;
}

bool within(const std::vector<Gap>& gaps, double t) {
  return std::any_of(gaps.begin(), gaps.end(), [t](const Gap& gap) { return covers(gap, t); });
}

struct Reflection {
  Jump jump;
  Vector3 aside;  // east, north, up, m
};

std::vector<Reflection> reflections(const DeliveryOptions& options, double end,
                                    std::uint64_t seed) {
  std::vector<Reflection> all;
  const auto add = [&all](const Jump& jump, double direction) {
    all.push_back(
        {jump, {jump.distance * std::sin(direction), jump.distance * std::cos(direction), 0.0}});
  };
  RandomStream directions(seed, "delivery jump directions");
  for (const Jump& jump : options.jumps) add(jump, directions.uniform(-kPi, kPi));
  if (!(options.jump_interval > 0.0)) return all;
  RandomStream random(seed, "delivery jumps");
  const auto wait = [&] { return options.jump_interval * random.uniform(0.5, 1.5); };
  for (double t = wait(); t < end; t += wait()) {
    const double length = random.uniform(kShortest, kLongest);
    const double distance = kNearest * std::pow(kFarthest / kNearest, random.uniform());
    add({t, length, distance}, random.uniform(-kPi, kPi));
  }
  return all;
}

void push_aside(GpsData& fix, const Vector3& aside) {
  const Place where = LocalFrame({fix.latitude, fix.longitude}, fix.altitude).place(aside);
  fix.latitude = quantise(where.latitude, kDegreeCounts);
  fix.longitude = quantise(where.longitude, kDegreeCounts);
  fix.pos_acc_e = std::min(fix.pos_acc_e, kAccuracy);
  fix.pos_acc_n = std::min(fix.pos_acc_n, kAccuracy);
}

// When every sensor's batches are handed over.
class Batches {
 public:
  Batches(double interval, std::uint64_t seed) : interval_(interval), seed_(seed) {}

  double after(double t, int type) {
    if (!(interval_ > 0.0)) return t;
    const auto [phase, first] = phases_.try_emplace(type, 0.0);
    if (first) {
      phase->second =
          interval_ * RandomStream(seed_, fmt::format("delivery batches {}", type)).uniform();
    }
    return phase->second + interval_ * std::ceil((t - phase->second) / interval_);
  }

 private:
  double interval_;  // s
  std::uint64_t seed_;
  std::map<int, double> phases_;  // s, by type of sensor
};

}  // namespace

std::vector<EventRow> deliver(const std::vector<EventRow>& rows, const DeliveryOptions& options,
                              std::uint64_t seed) {
  if (rows.empty()) return {};
  struct Delivery {
    double time;  // s
    EventRow row;
  };
  std::vector<Delivery> deliveries;
  deliveries.reserve(rows.size());
  const std::int64_t origin = origin_of(rows);
  const auto seconds = [origin](std::int64_t time) { return seconds_between(origin, time); };
  const auto jumps = reflections(options, seconds(time_of(rows.back())), seed);
  RandomStream lateness(seed, "delivery late"), doubling(seed, "delivery doubled");
  Batches batches(options.batch, seed);

  // A log does not say when a row was handed over: not before any sensor event ahead of it.
  double now = seconds(time_of(rows.front()));
  for (EventRow row : rows) {
    const double t = seconds(time_of(row));
    double time = now;
    int copies = 1;
    if (const auto* sensor = std::get_if<SensorRow>(&row)) {
      now = std::max(now, t);
      time = std::max(now, batches.after(t, sensor->event.type));
      const bool late = lateness.uniform() < options.late;
      const double delay = lateness.uniform();
      if (late) time = std::max(time, t + delay);
      if (doubling.uniform() < options.doubled) copies = 2;
      if (within(options.gaps, t) || within(options.silences, t)) continue;
    } else if (auto* handed = std::get_if<FixRow>(&row)) {
      if (within(options.silences, t)) continue;
      GpsData& fix = handed->fix;
      for (const auto& [jump, aside] : jumps) {
        if (handed->sample == 0 && covers(jump, t)) push_aside(fix, aside);
      }
      time = now + options.fix_delay;
      fix.time_ns += std::llround(options.fix_clock * 1e9);
    }
    while (copies-- > 0) deliveries.push_back({time, row});
  }
  std::stable_sort(deliveries.begin(), deliveries.end(),
                   [](const Delivery& a, const Delivery& b) { return a.time < b.time; });
  std::vector<EventRow> delivered;
  delivered.reserve(deliveries.size());
  for (const Delivery& delivery : deliveries) delivered.push_back(delivery.row);
  return delivered;
}

std::vector<std::string> describe(const DeliveryOptions& options) {
  std::vector<std::string> lines;
  for (const auto& [begin, length] : options.gaps) {
    lines.push_back(fmt::format("gap: {} s without sensor events from {} s on", length, begin));
  }
  for (const auto& [begin, length] : options.silences) {
    lines.push_back(
        fmt::format("silence: {} s without sensor events and fixes from {} s on", length, begin));
  }
  for (const auto& [begin, length, distance] : options.jumps) {
    lines.push_back(
        fmt::format("jump: fixes {} m aside for {} s from {} s on", distance, length, begin));
  }
  const auto add = [&lines](double value, const char* format) {
    if (value != 0.0) lines.push_back(fmt::format(fmt::runtime(format), value));
  };
  add(options.jump_interval, "jumps: fixes aside about every {} s");
  add(options.doubled, "doubled: {} of the sensor events");
  add(options.late, "late: {} of the sensor events, by up to 1 s");
  add(options.batch, "batch: sensor events handed over every {} s");
  add(options.fix_delay, "fix_delay: {} s");
  add(options.fix_clock, "fix_clock: fixes stamped {} s ahead");
  return lines;
}

}  // namespace zuvdr::tools
