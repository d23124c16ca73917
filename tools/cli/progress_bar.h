// A bar on standard error for work that takes long; nothing when standard error is no terminal.
#pragma once

#include <chrono>
#include <string>

namespace zuvdr::tools {

// "[####....]  50 %" of a part done, 0 to 1.
std::string bar_text(double part);

class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();  // wipes the bar
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // True a few times a second, from the second second on: then show should be called.
  bool due();
  void show(double part);  // 0 to 1; NaN shows nothing

 private:
  using Clock = std::chrono::steady_clock;

  bool terminal_;
  bool shown_ = false;
  int calls_ = 0;
  Clock::time_point next_;
};

}  // namespace zuvdr::tools
