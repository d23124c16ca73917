// A whole log through the engine, as a host would play it.
#pragma once

#include <vector>

#include "tools/evaluation/replay.h"
#include "tools/evaluation/summary.h"
#include "tools/logs/event_log.h"
#include "tools/logs/track.h"
#include "tools/simulation/simulation.h"

namespace zuvdr::tests {

struct Journey {
  std::vector<tools::TrackRow> track;
  tools::Summary summary;

  // The track's first row with the bits of the car flag word; its size when there is none.
  std::size_t first_with(int car_flags) const {
    std::size_t i = 0;
    while (i < track.size() && (track[i].car_flag & car_flags) != car_flags) ++i;
    return i;
  }
};

inline Journey play(const std::vector<tools::EventRow>& rows,
                    const HostOptions& care = HostOptions::none()) {
  Journey journey;
  tools::Replay replay([&](const tools::TrackRow& row) { journey.track.push_back(row); }, care);
  for (const tools::EventRow& row : rows) replay.play(row);
  replay.flush();
  journey.summary = replay.finish(0);
  return journey;
}

inline Journey play(const std::string& path) {
  std::vector<tools::EventRow> rows;
  tools::EventLogReader reader(path);
  for (tools::EventRow row; reader.next(row);) rows.push_back(row);
  return play(rows);
}

}  // namespace zuvdr::tests
