#include "tools/logs/create_log.h"

#include "tools/logs/event_log.h"
#include "tools/logs/gnss_logger.h"
#include "tools/logs/sensor_logger.h"

namespace zuvdr::tools {

LogFormat format_of_name(const std::string& path) {
  if (path.ends_with(".zip")) return LogFormat::kSensorLogger;
  if (path.ends_with(".txt") || path.ends_with(".txt.gz")) return LogFormat::kGnssLogger;
  return LogFormat::kEventLog;
}

std::unique_ptr<LogWriter> create_log(const std::string& path, LogFormat format) {
  switch (format) {
    case LogFormat::kGnssLogger:
      return create_gnss_logger(path);
    case LogFormat::kSensorLogger:
      return create_sensor_logger_zip(path);
    case LogFormat::kEventLog:
      break;
  }
  return std::make_unique<EventLogWriter>(path);
}

}  // namespace zuvdr::tools
