#include "tools/logs/open_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/logs/event_log.h"
#include "tools/logs/gnss_logger.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/recording.h"
#include "tools/logs/sensor_logger.h"
#include "tools/logs/text_fields.h"

namespace zuvdr::tools {
namespace {

enum class Format { kEventLog, kGnssLogger, kUnknown, kOnlyComments };

bool is_event_log_row(std::string_view line) {
  constexpr std::string_view kKinds = "SGTP";
  return line.size() > 1 && kKinds.find(line[0]) != std::string_view::npos && line[1] == ',';
}

// By the first line that tells.
Format recognise(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  Format format = Format::kOnlyComments;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trim(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (is_gnss_logger_line(line)) return Format::kGnssLogger;
    if (is_event_log_row(line)) return Format::kEventLog;
    if (!line.empty() && line.front() != '#') format = Format::kUnknown;
  }
  return format;
}

// Of a pipe no more is awaited than tells.
Format recognise(LineReader& lines) {
  Format format = Format::kOnlyComments;
  while ((format = recognise(lines.peek())) > Format::kGnssLogger && lines.peek_more()) {
  }
  return format;
}

}  // namespace

std::unique_ptr<LogReader> open_log(const std::string& path, bool lenient) {
  std::error_code unknown;
  if (path != "-" && std::filesystem::is_directory(path, unknown)) {
    return std::make_unique<RecordingReader>(read_sensor_logger_folder(path));
  }
  auto lines = std::make_unique<LineReader>(path);
  if (is_zip_archive(lines->raw_begin())) {
    return std::make_unique<RecordingReader>(read_sensor_logger_zip(path, *lines));
  }
  switch (recognise(*lines)) {
    case Format::kEventLog:
    case Format::kOnlyComments:
      return std::make_unique<EventLogReader>(std::move(lines), lenient);
    case Format::kGnssLogger:
      return std::make_unique<RecordingReader>(read_gnss_logger(*lines));
    case Format::kUnknown:
      break;
  }
  throw InputError(
      fmt::format("{}: none of the formats known: event log, text of the Android GNSS logger, "
                  "recording of Sensor Logger (zip or folder)",
                  lines->name()));
}

}  // namespace zuvdr::tools
