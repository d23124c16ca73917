// What is measured: one list of roads for the clock, the instruction counter and the heap counter.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zuvdr::bench {

class Road {
 public:
  virtual ~Road() = default;
  virtual void prepare() = 0;  // before every run; not measured
  virtual void run() = 0;      // measured
  // Empty, or why the figures are not those of the road.
  virtual std::string fault() const { return {}; }
};

struct NamedRoad {
  std::string name;
  int calls;  // of what is named, in one run
  // Roads through the engine reset it: one road at a time.
  std::function<std::unique_ptr<Road>()> make;
  int counted_runs = 10;
};

// The steps of the vehicle's filter, and behind "dense: " those of them that have a dense
// reference.
void add_filter_roads(std::vector<NamedRoad>& roads);

// The walker's steps, and epochs and fixes of an engine in a known state.
void add_engine_roads(std::vector<NamedRoad>& roads);

// Events through a host with all cares, and behind "engine: " the engine's part of them.
void add_host_road(std::vector<NamedRoad>& roads);

// The replay of a log of so many minutes, from file to file; a call is a minute of log.
void add_replay_road(std::vector<NamedRoad>& roads, int minutes);

}  // namespace zuvdr::bench
