// trace LOG > rows.csv
// Drives the library with an event log and writes what tests/host/trace_rows.h says: what the
// golden tracks, scripts/compare-reference, scripts/compare-compilers and scripts/compare-walkers
// compare.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <string>

#include "tests/host/trace_rows.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: trace LOG\n", stderr);
    return 2;
  }
  try {
    zuvdr::tests::trace_rows(argv[1], [](const std::string& line) { fmt::print("{}\n", line); });
  } catch (const std::exception& error) {
    fmt::print(stderr, "trace: {}\n", error.what());
    return 1;
  }
  return 0;
}
