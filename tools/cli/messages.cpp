#include "tools/cli/messages.h"

#include <cstdio>

namespace zuvdr::tools {

void print_message(const std::string& text) {
  std::fputs(("zuvdr: " + text + '\n').c_str(), stderr);
}

}  // namespace zuvdr::tools
