// The zuvdr program.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <span>
#include <sstream>
#include <string>
#include <system_error>

#include "ZuVDR.h"
#include "tools/cli/command_line.h"
#include "tools/cli/commands.h"
#include "tools/cli/messages.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/output_file.h"

namespace {

using zuvdr::tools::kBadInput;
using zuvdr::tools::kDone;
using zuvdr::tools::kFailure;

std::string version() {
  AlgoVersion engine{};
  GetAlgoVersion(&engine);
  return fmt::format("zuvdr with engine {}.{}.{}", engine.major, engine.minor, engine.patch);
}

// A standard stream that is closed would give its number to the next file opened. Its stand-in
// refuses to be used.
void occupy_closed_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
}

int fail(int status, const std::string& message) {
  std::fflush(stdout);
  zuvdr::tools::print_message(message);
  return status;
}

int run(int argc, char** argv) {
  CLI::App app(
      "Replays, simulates, checks, converts and draws trips of the positioning engine, and counts "
      "steps.",
      "zuvdr");
  zuvdr::tools::set_help_format(app);
  app.set_version_flag("--version", version());
  app.require_subcommand(1);
  zuvdr::tools::add_replay_command(app);
  zuvdr::tools::add_simulate_command(app);
  zuvdr::tools::add_steps_command(app);
  zuvdr::tools::add_plot_command(app);
  zuvdr::tools::add_check_command(app);
  zuvdr::tools::add_assess_command(app);
  zuvdr::tools::add_convert_command(app);
  // After the commands: they would inherit it.
  app.footer(
      R"(Exit status: 0 done; 1 wrong usage, or something could not be written or drawn; 2 an input could
not be read, has a malformed row or no rows; 3 zuvdr check found what breaks a solution.

Example:
  zuvdr replay drive.csv.gz --out drive.csv
Each command has its own --help.)");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    std::ostringstream answer;
    app.exit(request, answer, answer);
    fmt::print("{}", answer.str());
  } catch (const CLI::RuntimeError& status) {
    return status.get_exit_code();
  } catch (const CLI::Error& error) {
    const std::span<char* const> arguments(argv, static_cast<std::size_t>(argc));
    return fail(kFailure, zuvdr::tools::complaint(app, arguments.subspan(1), error));
  } catch (const zuvdr::tools::InputError& error) {
    return fail(kBadInput, error.what());
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  occupy_closed_streams();
  try {
    const int status = run(argc, argv);
    if (status == kDone) zuvdr::tools::flush_standard_output();
    return status;
  } catch (const std::system_error& error) {
    // What fmt::print throws does not name the stream.
    const char* const stream = std::ferror(stdout) != 0 ? "standard output: " : "";
    return fail(kFailure, fmt::format("{}{}", stream, error.what()));
  } catch (const std::exception& error) {
    return fail(kFailure, error.what());
  }
}
