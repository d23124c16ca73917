#include "tools/cli/log_output.h"

#include <CLI/CLI.hpp>
#include <map>

#include "tools/cli/messages.h"

namespace zuvdr::tools {
namespace {

const std::map<std::string, LogFormat> kFormats = {{"event-log", LogFormat::kEventLog},
                                                   {"gnss-logger", LogFormat::kGnssLogger},
                                                   {"sensor-logger", LogFormat::kSensorLogger}};

}  // namespace

const char* const kFormatsHelp =
    R"(Formats: event-log; gnss-logger, the text of the Android GNSS logger, for names in .txt and
.txt.gz; sensor-logger, the zip archive of the app Sensor Logger, for names in .zip. The last two
hold what a phone records: no T and P rows, no G rows with a sample other than 0, no sensors of
other types than 1, 16, 14 and 6. Their fixes have speed and bearing with accuracies instead of
velocities, one accuracy for east and north, and none for the up velocity.
)";

LogFormat LogOutput::log_format() const {
  return format.empty() ? format_of_name(path) : kFormats.at(format);
}

void add_log_output(CLI::App& command, const std::string& names, LogOutput& output) {
  command
      .add_option(names, output.path,
                  "the log; text as gzip when it ends in .gz, - for standard output")
      ->required()
      ->type_name("LOG");
  command
      .add_option(
          "--format", output.format,
          "event-log, gnss-logger or sensor-logger; by default what the name of the log says")
      ->check(CLI::IsMember(kFormats).description(""));
}

void print_left_out(const LogWriter& writer) {
  for (const std::string& line : writer.remarks()) print_message(line);
}

}  // namespace zuvdr::tools
