// What the program says on standard error.
#pragma once

#include <string>

namespace zuvdr::tools {

// One line, "zuvdr: TEXT". A standard error that cannot be written to is no reason to stop.
void print_message(const std::string& text);

}  // namespace zuvdr::tools
