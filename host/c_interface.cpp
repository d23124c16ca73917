// The host of this process for C.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "ZuVDRHost.h"
#include "ZuVDRHost.hpp"

namespace {

using zuvdr::Host;
using zuvdr::HostOptions;
using zuvdr::Notice;
using zuvdr::Source;

std::unique_ptr<Host> the_host;

struct CareBit {
  std::uint32_t bit;
  bool HostOptions::*option;
};
constexpr std::array kCareBits{CareBit{ZUVDR_CARE_TIME_STAMPS, &HostOptions::time_stamps},
                               CareBit{ZUVDR_CARE_EVENT_ORDER, &HostOptions::event_order},
                               CareBit{ZUVDR_CARE_SAMPLE_RATE, &HostOptions::sample_rate},
                               CareBit{ZUVDR_CARE_CALL_ORDER, &HostOptions::call_order},
                               CareBit{ZUVDR_CARE_OUTAGES, &HostOptions::outages},
                               CareBit{ZUVDR_CARE_EVERYWHERE, &HostOptions::everywhere},
                               CareBit{ZUVDR_CARE_MOUNTING_YAW, &HostOptions::mounting_yaw},
                               CareBit{ZUVDR_CARE_GAPS, &HostOptions::gaps},
                               CareBit{ZUVDR_CARE_PRIME, &HostOptions::prime},
                               CareBit{ZUVDR_CARE_CALM, &HostOptions::calm},
                               CareBit{ZUVDR_CARE_MADE_UP_REST, &HostOptions::made_up_rest},
                               CareBit{ZUVDR_CARE_WALKERS, &HostOptions::walkers},
                               CareBit{ZUVDR_CARE_BAD_FIXES, &HostOptions::bad_fixes},
                               CareBit{ZUVDR_CARE_FIX_CLOCK, &HostOptions::fix_clock}};
static_assert(kCareBits.size() == zuvdr::kCares.size());
static_assert(ZUVDR_ALL_CARES == (1 << zuvdr::kCares.size()) - 1);

static_assert(static_cast<int>(Source::kRawFix) == ZUVDR_SOURCE_RAW_FIX);
static_assert(static_cast<int>(Source::kCorrected) == ZUVDR_SOURCE_CORRECTED);
static_assert(static_cast<int>(Source::kDeadReckoned) == ZUVDR_SOURCE_DEAD_RECKONED);
static_assert(static_cast<int>(Source::kWalker) == ZUVDR_SOURCE_WALKER);
static_assert(static_cast<int>(Notice::kEventDropped) == ZUVDR_NOTICE_EVENT_DROPPED);
static_assert(static_cast<int>(Notice::kFixDropped) == ZUVDR_NOTICE_FIX_DROPPED);
static_assert(static_cast<int>(Notice::kFixRefused) == ZUVDR_NOTICE_FIX_REFUSED);
static_assert(static_cast<int>(Notice::kGapFilled) == ZUVDR_NOTICE_GAP_FILLED);
static_assert(static_cast<int>(Notice::kReset) == ZUVDR_NOTICE_RESET);
static_assert(static_cast<int>(Notice::kMountingYaw) == ZUVDR_NOTICE_MOUNTING_YAW);
static_assert(static_cast<int>(Notice::kFixClock) == ZUVDR_NOTICE_FIX_CLOCK);
static_assert(static_cast<int>(Notice::kMadeUpRest) == ZUVDR_NOTICE_MADE_UP_REST);

HostOptions options_of(const ZuVDRHostOptions* given) {
  HostOptions options;
  if (given == nullptr) return options;
  for (const CareBit& care : kCareBits) options.*care.option = (given->cares & care.bit) != 0;
  if (given->fix_clock_known != 0) options.fix_clock_offset = given->fix_clock_offset;
  return options;
}

ZuVDRHostPosition told(const zuvdr::HostPosition& position) {
  return {.time_ns = position.time_ns,
          .latitude = position.latitude,
          .longitude = position.longitude,
          .altitude = position.altitude,
          .speed = position.speed,
          .bearing = position.bearing,
          .accuracy = position.accuracy,
          .fix_age = position.fix_age,
          .source = static_cast<std::int32_t>(position.source),
          .reserved = 0};
}

// What an exception out of memory, or out of a function of the caller's, is to a C program.
template <typename Work>
int done(const Work& work) noexcept {
  try {
    return work() ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

template <typename Work>
int with_host(const void* argument, const Work& work) noexcept {
  if (!the_host || argument == nullptr) return 0;
  return done([&work] {
    work(*the_host);
    return true;
  });
}

}  // namespace

int ZuVDRHostStart(const ZuVDRHostOptions* options, ZuVDRAnswerFunction answer,
                   ZuVDRNoticeFunction notice, void* user) {
  the_host.reset();
  return done([&] {
    std::function<void(const zuvdr::HostAnswer&)> on_answer;
    if (answer != nullptr) {
      on_answer = [answer, user](const zuvdr::HostAnswer& from) {
        const ZuVDRHostAnswer to = {.fix = from.fix,
                                    .sample = from.sample,
                                    .refused = from.refused ? 1 : 0,
                                    .status = from.status,
                                    .position_was_set = from.position_was_set ? 1 : 0,
                                    .walker_started = from.walker_started ? 1 : 0,
                                    .reserved = 0,
                                    .position = told(from.position)};
        answer(&to, user);
      };
    }
    std::function<void(Notice, double)> on_notice;
    if (notice != nullptr) {
      on_notice = [notice, user](Notice what, double value) {
        notice(static_cast<int>(what), value, user);
      };
    }
    the_host =
        std::make_unique<Host>(options_of(options), std::move(on_answer), std::move(on_notice));
    return true;
  });
}

int ZuVDRHostSensor(const SensorData* event) {
  return with_host(event, [event](Host& host) { host.sensor(*event); });
}

int ZuVDRHostFix(const ZuVDRPhoneFix* fix) {
  return with_host(fix, [fix](Host& host) {
    host.fix(zuvdr::PhoneFix{.time_ns = fix->time_ns,
                             .latitude = fix->latitude,
                             .longitude = fix->longitude,
                             .altitude = fix->altitude,
                             .horizontal_accuracy = fix->horizontal_accuracy,
                             .vertical_accuracy = fix->vertical_accuracy,
                             .speed = fix->speed,
                             .speed_accuracy = fix->speed_accuracy,
                             .bearing = fix->bearing,
                             .bearing_accuracy = fix->bearing_accuracy});
  });
}

int ZuVDRHostGpsFix(const GpsData* fix, int sample) {
  return with_host(fix, [fix, sample](Host& host) { host.fix(*fix, sample); });
}

int ZuVDRHostFlush(void) {
  return with_host(&the_host, [](Host& host) { host.flush(); });
}

int ZuVDRHostPositionAt(int64_t time_ns, ZuVDRHostPosition* position) {
  if (!the_host || position == nullptr) return 0;
  return done([=] {
    const auto at = the_host->position(time_ns);
    if (at) *position = told(*at);
    return at.has_value();
  });
}

int ZuVDRHostCountsNow(ZuVDRHostCounts* counts) {
  return with_host(counts, [counts](const Host& host) {
    const zuvdr::HostCounts& now = host.counts();
    *counts = {.events_dropped = now.events_dropped,
               .fixes_dropped = now.fixes_dropped,
               .fixes_refused = now.fixes_refused,
               .outage_rows = now.outage_rows,
               .gaps_filled = now.gaps_filled,
               .resets = now.resets,
               .restarts = now.restarts,
               .epochs_processed = host.epochs_processed(),
               .epochs_waiting = host.epochs_waiting(),
               .mounting_yaw = now.mounting_yaw,
               .mounting_yaw_sigma = now.mounting_yaw_sigma,
               .fix_clock_offset = now.fix_clock_offset};
  });
}

void ZuVDRHostStop(void) {
  the_host.reset();
}
