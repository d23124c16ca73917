#include "tools/logs/gnss_logger.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/phone_fix.h"
#include "tools/logs/text_fields.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kMillisecond = 1'000'000;   // ns
constexpr std::int64_t kReferenceInterval = 1000;  // ms
constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

constexpr std::string_view kRowKinds[] = {"Raw",
                                          "Fix",
                                          "Nav",
                                          "Status",
                                          "NMEA",
                                          "Agc",
                                          "Accel",
                                          "UncalGyro",
                                          "Gyro",
                                          "UncalMag",
                                          "Mag",
                                          "Pressure",
                                          "UncalAccel",
                                          "OrientationDeg",
                                          "GameRotationVector",
                                          "GnssAntennaInfo"};

struct SensorKind {
  std::string_view name;
  std::int32_t type;
  std::size_t values;
  bool has_bias;    // to be handed over
  bool calibrated;  // second choice
};
constexpr std::array kSensorKinds{
    SensorKind{"UncalAccel", ZUVDR_SENSOR_ACCELEROMETER, 3, false, false},
    SensorKind{"Accel", ZUVDR_SENSOR_ACCELEROMETER, 3, false, true},
    SensorKind{"UncalGyro", ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, 3, true, false},
    SensorKind{"Gyro", ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, 3, false, true},
    SensorKind{"UncalMag", ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, 3, true, false},
    SensorKind{"Mag", ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, 3, false, true},
    SensorKind{"Pressure", ZUVDR_SENSOR_PRESSURE, 1, false, false}};

// Where the columns stand, the kind of the row being 0. Later versions append columns.
using Columns = std::vector<std::size_t>;

enum SensorColumn : std::size_t { kUtc, kElapsed, kValues, kBias = kValues + 3 };
constexpr std::string_view kSensorColumns[] = {
    "utcTimeMillis", "elapsedRealtimeNanos", "x", "y", "z", "bias x", "bias y", "bias z"};
const Columns kSensorPlaces{1, 2, 3, 4, 5, 6, 7, 8};

enum FixColumn : std::size_t {
  kProvider,
  kLatitude,
  kLongitude,
  kAltitude,
  kSpeed,
  kAccuracy,
  kBearing,
  kUnixTime,
  kSpeedAccuracy,
  kBearingAccuracy,
  kFixElapsed,
  kVerticalAccuracy
};
constexpr std::string_view kFixColumns[] = {
    "Provider",         "LatitudeDegrees",        "LongitudeDegrees",     "AltitudeMeters",
    "SpeedMps",         "AccuracyMeters",         "BearingDegrees",       "UnixTimeMillis",
    "SpeedAccuracyMps", "BearingAccuracyDegrees", "elapsedRealtimeNanos", "VerticalAccuracyMeters"};
