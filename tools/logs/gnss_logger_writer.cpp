#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "tools/logs/gnss_logger.h"
#include "tools/logs/recording_writer.h"
#include "tools/logs/text_file.h"

namespace zuvdr::tools {
namespace {

constexpr std::int64_t kMillisecond = 1'000'000;  // ns

struct SensorKind {
  std::int32_t type;
  const char* name;
  std::size_t values;
  const char* columns;
};
constexpr SensorKind kSensorKinds[] = {
    {ZUVDR_SENSOR_ACCELEROMETER, "UncalAccel", 6,
     "UncalAccelXMps2,UncalAccelYMps2,UncalAccelZMps2,BiasXMps2,BiasYMps2,BiasZMps2"},
    {ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, "UncalGyro", 6,
     "UncalGyroXRadPerSec,UncalGyroYRadPerSec,UncalGyroZRadPerSec,"
     "DriftXRadPerSec,DriftYRadPerSec,DriftZRadPerSec"},
    {ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED, "UncalMag", 6,
     "UncalMagXMicroT,UncalMagYMicroT,UncalMagZMicroT,BiasXMicroT,BiasYMicroT,BiasZMicroT"},
    {ZUVDR_SENSOR_PRESSURE, "Pressure", 1, "PressureHpa"}};

class Writer final : public RecordingWriter {
 public:
  explicit Writer(const std::string& path) : file_(path) {
    comment("Version: v3.0.6.4 Platform: none Manufacturer: ZuVDR Model: zuvdr");
    for (const SensorKind& kind : kSensorKinds) {
      comment(fmt::format("{},utcTimeMillis,elapsedRealtimeNanos,{}", kind.name, kind.columns));
    }
    comment(
        "Fix,Provider,LatitudeDegrees,LongitudeDegrees,AltitudeMeters,SpeedMps,AccuracyMeters,"
        "BearingDegrees,UnixTimeMillis,SpeedAccuracyMps,BearingAccuracyDegrees,"
        "elapsedRealtimeNanos,VerticalAccuracyMeters,MockLocation,NumberOfUsedSignals,"
        "VerticalSpeedAccuracyMps,SolutionType");
  }

  void comment(const std::string& text) override { file_.write(fmt::format("# {}\n", text)); }
  void close() override { file_.close(); }

 private:
  bool put(const SensorData& event) override {
    const auto* const kind = std::ranges::find(kSensorKinds, event.type, &SensorKind::type);
    if (kind == std::end(kSensorKinds)) return false;
    std::string row = fmt::format("{},{},{}", kind->name, utc_ns(event.timestamp) / kMillisecond,
                                  event.timestamp);
    for (std::size_t i = 0; i < kind->values; ++i) row += fmt::format(",{}", event.values[i]);
    file_.write(row += '\n');
    return true;
  }

  void put(const PhoneFix& fix) override {
    const auto text = number_or_empty;
    file_.write(fmt::format("Fix,GPS,{},{},{},{},{},{},{},{},{},{},{},0,,,\n", text(fix.latitude),
                            text(fix.longitude), text(fix.altitude), text(fix.speed),
                            text(fix.horizontal_accuracy), text(fix.bearing),
                            utc_ns(fix.time_ns) / kMillisecond, text(fix.speed_accuracy),
                            text(fix.bearing_accuracy), fix.time_ns, text(fix.vertical_accuracy)));
  }

  TextFile file_;
};

}  // namespace

std::unique_ptr<LogWriter> create_gnss_logger(const std::string& path) {
  return std::make_unique<Writer>(path);
}

}  // namespace zuvdr::tools
