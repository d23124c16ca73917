// What a careful host is to do for the engine, as commands take it.
#pragma once

#include <string>

#include "ZuVDRHost.hpp"

namespace CLI {
class App;
}

namespace zuvdr::tools {

// --bare, --without CARE and --fix-clock-offset SECONDS. `options` must outlive the command.
void add_care_options(CLI::App& command, HostOptions& options);

// For the help, a line each.
std::string list_of_cares();

}  // namespace zuvdr::tools
