// Recordings of the phone app Sensor Logger: CSV files in a zip archive or a folder.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/logs/line_reader.h"
#include "tools/logs/log_writer.h"
#include "tools/logs/recording.h"

namespace zuvdr::tools {

// By how the file begins.
bool is_zip_archive(std::string_view begin);

// Both throw InputError also when the recording lacks acceleration or rate of rotation. Without any
// file of such a recording what they return has no rows and a `broke` that says so.
Recording read_sensor_logger_folder(const std::string& path);
// The archive of this path, nothing of which has been read yet.
Recording read_sensor_logger_zip(const std::string& path, LineReader& file);

// A zip archive as an Android phone makes it; all rows are in memory until it is closed.
std::unique_ptr<LogWriter> create_sensor_logger_zip(const std::string& path);

}  // namespace zuvdr::tools
