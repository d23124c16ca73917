// The subcommands of the zuvdr program. Each function adds one to the command line; the command
// runs as CLI11 parses it and reports failure by throwing.
#pragma once

namespace CLI {
class App;
}

namespace zuvdr::tools {

void add_check_command(CLI::App& app);     // check_command.cpp
void add_replay_command(CLI::App& app);    // replay_command.cpp
void add_simulate_command(CLI::App& app);  // simulate_command.cpp
void add_steps_command(CLI::App& app);     // steps_command.cpp
void add_plot_command(CLI::App& app);      // plot_command.cpp

}  // namespace zuvdr::tools
