#include "tools/logs/sensor_logger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "engine/fix_quality.h"
#include "host/phone_fix.h"
#include "tools/logs/text_fields.h"
#include "tools/logs/zip_handles.h"

namespace zuvdr::tools {
namespace {

constexpr double kStandardGravity = 9.80665;          // m/s^2, an iPhone's g
constexpr double kLargestInG = 4.0;                   // between 1 and 9.8
constexpr std::int64_t kLeastInterval = 400'000'000;  // ns, of fixes
constexpr double kSecond = 1e9;                       // ns
constexpr const char* kSources[] = {"TotalAcceleration",     "AccelerometerUncalibrated",
                                    "Accelerometer",         "Gravity",
                                    "GyroscopeUncalibrated", "Gyroscope",
                                    "LocationGps",           "Location"};

// Opens the file NAME.csv of a recording; null when there is none.
using OpenFile = std::function<std::unique_ptr<LineReader>(const std::string& name)>;

struct Sample {
  std::int64_t time_ns;
  double values[3];
  std::int64_t line;
};
using Samples = std::vector<Sample>;

// A CSV file whose columns go by name.
class Table {
 public:
  explicit Table(std::unique_ptr<LineReader> lines) : lines_(std::move(lines)) {
    std::string_view line;
    if (!lines_ || !lines_->next(line)) return;
    header_text_ = line;
    split_fields(header_text_, header_);
  }

  bool empty() const { return header_.empty(); }

  std::optional<std::size_t> find(std::string_view name) const {
    const auto found = std::ranges::find(header_, name);
    if (found == header_.end()) return std::nullopt;
    return static_cast<std::size_t>(found - header_.begin());
  }
  std::size_t column(std::string_view name) const {
    const auto found = find(name);
    if (found) return *found;
    try {
      fail_field(name, "no such column", header_text_);
    } catch (const FieldError& error) {
      throw InputError(described(error));
    }
  }

  bool next() {
    std::string_view line;
    do {
      if (!lines_ || !lines_->next(line)) return false;
    } while (line.empty());
    split_fields(line, fields_);
    return true;
  }

  // Of the row at hand. Throws FieldError when it has no such field.
  std::string_view field(std::size_t column) const {
    if (lines_->too_long()) fail_field("line", "too long", fields_.front());
    if (column >= fields_.size()) fail_field(header_[column], "missing", {});
    return fields_[column];
  }
  double finite(std::size_t column) const { return read_finite(header_[column], field(column)); }
  double optional(std::optional<std::size_t> column) const {
    return column ? read_optional(header_[*column], field(*column)) : PhoneFix::kUnknown;
  }
  std::int64_t time(std::size_t column) const { return read_time(header_[column], field(column)); }

  std::int64_t line() const { return lines_->number(); }
  std::string place(std::int64_t line) const { return fmt::format("{}:{}", lines_->name(), line); }
  std::string described(const FieldError& error) const { return lines_->described(error); }
  const std::vector<std::string_view>& fields() const { return fields_; }

 private:
  std::unique_ptr<LineReader> lines_;
  std::string header_text_;
  std::vector<std::string_view> header_, fields_;
};

class Reader {
 public:
  Reader(std::string name, OpenFile open) : open_(std::move(open)) {
    recording_.name = std::move(name);
  }

  Recording read() {
    read_metadata();
    const auto exists = [this](const char* name) { return open_(name) != nullptr; };
    if (std::ranges::none_of(kSources, exists)) {
      recording_.broke =
          InputError(fmt::format("{}: no recording of Sensor Logger in it", recording_.name));
      return std::move(recording_);
    }
    add(ZUVDR_SENSOR_ACCELEROMETER, acceleration());
    add_gyroscope();
    add(ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED,
        first_with_rows({"MagnetometerUncalibrated", "Magnetometer"}));
    add(ZUVDR_SENSOR_PRESSURE, samples("Barometer", {"pressure"}));
    if (!read_fixes("LocationGps") && !read_fixes("Location")) {
      recording_.notes.emplace_back("no rows in Location.csv, sensors only");
    }
    return std::move(recording_);
  }

 private:
  struct LocationRow {
    PhoneFix fix;
    double elapsed;                 // s since the start
    std::vector<std::string> rest;  // all but the times
    std::int64_t line;
  };

