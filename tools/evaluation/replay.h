// Plays a log to the engine and hands every answer on, joined with the truth.
#pragma once

#include <deque>
#include <functional>

#include "tools/evaluation/engine_host.h"
#include "tools/evaluation/summary.h"
#include "tools/evaluation/truth_window.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {

// One replay; the engine is reset at its start. Memory does not grow with the log but for the list
// of outages and epochs that no fix releases.
class Replay {
 public:
  // `deliver` gets every row of the track, in order of the fixes. A row waits for the truth that
  // follows it in the log, at most for a few fixes.
  explicit Replay(std::function<void(const TrackRow&)> deliver,
                  const HostOptions& care = HostOptions::none());

  // `line`: where the row stands in the log; 0: unknown.
  void play(const EventRow& row, std::int64_t line = 0);

  // Hands out the rows that still wait; to be called at the end of the log, also when it broke off.
  void flush();

  // After the last row. `rows_skipped`: malformed rows of the log that were passed over.
  Summary finish(std::int64_t rows_skipped);

 private:
  struct Waiting {
    FixAnswer answer;
    std::int64_t since_ns;  // time of the log
  };

  void take(FixAnswer answer);
  std::int64_t now() const;
  bool settled(const Waiting& waiting) const;
  void hand_out_front();

  std::function<void(const TrackRow&)> deliver_;
  EngineHost host_;
  Summary summary_;
  TruthWindow truth_;
  std::deque<Waiting> waiting_;
};

}  // namespace zuvdr::tools