const Columns kFixPlaces{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
constexpr std::size_t kFirstFixFields =
    8;  // of a row of v2.0.0, which has the time for the bearing
const Columns kFirstFixPlaces{1,        2, 3,        4,        5,        6,
                              kNowhere, 7, kNowhere, kNowhere, kNowhere, kNowhere};

// Columns of the first version have names without units.
bool is_fix_column(std::string_view column, std::string_view name) {
  if (column == name) return true;
  if (name == "UnixTimeMillis") return column.ends_with("TimeInMs") || column == "TimeInMs (UTC)";
  for (const std::string_view unit : {"Degrees", "Meters", "Mps"}) {
    if (name.ends_with(unit) && column == name.substr(0, name.size() - unit.size())) return true;
  }
  return false;
}

bool is_sensor_column(std::string_view column, std::string_view kind, std::size_t place) {
  if (place < kValues) return column == kSensorColumns[place];
  if (kind == "Pressure") return place == kValues && column.starts_with(kind);
  const std::string axis(1, "XYZ"[(place - kValues) % 3]);
  if (place < kBias) return column.starts_with(std::string(kind) + axis);
  return column.starts_with("Bias" + axis) || column.starts_with("Drift" + axis);
}

// In a header line; empty when a needed column is not in it, so that the usual places hold.
template <typename IsColumn>
Columns find_columns(std::span<const std::string_view> header, std::size_t count,
                     std::span<const std::size_t> needed, const IsColumn& is_column) {
  Columns columns(count, kNowhere);
  for (std::size_t place = 0; place < count; ++place) {
    for (std::size_t i = 1; i < header.size() && columns[place] == kNowhere; ++i) {
      if (is_column(header[i], place)) columns[place] = i;
    }
  }
  const auto missing = [&](std::size_t place) { return columns[place] == kNowhere; };
  return std::ranges::any_of(needed, missing) ? Columns{} : columns;
}

bool is_provider(std::string_view text, std::string_view lower_case) {
  return std::ranges::equal(text, lower_case, {}, [](unsigned char c) { return std::tolower(c); });
}

class Reader {
 public:
  explicit Reader(LineReader& lines) : lines_(lines) { recording_.name = lines.name(); }

  Recording read() {
    try {
      for (std::string_view line; lines_.next(line);) take(line);
    } catch (const InputError& error) {
      recording_.broke = error;
    }
    finish_sensors();
    finish_fixes();
    return std::move(recording_);
  }

 private:
  struct PhoneRow {
    PhoneFix fix;
    bool on_sensor_clock;
    std::int64_t utc_ms;
    std::int64_t line;
  };
  struct ClockReference {
    std::int64_t utc_ms;
    std::int64_t elapsed_ns;
  };
  struct SensorSeries {
    Columns columns = kSensorPlaces;
    std::vector<Recording::Sensor> rows;
  };

  void take(std::string_view line) {
    if (line.empty()) return;
    if (line.front() == '#') {
      split_fields(line.substr(1), fields_);
      take_header();
      return;
    }
    const std::string kind(trim(line.substr(0, line.find(','))));
    const auto* const sensor = std::ranges::find(kSensorKinds, kind, &SensorKind::name);
    const bool needed = sensor != kSensorKinds.end() || kind == "Fix";
    if (!needed && std::ranges::find(kRowKinds, kind) != std::end(kRowKinds)) return;
    try {
      if (!needed) fail_field("kind", "unknown", kind);
      if (lines_.too_long()) fail_field("line", "too long", line);
      split_fields(line, fields_);
      if (kind == "Fix") {
        take_fix();
      } else {
        take_sensor(*sensor);
      }
    } catch (const FieldError& error) {
      recording_.malformed.add(needed ? "malformed " + kind : "unknown", "",
                               lines_.described(error));
    }
  }

  void take_header() {
    const std::string_view kind = fields_.front();
    if (kind == "Fix") {
      constexpr std::size_t kNeeded[] = {kProvider, kLatitude, kLongitude, kUnixTime};
      fix_columns_ = find_columns(fields_, std::size(kFixColumns), kNeeded,
                                  [](std::string_view column, std::size_t place) {
                                    return is_fix_column(column, kFixColumns[place]);
                                  });
    }
    for (std::size_t i = 0; i < kSensorKinds.size(); ++i) {
      if (kind != kSensorKinds[i].name) continue;
      constexpr std::size_t kNeeded[] = {kUtc, kElapsed, kValues, kValues + 1, kValues + 2};
      const Columns found = find_columns(fields_, std::size(kSensorColumns),
                                         std::span(kNeeded).first(kValues + kSensorKinds[i].values),
                                         [kind](std::string_view column, std::size_t place) {
                                           return is_sensor_column(column, kind, place);
                                         });
      series_[i].columns = found.empty() ? kSensorPlaces : found;
    }
  }

  // Empty when the row has no such column.
  std::string_view field(const Columns& columns, std::size_t place) const {
    return columns[place] < fields_.size() ? fields_[columns[place]] : std::string_view{};
  }
  std::string_view needed(const Columns& columns, std::size_t place, std::string_view name) const {
    if (columns[place] >= fields_.size()) fail_field(name, "missing", {});
    return fields_[columns[place]];
  }

  static std::int64_t read_milliseconds(std::string_view name, std::string_view text) {
    const std::int64_t time = read_time(name, text);
    if (time > kLatestTime / kMillisecond) fail_field(name, "out of range", text);
    return time;
  }

  void take_sensor(const SensorKind& kind) {
    const auto index = static_cast<std::size_t>(&kind - kSensorKinds.data());
    if (kind.calibrated && !series_[index - 1].rows.empty()) return;
    const Columns& columns = series_[index].columns;
    const auto text = [&](std::size_t place) {
      return needed(columns, place, kSensorColumns[place]);
    };
    SensorData event{};
    event.type = kind.type;
    event.timestamp = read_time(kSensorColumns[kElapsed], text(kElapsed));
    for (std::size_t i = 0; i < kind.values; ++i) {
      const std::string_view name = kind.values == 1 ? "pressure" : kSensorColumns[kValues + i];
      event.values[i] = read_finite(name, text(kValues + i));
    }
    for (std::size_t i = 0; kind.has_bias && i < kind.values; ++i) {
      const std::string_view bias = field(columns, kBias + i);
      if (!bias.empty()) event.values[3 + i] = read_finite(kSensorColumns[kBias + i], bias);
    }
    const std::int64_t utc_ms = read_milliseconds(kSensorColumns[kUtc], text(kUtc));
    series_[index].rows.push_back({event, lines_.number()});
    if (references_.empty() || std::abs(utc_ms - references_.back().utc_ms) >= kReferenceInterval) {
      references_.push_back({utc_ms, event.timestamp});
    }
  }

  void take_fix() {
    const Columns& columns = !fix_columns_.empty()               ? fix_columns_
                             : fields_.size() <= kFirstFixFields ? kFirstFixPlaces
                                                                 : kFixPlaces;
    const auto text = [&](FixColumn place) { return needed(columns, place, kFixColumns[place]); };
    const auto optional = [&](FixColumn place) {
      return read_optional(kFixColumns[place], field(columns, place));
    };
    if (!is_provider(text(kProvider), "gps")) {
      if (!is_provider(text(kProvider), "flp") && !is_provider(text(kProvider), "nlp") &&
          !is_provider(text(kProvider), "fused") && !is_provider(text(kProvider), "network")) {
        fail_field(kFixColumns[kProvider], "unknown", text(kProvider));
      }
      ++other_providers_;
      return;
    }
    PhoneRow row{};
    row.line = lines_.number();
    row.fix.latitude = read_angle(kFixColumns[kLatitude], text(kLatitude), 90.0);
    row.fix.longitude = read_angle(kFixColumns[kLongitude], text(kLongitude), 180.0);
    row.fix.altitude = optional(kAltitude);
    row.fix.speed = optional(kSpeed);
    row.fix.horizontal_accuracy = optional(kAccuracy);
    row.fix.bearing = optional(kBearing);
    row.fix.speed_accuracy = optional(kSpeedAccuracy);
    row.fix.bearing_accuracy = optional(kBearingAccuracy);
    row.fix.vertical_accuracy = optional(kVerticalAccuracy);
    const std::string_view elapsed = field(columns, kFixElapsed);
    row.on_sensor_clock = !elapsed.empty();
    if (row.on_sensor_clock) {
      row.fix.time_ns = read_time(kFixColumns[kFixElapsed], elapsed);
    } else {
      row.utc_ms = read_milliseconds(kFixColumns[kUnixTime], text(kUnixTime));
    }
    fixes_.push_back(row);
  }

  void finish_sensors() {
    for (std::size_t i = 0; i < kSensorKinds.size(); ++i) {
      const bool second_choice = kSensorKinds[i].calibrated && !series_[i - 1].rows.empty();
      auto& rows = series_[i].rows;
      if (!second_choice) {
        recording_.sensors.insert(recording_.sensors.end(), rows.begin(), rows.end());
      }
    }
    for (SensorSeries& series : series_) series.rows = {};
    std::ranges::sort(recording_.sensors, {}, &Recording::Sensor::line);
    if (recording_.sensors.empty()) recording_.notes.emplace_back("no sensor rows, fixes only");
  }

  // Fixes of older versions have UTC alone; the sensor row nearest in it tells the sensors' clock.
  std::int64_t sensor_time(std::int64_t utc_ms) const {
    if (references_.empty()) return utc_ms * kMillisecond;
    auto after = std::ranges::lower_bound(references_, utc_ms, {}, &ClockReference::utc_ms);
    if (after == references_.end() ||
        (after != references_.begin() &&
         utc_ms - std::prev(after)->utc_ms < after->utc_ms - utc_ms)) {
      --after;
    }
    return after->elapsed_ns + (utc_ms - after->utc_ms) * kMillisecond;
  }

  void finish_fixes() {
    std::ranges::sort(references_, {}, &ClockReference::utc_ms);
    const bool any_on_clock = std::ranges::any_of(fixes_, &PhoneRow::on_sensor_clock);
    for (PhoneRow& row : fixes_) {
      if (!row.on_sensor_clock) {
        if (references_.empty() && any_on_clock) {
          recording_.dropped.add("Fix", "without a time on the clock of the others",
                                 fmt::format("{}:{}", recording_.name, row.line));
          continue;
        }
        row.fix.time_ns = sensor_time(row.utc_ms);
      }
      recording_.fixes.push_back({to_gps_data(row.fix), row.line});
    }
    if (!recording_.fixes.empty()) return;
    recording_.notes.emplace_back("no fix of the provider GPS, sensors only");
    if (other_providers_ > 0) {
      recording_.notes.back() += fmt::format(" ({} of other providers left out)", other_providers_);
    }
  }

  LineReader& lines_;
  Recording recording_;
  std::vector<std::string_view> fields_;  // of the line at hand
  Columns fix_columns_;
  std::array<SensorSeries, kSensorKinds.size()> series_;
  std::vector<ClockReference> references_;
  std::vector<PhoneRow> fixes_;
  std::int64_t other_providers_ = 0;
};

}  // namespace

bool is_gnss_logger_line(std::string_view line) {
  if (line.starts_with('#')) line.remove_prefix(1);
  const std::size_t comma = line.find(',');
  return comma != std::string_view::npos &&
         std::ranges::find(kRowKinds, trim(line.substr(0, comma))) != std::end(kRowKinds);
}

Recording read_gnss_logger(LineReader& lines) {
  return Reader(lines).read();
}

}  // namespace zuvdr::tools
