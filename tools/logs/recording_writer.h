// What a phone's app would have recorded of the rows of a log.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/phone_fix.h"
#include "tools/logs/log_writer.h"

namespace zuvdr::tools {

// The opposite of to_gps_data: fixes that it made come back, of others the accuracies are turned
// to along and across the velocity. Without one of the accuracies of the velocity all are unknown,
// and with them to the engine the course, so that a fix that fails its test for it still does.
PhoneFix to_phone_fix(const GpsData& fix);

// ns since 1970. The time of a log whose clock is none of UTC is taken as that since a boot in
// November 2023.
std::int64_t utc_ns(std::int64_t time_ns);

// A number of a recording; NaN is an empty field.
std::string number_or_empty(double value);

// Hands on what a recording can hold and counts all else.
class RecordingWriter : public LogWriter {
 public:
  void write(const EventRow& row) final;
  std::vector<std::string> remarks() const final;

 protected:
  virtual bool put(const SensorData& event) = 0;  // false: the recording has no such sensor
  virtual void put(const PhoneFix& fix) = 0;

 private:
  std::map<std::string_view, std::int64_t> left_out_;
};

}  // namespace zuvdr::tools
