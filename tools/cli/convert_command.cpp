#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/cli/commands.h"
#include "tools/cli/log_output.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/skipped_rows.h"
#include "tools/evaluation/cared_log.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/open_log.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

struct Options {
  std::string log;
  LogOutput out;
  bool lenient = false;
  bool cared = false;
};

void run(const Options& options) {
  check_outputs({{options.log}}, {{options.out.path}});
  const auto reader = open_log(options.log, options.lenient);
  const auto writer = options.out.create();
  std::optional<CaredLog> cared;
  if (options.cared) cared.emplace();
  const auto close = [&] {
    if (cared) {
      for (const EventRow& row : cared->finish()) writer->write(row);
    }
    writer->close();
  };
  bool anything = false;
  try {
    ProgressBar bar;
    for (EventRow row; reader->next(row);) {
      anything = true;
      if (cared) {
        cared->add(row);
      } else {
        writer->write(row);
      }
      bar.show(reader->progress());
    }
  } catch (const InputError&) {
    if (anything) close();  // what the log gave up to here is kept
    print_skipped(*reader);
    throw;
  }
  close();
  print_skipped(*reader);
  print_left_out(*writer);
}

}  // namespace

void add_convert_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand("convert", "Write a log in another format");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("LOG", options->log,
                   "Text of the Android GNSS logger, recording of Sensor Logger (zip or folder) or "
                   "event log; - for standard input")
      ->required();
  add_log_output(*command, "--out,-o", options->out);
  command->add_flag("--lenient", options->lenient,
                    "Skip malformed rows of an event log; those of recordings always are skipped");
  command->add_flag("--cared", options->cared,
                    "Write what the careful host gives the engine instead of what it got; held in "
                    "memory");
  command->footer(
      std::string(
          R"(Rows of a recording are written in order of time. What was left out of it, by kind with the first
line of each, goes to standard error, and so does what the format written cannot hold.
docs/recordings.md tells what is read from which format, and written.

)") + kFormatsHelp +
      R"(
Exit status: 0 done; 1 wrong usage, or the log could not be written; 2 the input could not be read,
is of no known format or has no rows. The log then holds the rows before.

Examples:
  zuvdr convert 2024-02-11_15-02-01.zip --out drive.csv.gz
  zuvdr convert drive.csv.gz --out drive.txt
  zuvdr convert drive.csv.gz --cared --out cared.csv)");
  command->callback([options] { run(*options); });
}

}  // namespace zuvdr::tools
