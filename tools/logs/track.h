// The track: what the engine answered, one row per fix. CSV and GeoJSON writers, CSV reader.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/logs/place.h"

namespace zuvdr::tools {

struct TrackRow {
  std::int64_t time_ns;         // of the fix
  std::int64_t output_time_ns;  // the time the fused position belongs to (see docs/track.md)
  int status;                   // result of UpdateLocationbyGPSEvent
  double latitude;              // fused, degrees
  double longitude;             // fused, degrees
  int car_flag;                 // word of GetCarFlag
  int pdr_flag;
  int bout_steps;
  int total_steps;
  double fix_latitude;     // raw fix, degrees
  double fix_longitude;    // raw fix, degrees
  int sample;              // 0: healthy fix, non-zero: epoch without one
  bool fix_accepted;       // the fix passed the engine's quality test
  double truth_latitude;   // true position at output_time_ns, degrees; NaN when the log has none
  double truth_longitude;  // degrees
};

inline Place fused_place(const TrackRow& row) {
  return {row.latitude, row.longitude};
}
inline Place truth_place(const TrackRow& row) {
  return {row.truth_latitude, row.truth_longitude};
}
inline Place fix_place(const TrackRow& row) {
  return {row.fix_latitude, row.fix_longitude};
}

// Writes a track, which stands once it is closed (output_file.h). All members throw OutputError.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;
  virtual void write(const TrackRow& row) = 0;
  virtual void close() = 0;

  // By ending: .csv, .geojson or .json; standard output takes CSV.
  static std::unique_ptr<TrackWriter> open(const std::string& path);
};

// Reads a CSV track back, plain or gzip, columns by name; "-" is standard input. Throws InputError,
// also for a track without rows.
std::vector<TrackRow> read_track_csv(const std::string& path);

}  // namespace zuvdr::tools
