// What happens to events on their way from the phone's sensors and receiver to the host: gaps,
// doubled and late events, fixes on a clock of their own, reflected signals. Works on the rows of
// any log, simulated or recorded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// Times are seconds after the log's first sensor event.
struct Gap {
  double begin;
  double length;
};

// Fixes that lie aside for a while, and do not admit it.
struct Jump {
  double begin;
  double length;
  double distance;  // m
};

struct DeliveryOptions {
  std::vector<Gap> gaps = {};      // no sensor events, while fixes go on
  std::vector<Gap> silences = {};  // neither sensor events nor fixes
  double doubled = 0.0;            // share of the sensor events that are handed over twice
  double late = 0.0;             // share of the sensor events that are late, each by less than 1 s
  double batch = 0.0;            // s; every sensor's events are kept and handed over so often
  double fix_delay = 0.0;        // s, on top of the log's own
  double fix_clock = 0.0;        // s by which the fixes' stamps are ahead of the sensors' clock
  std::vector<Jump> jumps = {};  // to a side drawn from the seed
  double jump_interval = 0.0;    // s between further jumps, drawn from the seed; 0: none
};

// The rows as the host gets them. Rows of truth and steps stay as they are, in their places; with
// the default options so do all. Everything is drawn from streams of its own: one disturbance does
// not change another.
std::vector<EventRow> deliver(const std::vector<EventRow>& rows, const DeliveryOptions& options,
                              std::uint64_t seed);

// "key: value" lines for the header of the log, none with the default options.
std::vector<std::string> describe(const DeliveryOptions& options);

}  // namespace zuvdr::tools
