// The engine's answers to an event log as lines of text: for every fix all that a host can read,
// the walker's speed and the variances of both filters, with every digit.
#pragma once

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <variant>

#include "ZuVDR.h"
#include "ZuVDRHost.hpp"
#include "engine/insZuAlgo.h"
#include "host/engine_probe.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tests {

// The compilers do not agree on the sign of a NaN.
inline std::string digits(double x) {
  return std::isnan(x) ? "nan" : fmt::format("{}", x);
}

// Calls write_line(line) for the header and for every fix. Through a host without any care: by its
// calls instead of plain ones.
template <typename WriteLine>
void trace_rows(const std::string& log, WriteLine write_line, bool through_host = false) {
  tools::EventLogReader reader(log);
  tools::EventRow row;
  std::string line =
      "time_ns,status,lat,lon,car_flag,pdr_flag,bout_step_count,total_steps,walker_speed";
  for (int i = 0; i < 18; ++i) fmt::format_to(std::back_inserter(line), ",vehicle_P{}", i);
  for (int i = 0; i < 4; ++i) fmt::format_to(std::back_inserter(line), ",walker_P{}", i);
  write_line(line + ",log");
  const auto answer = [&](std::int64_t time, int status, double latitude, double longitude) {
    const EngineProbe probe = probe_engine();
    line = fmt::format("{},{},{},{},{},{},{},{},{}", time, status, digits(latitude),
                       digits(longitude), GetCarFlag(), GetPdrFlag(), probe.bout_steps,
                       probe.total_steps, digits(probe.pedestrian_speed));
    for (std::size_t i = 0; i < 18; ++i) line += ',' + digits(minsZuAlgo->kf.P[19 * i]);
    for (std::size_t i = 0; i < 4; ++i) line += ',' + digits(minsZuAlgo->pdr_kf.P[5 * i]);
    write_line(line + ',' + getAlgoLog());
  };
  Host host(HostOptions::none(), [&](const HostAnswer& got) {
    answer(got.fix.time_ns, got.status, got.position.latitude, got.position.longitude);
  });
  while (reader.next(row)) {
    const auto* sensor = std::get_if<tools::SensorRow>(&row);
    const auto* fix = std::get_if<tools::FixRow>(&row);
    if (through_host) {
      if (sensor != nullptr) host.sensor(sensor->event);
      if (fix != nullptr) host.fix(fix->fix, fix->sample);
    } else if (sensor != nullptr) {
      UpdateLocationbySensorEvent(sensor->event);
    } else if (fix != nullptr) {
      SyncGPSEventforFusion(&fix->fix);
      const int status = UpdateLocationbyGPSEvent(fix->sample);
      Location location{};
      GetLocation(&location);
      answer(fix->fix.time_ns, status, location.latitude, location.longitude);
    }
  }
}

}  // namespace zuvdr::tests
