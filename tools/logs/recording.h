// What a phone's app recorded: whole in memory, since such files are in no order of time.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/logs/line_reader.h"
#include "tools/logs/log_reader.h"

namespace zuvdr::tools {

// Counts rows that were left out, by kind.
class Tally {
 public:
  // "2 KIND rows WHAT, first WHERE"; with one row "1 KIND row WHAT: WHERE".
  void add(const std::string& kind, const std::string& what, const std::string& where);
  std::int64_t count() const;
  std::vector<std::string> lines() const;

 private:
  struct Entry {
    std::string kind, what, first;
    std::int64_t count;
  };
  std::vector<Entry> entries_;
};

struct Recording {
  struct Sensor {
    SensorData event;
    std::int64_t line;  // 0: none of its own
  };
  struct Fix {
    GpsData fix;
    std::int64_t line;
  };

  std::string name;
  std::vector<Sensor> sensors;
  std::vector<Fix> fixes;
  Tally malformed;
  Tally dropped;                    // sound rows that must not reach the engine
  std::vector<std::string> notes;   // on the recording as a whole
  std::optional<InputError> broke;  // why the rest could not be read
};

// Longest time that is taken, ns; sums and differences of two of them do not overflow.
inline constexpr std::int64_t kLatestTime =
    4'000'000'000'000'000'000;  // in the year 2096 since 1970

// A time of 0 to kLatestTime. Throws FieldError.
std::int64_t read_time(std::string_view name, std::string_view text);
// A number that is not NaN or infinite. Throws FieldError.
double read_finite(std::string_view name, std::string_view text);
// NaN where the field is empty or absent.
double read_optional(std::string_view name, std::string_view text);
// Degrees, within -limit to limit. Throws FieldError.
double read_angle(std::string_view name, std::string_view text, double limit);

// The fields of a line, trimmed, in place of what `fields` held.
void split_fields(std::string_view line, std::vector<std::string_view>& fields);

// Yields the rows in order of time; of equal times sensor rows come first, then what stands first.
class RecordingReader final : public LogReader {
 public:
  // Throws InputError when there is no row at all.
  explicit RecordingReader(Recording recording);

  bool next(EventRow& row) override;
  std::int64_t line_number() const override { return line_; }
  std::int64_t skipped() const override { return recording_.malformed.count(); }
  const std::vector<std::string>& first_skipped() const override { return malformed_; }
  std::vector<std::string> remarks() const override;
  double progress() const override;

 private:
  Recording recording_;
  std::vector<std::string> malformed_;
  std::size_t next_sensor_ = 0;
  std::size_t next_fix_ = 0;
  std::int64_t line_ = 0;
};

}  // namespace zuvdr::tools