  void read_metadata() {
    Table table(open_("Metadata"));
    if (table.empty() || !table.next()) return;
    const auto text = [&](std::string_view name) -> std::string_view {
      const auto column = table.find(name);
      return column && *column < table.fields().size() ? table.fields()[*column] : "";
    };
    android_ = text("platform") == "android";
    ios_ = text("platform") == "ios";
    if (text("standardisation") == "true") standardised_ = true;
    if (text("standardisation") == "false") standardised_ = false;
    try {
      start_ns_ = read_number<std::int64_t>("recording epoch time", text("recording epoch time"));
      start_ns_ = *start_ns_ > kLatestTime / 1'000'000 || *start_ns_ < 0
                      ? std::nullopt
                      : std::optional(*start_ns_ * 1'000'000);
    } catch (const FieldError&) {
      start_ns_.reset();  // of old versions, or a comma in the device's name; it is not needed
    }
  }

  // In order of time, none with the stamp of another.
  Samples samples(const std::string& name, const std::vector<std::string_view>& names) {
    Samples rows;
    Table table(open_(name));
    if (table.empty()) return rows;
    const std::size_t time = table.column("time");
    std::vector<std::size_t> columns;
    columns.reserve(names.size());
    for (const std::string_view value : names) columns.push_back(table.column(value));
    while (table.next()) {
      try {
        Sample row{table.time(time), {}, table.line()};
        for (std::size_t i = 0; i < columns.size(); ++i) row.values[i] = table.finite(columns[i]);
        rows.push_back(row);
      } catch (const FieldError& error) {
        recording_.malformed.add("malformed " + name, "", table.described(error));
      }
    }
    std::ranges::stable_sort(rows, {}, &Sample::time_ns);
    const auto repeats = [&](const Sample& row, const Sample& before) {
      if (row.time_ns != before.time_ns) return false;
      recording_.dropped.add(name, "with the time of another", table.place(row.line));
      return true;
    };
    Samples kept;
    for (const Sample& row : rows) {
      if (kept.empty() || !repeats(row, kept.back())) kept.push_back(row);
    }
    return kept;
  }
  Samples samples(const std::string& name) { return samples(name, {"x", "y", "z"}); }

  Samples first_with_rows(const std::vector<std::string>& names) {
    Samples rows;
    for (const std::string& name : names) {
      if (rows.empty()) rows = samples(name);
    }
    return rows;
  }

  static Samples scaled(Samples rows, double factor) {
    for (Sample& row : rows) {
      for (double& value : row.values) value *= factor;
    }
    return rows;
  }

  // For every row of `rows` that has an equal stamp among `others`.
  template <typename Apply>
  static void for_equal_stamps(Samples& rows, const Samples& others, const Apply& apply) {
    auto other = others.begin();
    for (Sample& row : rows) {
      while (other != others.end() && other->time_ns < row.time_ns) ++other;
      if (other != others.end() && other->time_ns == row.time_ns) apply(row, *other);
    }
  }

  static double median_norm(const Samples& rows) {
    std::vector<double> norms;
    for (const Sample& row : rows) {
      norms.push_back(std::hypot(row.values[0], row.values[1], row.values[2]));
    }
    const auto middle = norms.begin() + std::ssize(norms) / 2;
    std::ranges::nth_element(norms, middle);
    return *middle;
  }

  // Gravity included, with Android's signs, m/s^2.
  Samples acceleration() {
    Samples rows;
    if (!ios_) rows = samples("TotalAcceleration");
    if (!rows.empty()) return rows;
    rows = samples("AccelerometerUncalibrated");
    if (!rows.empty()) {
      const bool in_g =
          !android_ && (ios_ && standardised_ ? !*standardised_ : median_norm(rows) < kLargestInG);
      return in_g ? scaled(std::move(rows), -kStandardGravity) : rows;
    }
    Samples motion = samples("Accelerometer");
    const Samples gravity = samples("Gravity");
    for_equal_stamps(motion, gravity, [&](Sample& moved, const Sample& weight) {
      rows.push_back(moved);
      for (std::size_t i = 0; i < 3; ++i) rows.back().values[i] += weight.values[i];
    });
    if (rows.empty()) {
      throw InputError(
          fmt::format("{}: no acceleration with gravity in it: no rows in TotalAcceleration.csv, "
                      "AccelerometerUncalibrated.csv, or Accelerometer.csv and Gravity.csv",
                      recording_.name));
    }
    if (!android_ && !ios_) {
      throw InputError(
          fmt::format("{}: Metadata.csv does not name the platform, nor does another "
                      "file tell the signs of the acceleration",
                      recording_.name));
    }
    return ios_ && !standardised_.value_or(false) ? scaled(std::move(rows), -1.0) : rows;
  }

