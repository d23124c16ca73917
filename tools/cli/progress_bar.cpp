#include "tools/cli/progress_bar.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zuvdr::tools {
namespace {

constexpr int kWidth = 40;  // characters

}  // namespace

std::string bar_text(double part) {
  const double bounded = std::clamp(part, 0.0, 1.0);
  const int filled = static_cast<int>(bounded * kWidth);
  return fmt::format("[{:#<{}}{:.<{}}] {:3.0f} %", "", filled, "", kWidth - filled,
                     100.0 * bounded);
}

ProgressBar::ProgressBar()
    : terminal_(isatty(STDERR_FILENO) == 1), next_(Clock::now() + std::chrono::seconds(1)) {}

ProgressBar::~ProgressBar() {
  if (shown_) std::fputs("\r\x1B[K", stderr);
}

void ProgressBar::show(double part) {
  if (!terminal_ || std::isnan(part)) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  std::fputs(("\r" + bar_text(part)).c_str(), stderr);
  std::fflush(stderr);
  shown_ = true;
}

}  // namespace zuvdr::tools
