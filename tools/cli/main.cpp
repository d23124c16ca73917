// The zuvdr program.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "ZuVDR.h"
#include "tools/cli/commands.h"
#include "tools/logs/event_log.h"

namespace {

constexpr int kFailure = 1;
constexpr int kBadLog = 2;

std::string version() {
  AlgoVersion engine{};
  GetAlgoVersion(&engine);
  return fmt::format("zuvdr with engine {}.{}.{}", engine.major, engine.minor, engine.patch);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Replays, simulates and draws trips of the positioning engine.", "zuvdr");
  app.set_version_flag("--version", version());
  app.require_subcommand(1);
  zuvdr::tools::add_replay_command(app);
  zuvdr::tools::add_simulate_command(app);
  zuvdr::tools::add_steps_command(app);
  zuvdr::tools::add_plot_command(app);
  // After the commands: they would inherit it.
  app.footer(
      "Exit status: 0 done; 1 wrong usage, or something could not be written or drawn; 2 an event\n"
      "log could not be opened or has a malformed row.\n"
      "\n"
      "Example:\n"
      "  zuvdr replay drive.csv.gz --out drive.csv\n"
      "Each command has its own --help.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kFailure;
  } catch (const zuvdr::tools::EventLogError& error) {
    fmt::print(stderr, "zuvdr: {}\n", error.what());
    return kBadLog;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zuvdr: {}\n", error.what());
    return kFailure;
  }
  return 0;
}