  void add(std::int32_t type, const Samples& rows) {
    for (const Sample& row : rows) {
      SensorData event{};
      event.type = type;
      event.timestamp = row.time_ns;
      std::ranges::copy(row.values, event.values);
      recording_.sensors.push_back({event, 0});
    }
  }

  void add_gyroscope() {
    Samples rows = samples("GyroscopeUncalibrated");
    Samples calibrated = samples("Gyroscope");
    const bool uncalibrated = !rows.empty();
    if (!uncalibrated) rows.swap(calibrated);
    if (rows.empty()) {
      throw InputError(fmt::format("{}: no rows in GyroscopeUncalibrated.csv or Gyroscope.csv",
                                   recording_.name));
    }
    const std::size_t first = recording_.sensors.size();
    add(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, rows);
    if (!uncalibrated) return;
    for_equal_stamps(rows, calibrated, [&](const Sample& row, const Sample& other) {
      double* const values =
          recording_.sensors[first + static_cast<std::size_t>(&row - rows.data())].event.values;
      for (std::size_t i = 0; i < 3; ++i) values[3 + i] = row.values[i] - other.values[i];
    });
  }

  // False when the file has no rows.
  bool read_fixes(const std::string& name) {
    Table table(open_(name));
    if (table.empty()) return false;
    std::vector<LocationRow> rows = location_rows(table, name);
    if (rows.empty()) return false;
    std::ranges::stable_sort(rows, {}, [](const LocationRow& row) { return row.fix.time_ns; });
    const LocationRow* before = nullptr;
    for (const LocationRow& row : rows) {
      const LocationRow* const previous = std::exchange(before, &row);
      const auto drop = [&](const char* why, std::int64_t line) {
        recording_.dropped.add(name, why, table.place(line));
      };
      if (row.elapsed < 0.0) {
        drop("from before the start", row.line);
      } else if (!std::isfinite(row.fix.latitude) || !std::isfinite(row.fix.longitude)) {
        drop("without a position", row.line);
      } else if (previous != nullptr && row.fix.speed > 0.0 && row.rest == previous->rest) {
        drop("delivered again", row.line);
      } else {
        constexpr const char* kClose = "less than 0.4 s from a better one or the one before";
        const GpsData fix = to_gps_data(row.fix);
        auto& kept = recording_.fixes;
        if (kept.empty() || fix.time_ns - kept.back().fix.time_ns >= kLeastInterval) {
          kept.push_back({fix, row.line});
        } else if (passes_quality_test(fix) && !passes_quality_test(kept.back().fix)) {
          drop(kClose, std::exchange(kept.back(), {fix, row.line}).line);
        } else {
          drop(kClose, row.line);
        }
      }
    }
    for (Recording::Fix& fix : recording_.fixes) fix.line = 0;
    return true;
  }

