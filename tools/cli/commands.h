// The subcommands of the zuvdr program. Each function adds one to the command line; the command
// runs as CLI11 parses it and reports failure by throwing.
#pragma once

namespace CLI {
class App;
}

namespace zuvdr::tools {

// Exit status.
inline constexpr int kDone = 0;
inline constexpr int kFailure = 1;   // wrong usage, or something could not be written or drawn
inline constexpr int kBadInput = 2;  // could not be read, has a malformed row or no rows
inline constexpr int kBreaksSolution = 3;  // zuvdr check only

void add_assess_command(CLI::App& app);    // assess_command.cpp
void add_check_command(CLI::App& app);     // check_command.cpp
void add_convert_command(CLI::App& app);   // convert_command.cpp
void add_replay_command(CLI::App& app);    // replay_command.cpp
void add_simulate_command(CLI::App& app);  // simulate_command.cpp
void add_steps_command(CLI::App& app);     // steps_command.cpp
void add_plot_command(CLI::App& app);      // plot_command.cpp

}  // namespace zuvdr::tools
