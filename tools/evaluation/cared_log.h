// What the careful host makes of a log for the engine, as a log.
#pragma once

#include <cstdint>
#include <vector>

#include "ZuVDRHost.hpp"
#include "tools/logs/event_row.h"

namespace zuvdr::tools {

// Samples and fixes as the engine got them last: what the host gave anew is there once. Truth and
// steps stay.
class CaredLog {
 public:
  CaredLog();
  void add(const EventRow& row);
  std::vector<EventRow> finish();  // in the order of time

 private:
  std::vector<EventRow> given_;
  std::vector<EventRow> references_;
  Host host_;
};

}  // namespace zuvdr::tools
