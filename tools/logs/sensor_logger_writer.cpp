#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "tools/logs/output_file.h"
#include "tools/logs/recording_writer.h"
#include "tools/logs/sensor_logger.h"
#include "tools/logs/time_difference.h"
#include "tools/logs/zip_handles.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kMillisecond = 1'000'000;  // ns

struct CsvFile {
  std::string name;
  std::string text;
};

std::string vector(const double* v) {
  return fmt::format("{},{},{}", v[2], v[1], v[0]);
}
std::string vector_less_bias(const double* v) {
  return fmt::format("{},{},{}", v[2] - v[5], v[1] - v[4], v[0] - v[3]);
}
std::string pressure(const double* v) {
  return fmt::format(",{}", v[0]);
}

struct SensorFile {
  std::int32_t type;
  const char* name;
  const char* columns;
  std::string (*fields)(const double* values);
};
constexpr SensorFile kSensorFiles[] = {
    {ZUVDR_SENSOR_ACCELEROMETER, "TotalAcceleration", "z,y,x", vector},
    {ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, "GyroscopeUncalibrated", "z,y,x", vector},
    {ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, "Gyroscope", "z,y,x", vector_less_bias},
    {ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, "MagnetometerUncalibrated", "z,y,x", vector},
    {ZUVDR_SENSOR_PRESSURE, "Barometer", "relativeAltitude,pressure", pressure}};

// The bytes of an archive of these files, the same for equal ones. Throws OutputError.
std::string zipped(const std::string& name, const std::vector<CsvFile>& files,
                   const std::string& comment) {
  constexpr zip_uint32_t kLevel = 6;  // of zlib; the best, 9, takes three times as long for 2 %
  constexpr zip_uint16_t kMidnight = 0, kFirstDay = 1 << 5 | 1;  // of the archives' calendar
  ZipError error;
  const auto fail = [&name](zip_error_t* why) {
    throw OutputError(
        fmt::format("{}: cannot write the zip archive: {}", name, zip_error_strerror(why)));
  };
  zip_source_t* const bytes = zip_source_buffer_create(nullptr, 0, 0, &error);
  if (bytes == nullptr) fail(&error);
  const std::unique_ptr<zip_source_t, decltype(&zip_source_free)> owner(bytes, zip_source_free);
  ZipArchive archive(zip_open_from_source(bytes, ZIP_TRUNCATE, &error), zip_discard);
  if (!archive) fail(&error);
  zip_source_keep(bytes);  // the archive owns it too
  constexpr std::size_t kLongestComment = 0xFFFF;
  const std::size_t length = std::min(comment.size(), kLongestComment);
  bool good = zip_set_archive_comment(archive.get(), comment.data(),
                                      static_cast<zip_uint16_t>(length)) == 0;
  for (const CsvFile& file : files) {
    zip_source_t* const text =
        zip_source_buffer(archive.get(), file.text.data(), file.text.size(), 0);
    const zip_int64_t index = zip_file_add(archive.get(), (file.name + ".csv").c_str(), text, 0);
    if (index < 0) zip_source_free(text);
    const auto place = static_cast<zip_uint64_t>(index);
    good = good && index >= 0 &&
           zip_set_file_compression(archive.get(), place, ZIP_CM_DEFLATE, kLevel) == 0 &&
           zip_file_set_dostime(archive.get(), place, kMidnight, kFirstDay, 0) == 0;
  }
  if (!good || zip_close(archive.get()) != 0) fail(zip_get_error(archive.get()));
  static_cast<void>(archive.release());

  zip_stat_t status;
  zip_stat_init(&status);
  std::string all;
  if (zip_source_stat(bytes, &status) != 0 || zip_source_open(bytes) != 0) {
    fail(zip_source_error(bytes));
  }
  all.resize(status.size);
  if (zip_source_read(bytes, all.data(), all.size()) != static_cast<zip_int64_t>(all.size())) {
    fail(zip_source_error(bytes));
  }
  zip_source_close(bytes);
  return all;
}

class Writer final : public RecordingWriter {
 public:
  explicit Writer(const std::string& path) : file_(path) {}

  void comment(const std::string& text) override { comment_ += text + '\n'; }

  void close() override {
    start_ns_ -= start_ns_ % kMillisecond;
    std::vector<CsvFile> files{{"Metadata", metadata()}};
    for (const SensorFile& file : kSensorFiles) {
      if (sensors_[file.type].empty()) continue;
      files.push_back(
          {file.name, table(sensors_[file.type], &SensorData::timestamp, file.columns,
                            [&](const SensorData& event) { return file.fields(event.values); })});
    }
    if (!fixes_.empty()) {
      files.push_back({"Location", table(fixes_, &PhoneFix::time_ns,
                                         "bearingAccuracy,speedAccuracy,verticalAccuracy,"
                                         "horizontalAccuracy,speed,bearing,altitude,longitude,"
                                         "latitude",
                                         fix_fields)});
    }
    file_.write(zipped(file_.name(), files, comment_));
    file_.close();
  }

 private:
  bool put(const SensorData& event) override {
    if (std::ranges::find(kSensorFiles, event.type, &SensorFile::type) == std::end(kSensorFiles)) {
      return false;
    }
    sensors_[event.type].push_back(event);
    start_ns_ = std::min(start_ns_, utc_ns(event.timestamp));
    return true;
  }

  void put(const PhoneFix& fix) override {
    fixes_.push_back(fix);
    start_ns_ = std::min(start_ns_, utc_ns(fix.time_ns));
  }

  std::string metadata() const {
    return fmt::format(
        "version,device name,recording epoch time,platform,standardisation\n"
        "3,zuvdr,{},android,false",
        start_ns_ / kMillisecond);
  }

  static std::string fix_fields(const PhoneFix& fix) {
    const auto text = number_or_empty;
    return fmt::format("{},{},{},{},{},{},{},{},{}", text(fix.bearing_accuracy),
                       text(fix.speed_accuracy), text(fix.vertical_accuracy),
                       text(fix.horizontal_accuracy), text(fix.speed), text(fix.bearing),
                       text(fix.altitude), text(fix.longitude), text(fix.latitude));
  }

  // In order of time, whatever the order in which the rows were handed over.
  template <typename Row, typename Fields>
  std::string table(std::vector<Row>& rows, std::int64_t Row::*time, const char* columns,
                    const Fields& fields) const {
    std::ranges::stable_sort(rows, {}, time);
    fmt::memory_buffer text;
    fmt::format_to(std::back_inserter(text), "time,seconds_elapsed,{}\n", columns);
    for (const Row& row : rows) {
      const std::int64_t utc = utc_ns(row.*time);
      fmt::format_to(std::back_inserter(text), "{},{:.6f},{}\n", utc,
                     seconds_between(start_ns_, utc), fields(row));
    }
    return fmt::to_string(text);
  }

  OutputFile file_;
  std::string comment_;
  std::map<std::int32_t, std::vector<SensorData>> sensors_;
  std::vector<PhoneFix> fixes_;
  std::int64_t start_ns_ = std::numeric_limits<std::int64_t>::max();  // UTC
};

}  // namespace

std::unique_ptr<LogWriter> create_sensor_logger_zip(const std::string& path) {
  return std::make_unique<Writer>(path);
}

}  // namespace zuvdr::tools