  std::vector<LocationRow> location_rows(Table& table, const std::string& name) {
    const std::size_t time = table.column("time");
    const auto elapsed = table.find("seconds_elapsed");
    const std::size_t latitude = table.column("latitude");
    const std::size_t longitude = table.column("longitude");
    const std::pair<const char*, double PhoneFix::*> members[] = {
        {"altitude", &PhoneFix::altitude},
        {"horizontalAccuracy", &PhoneFix::horizontal_accuracy},
        {"verticalAccuracy", &PhoneFix::vertical_accuracy},
        {"speed", &PhoneFix::speed},
        {"speedAccuracy", &PhoneFix::speed_accuracy},
        {"bearing", &PhoneFix::bearing},
        {"bearingAccuracy", &PhoneFix::bearing_accuracy}};
    const auto angle = [&](std::size_t column, const char* what, double limit) {
      const std::string_view text = table.field(column);
      return text.empty() ? PhoneFix::kUnknown : read_angle(what, text, limit);
    };
    std::vector<LocationRow> rows;
    while (table.next()) {
      try {
        LocationRow row{};
        row.line = table.line();
        row.fix.time_ns = table.time(time);
        row.fix.latitude = angle(latitude, "latitude", 90.0);
        row.fix.longitude = angle(longitude, "longitude", 180.0);
        for (const auto& [column, member] : members) {
          row.fix.*member = table.optional(table.find(column));
        }
        if (row.fix.bearing < 0.0) row.fix.bearing = PhoneFix::kUnknown;
        row.elapsed = table.optional(elapsed);
        if (!elapsed && start_ns_) {
          row.elapsed = static_cast<double>(row.fix.time_ns - *start_ns_) / kSecond;
        }
        for (std::size_t i = 0; i < table.fields().size(); ++i) {
          if (i != time && i != elapsed) row.rest.emplace_back(table.fields()[i]);
        }
        rows.push_back(std::move(row));
      } catch (const FieldError& error) {
        recording_.malformed.add("malformed " + name, "", table.described(error));
      }
    }
    return rows;
  }

  OpenFile open_;
  Recording recording_;
  bool android_ = false;
  bool ios_ = false;
  std::optional<bool> standardised_;
  std::optional<std::int64_t> start_ns_;
};

[[noreturn]] void fail_zip(const std::string& name, zip_error_t* error) {
  throw InputError(
      fmt::format("{}: cannot read the zip archive: {}", name, zip_error_strerror(error)));
}

// The bytes are those of an archive that has no path, and must outlive it.
ZipArchive open_archive(const std::string& name, const std::string& path,
                        const std::string& bytes) {
  ZipError error;
  zip_source_t* const source =
      bytes.empty() ? zip_source_file_create(path.c_str(), 0, -1, &error)
                    : zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  if (source == nullptr) fail_zip(name, &error);
  zip_t* const archive = zip_open_from_source(source, ZIP_RDONLY, &error);
  if (archive == nullptr) {
    zip_source_free(source);
    fail_zip(name, &error);
  }
  return {archive, zip_discard};
}

}  // namespace

bool is_zip_archive(std::string_view begin) {
  return begin.starts_with("PK\x03\x04") || begin.starts_with("PK\x05\x06");
}

Recording read_sensor_logger_folder(const std::string& path) {
  return Reader(path,
                [&path](const std::string& name) -> std::unique_ptr<LineReader> {
                  const std::string file = std::filesystem::path(path) / (name + ".csv");
                  if (!std::filesystem::exists(file)) return nullptr;
                  return std::make_unique<LineReader>(file);
                })
      .read();
}

Recording read_sensor_logger_zip(const std::string& path, LineReader& file) {
  const std::string bytes = file.regular_file() ? std::string{} : file.read_raw();
  const ZipArchive archive = open_archive(file.name(), path, bytes);
  std::map<std::string, zip_uint64_t> entries;  // by base name
  const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    const char* const full = zip_get_name(archive.get(), index, 0);
    if (full == nullptr) continue;
    const std::string base = std::filesystem::path(full).filename();
    if (!entries.emplace(base, index).second && base == "Location.csv") {
      throw InputError(
          fmt::format("{}: more than one recording in it ({} twice)", file.name(), base));
    }
  }
  const auto open = [&](const std::string& name) -> std::unique_ptr<LineReader> {
    const auto entry = entries.find(name + ".csv");
    if (entry == entries.end()) return nullptr;
    const std::string full = fmt::format("{}/{}", file.name(), entry->first);
    const std::shared_ptr<zip_file_t> stream(zip_fopen_index(archive.get(), entry->second, 0),
                                             [](zip_file_t* open_file) {
                                               if (open_file != nullptr) zip_fclose(open_file);
                                             });
    if (!stream) fail_zip(full, zip_get_error(archive.get()));
    return std::make_unique<LineReader>(full, [stream, full](char* to, std::size_t room) {
      const zip_int64_t got = zip_fread(stream.get(), to, room);
      if (got < 0) fail_zip(full, zip_file_get_error(stream.get()));
      return static_cast<std::size_t>(got);
    });
  };
  return Reader(file.name(), open).read();
}

}  // namespace zuvdr::tools
