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

  // To be called as often as there is progress, 0 to 1: draws a few times a second, from the second
  // second on. NaN shows nothing.
  void show(double part);

 private:
  using Clock = std::chrono::steady_clock;

  bool terminal_;
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace zuvdr::tools
