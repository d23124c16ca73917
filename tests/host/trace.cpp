// trace LOG > rows.csv
// Drives the library with an event log and writes, for every fix, all that a host can read and the
// walker's speed, with every digit: what scripts/compare-reference, scripts/compare-compilers and
// scripts/compare-walkers compare.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <variant>

#include "ZuVDR.h"
#include "tools/evaluation/engine_probe.h"
#include "tools/logs/event_log.h"

namespace {

void write_rows(const char* path) {
  zuvdr::tools::EventLogReader reader(path);
  zuvdr::tools::EventRow row;
  Reset();
  fmt::print(
      "time_ns,status,lat,lon,car_flag,pdr_flag,bout_step_count,total_steps,walker_speed,"
      "log\n");
  while (reader.next(row)) {
    if (const auto* sensor = std::get_if<zuvdr::tools::SensorRow>(&row)) {
      UpdateLocationbySensorEvent(sensor->event);
    } else if (const auto* fix = std::get_if<zuvdr::tools::FixRow>(&row)) {
      SyncGPSEventforFusion(&fix->fix);
      const int status = UpdateLocationbyGPSEvent(fix->sample);
      Location location{};
      GetLocation(&location);
      const zuvdr::tools::EngineProbe probe = zuvdr::tools::probe_engine();
      fmt::print("{},{},{},{},{},{},{},{},{},{}\n", fix->fix.time_ns, status, location.latitude,
                 location.longitude, GetCarFlag(), GetPdrFlag(), probe.bout_steps,
                 probe.total_steps, probe.pedestrian_speed, getAlgoLog());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: trace LOG\n", stderr);
    return 2;
  }
  try {
    write_rows(argv[1]);
  } catch (const std::exception& error) {
    fmt::print(stderr, "trace: {}\n", error.what());
    return 1;
  }
  return 0;
}
