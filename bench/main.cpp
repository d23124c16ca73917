// zuvdr_bench [Google Benchmark's options]   times every road
// zuvdr_bench --count FILE                   runs every road for callgrind (see scripts/bench) and
//                                            writes a line for each: name, calls, allocations of
//                                            deque blocks, other allocations, tabs between them
#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "bench/roads.h"
#include "tests/engine/heap_counter.h"

namespace zuvdr::bench {
namespace {

using tests::heap_count;
using tests::HeapCount;

constexpr int kTimedMinutes = 60;
constexpr int kCountedMinutes = 3;

std::vector<NamedRoad> all_roads(int replayed_minutes) {
  std::vector<NamedRoad> roads;
  add_filter_roads(roads);
  add_engine_roads(roads);
  add_host_road(roads);
  add_replay_road(roads, replayed_minutes);
  return roads;
}

// Allocations in the runs of a road.
struct HeapUse : HeapCount {
  template <typename Run>
  void during(Run run) {
    const HeapCount before = heap_count();
    run();
    const HeapCount after = heap_count();
    deque_blocks += after.deque_blocks - before.deque_blocks;
    others += after.others - before.others;
  }
};

// Google Benchmark calls this several times for a road, one road after the other.
void time_road(benchmark::State& state, const NamedRoad& named) {
  using Clock = std::chrono::steady_clock;
  static std::string name;
  static std::unique_ptr<Road> road;
  if (name != named.name) {
    road = named.make();
    name = named.name;
  }
  HeapUse heap{};
  while (state.KeepRunningBatch(named.calls)) {
    road->prepare();
    heap.during([&] {
      const Clock::time_point start = Clock::now();
      road->run();
      state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    });
  }
  const std::string fault = road->fault();
  if (!fault.empty()) state.SkipWithError(fault.c_str());
  const auto per_call = [](std::int64_t n) {
    return benchmark::Counter(static_cast<double>(n), benchmark::Counter::kAvgIterations);
  };
  state.counters["heap"] = per_call(heap.others);
  state.counters["blocks"] = per_call(heap.deque_blocks);
}

int count(const char* path) {
  std::ofstream file(path);
  int status = 0;
  for (const NamedRoad& named : all_roads(kCountedMinutes)) {
    const auto road = named.make();
    HeapUse heap{};
    CALLGRIND_START_INSTRUMENTATION;
    for (int i = 0; i < named.counted_runs; ++i) {
      road->prepare();
      heap.during([&] {
        CALLGRIND_TOGGLE_COLLECT;
        road->run();
        CALLGRIND_TOGGLE_COLLECT;
      });
    }
    CALLGRIND_DUMP_STATS_AT(named.name.c_str());
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string fault = road->fault();
    if (!fault.empty()) {
      std::cerr << "zuvdr_bench: " << named.name << ": " << fault << '\n';
      status = 1;
    }
    file << named.name << '\t' << named.counted_runs * named.calls << '\t' << heap.deque_blocks
         << '\t' << heap.others << '\n';
  }
  file.close();
  return file ? status : 1;
}

}  // namespace
}  // namespace zuvdr::bench

int main(int argc, char** argv) {
  using namespace zuvdr::bench;
  if (argc == 3 && std::strcmp(argv[1], "--count") == 0) return count(argv[2]);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  for (const NamedRoad& named : all_roads(kTimedMinutes)) {
    benchmark::RegisterBenchmark(named.name.c_str(), time_road, named)->UseManualTime();
  }
  benchmark::RunSpecifiedBenchmarks();
}
