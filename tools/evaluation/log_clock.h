// The time that the rows of a log agree on, whatever a few wild stamps say.
#pragma once

#include <cstdint>
#include <optional>

namespace zuvdr::tools {

inline constexpr double kLongestSilence = 5.0;  // s; rows further apart need a third to agree

// A stamp within kLongestSilence of the latest is in line with it. Any other one is held until the
// next shows what it was: when that one is later still, or another close to it, time has jumped,
// and the held stamp was right; else the held one was wild.
class LogClock {
 public:
  struct Verdict {
    bool in_line;         // else this stamp is held
    bool released;        // the stamp held before was right
    bool dropped;         // the stamp held before was wild
    bool start_was_wild;  // so was the only stamp before the one released
  };
  Verdict add(std::int64_t time_ns);

  // Latest stamp in line with the ones before; none before the first row.
  std::optional<std::int64_t> now() const { return now_; }
  std::optional<std::int64_t> held() const { return held_; }

  // Over all stretches of three or more stamps in line, else over all stamps in line.
  std::int64_t first() const { return first_; }
  std::int64_t last() const { return last_; }

 private:
  void begin_stretch(std::int64_t time_ns);
  void extend_stretch(std::int64_t time_ns);

  std::optional<std::int64_t> now_;
  std::optional<std::int64_t> held_;
  std::int64_t stretch_begin_ = 0;
  int advances_ = 0;     // of the stretch
  bool proven_ = false;  // a stretch of three stamps has been met
  std::int64_t first_ = 0;
  std::int64_t last_ = 0;
};

}  // namespace zuvdr::tools
