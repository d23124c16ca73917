/*
 * The careful host of ZuVDRHost.hpp for C. Valid C11 and C++.
 *
 *   ZuVDRHostStart(NULL, NULL, NULL, NULL);     once; Resets the engine
 *   ZuVDRHostSensor(&event);                    every event, as it comes
 *   ZuVDRHostFix(&fix);                         every fix, as it comes
 *   ZuVDRHostPositionAt(now, &position);        at any time up to now
 *
 * One host lives in the process, as the engine does; calls are serialised by the caller. Functions
 * return 1, or 0 when they have done nothing: without a started host, for a null pointer, when
 * memory is out. Times are nanoseconds of one clock; what is not known is NaN.
 */
#ifndef ZUVDR_HOST_H
#define ZUVDR_HOST_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include "ZuVDR.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The kinds of care, as bits; what each does: HostOptions in ZuVDRHost.hpp. */
enum {
  ZUVDR_CARE_TIME_STAMPS = 1 << 0,   /* drops what is not finite or does not advance */
  ZUVDR_CARE_EVENT_ORDER = 1 << 1,   /* sorts events that come late */
  ZUVDR_CARE_SAMPLE_RATE = 1 << 2,   /* any sensor rate to 25 Hz */
  ZUVDR_CARE_CALL_ORDER = 1 << 3,    /* a position at the time of its fix */
  ZUVDR_CARE_OUTAGES = 1 << 4,       /* keeps going while fixes stay away */
  ZUVDR_CARE_EVERYWHERE = 1 << 5,    /* west, south, equator, date line */
  ZUVDR_CARE_MOUNTING_YAW = 1 << 6,  /* finds how the phone is turned in the car */
  ZUVDR_CARE_GAPS = 1 << 7,          /* fills gaps of the sensors */
  ZUVDR_CARE_PRIME = 1 << 8,         /* vehicle mode from the first good fix */
  ZUVDR_CARE_CALM = 1 << 9,          /* an idling engine's shaking taken out */
  ZUVDR_CARE_MADE_UP_REST = 1 << 10, /* a standstill for trips that had none */
  ZUVDR_CARE_WALKERS = 1 << 11,      /* a walker goes on without fixes */
  ZUVDR_CARE_BAD_FIXES = 1 << 12,    /* refuses fixes that jump */
  ZUVDR_CARE_FIX_CLOCK = 1 << 13,    /* finds the offset of the clock of the fixes */
  ZUVDR_ALL_CARES = (1 << 14) - 1
};

typedef struct ZuVDRHostOptions {
  uint32_t cares;           /* the sum of ZUVDR_CARE_ bits; with 0 the engine's plain calls */
  uint32_t fix_clock_known; /* not 0: the offset below stands instead of what the host finds */
  double fix_clock_offset;  /* s, taken off the stamps of fixes */
} ZuVDRHostOptions;

/*
 * A fix as a phone knows it. An accuracy that is not above 0 is unknown, and so is a bearing where
 * its accuracy is: of a fix of zeros, time and what is known need to be set. Accuracies are those
 * of 68 %: of a radius for the horizontal one, 1 sigma for the others.
 */
typedef struct ZuVDRPhoneFix {
  int64_t time_ns;            /* on the clock of the sensor events */
  double latitude;            /* degrees */
  double longitude;           /* degrees */
  double altitude;            /* m */
  double horizontal_accuracy; /* m */
  double vertical_accuracy;   /* m */
  double speed;               /* over ground, m/s */
  double speed_accuracy;      /* m/s */
  double bearing;             /* degrees clockwise from north */
  double bearing_accuracy;    /* degrees */
} ZuVDRPhoneFix;

enum {
  ZUVDR_SOURCE_RAW_FIX = 0,
  ZUVDR_SOURCE_CORRECTED = 1,
  ZUVDR_SOURCE_DEAD_RECKONED = 2,
  ZUVDR_SOURCE_WALKER = 3
};

typedef struct ZuVDRHostPosition {
  int64_t time_ns;
  double latitude;  /* degrees */
  double longitude; /* degrees */
  double altitude;  /* m, of the last fix */
  double speed;     /* m/s */
  double bearing;   /* degrees clockwise from north, 0 to 360 */
  double accuracy;  /* m, radius of 68 % */
  double fix_age;   /* s since the last good fix */
  int32_t source;   /* one of ZUVDR_SOURCE_ */
  int32_t reserved;
} ZuVDRHostPosition;

/* What the engine made of a fix, or of a second without one. */
typedef struct ZuVDRHostAnswer {
  GpsData fix;              /* as the host got it, or as it made it for an outage */
  int32_t sample;           /* 0 for a fix, else for a row without one */
  int32_t refused;          /* 1 or 0, as those below */
  int32_t status;           /* of UpdateLocationbyGPSEvent */
  int32_t position_was_set; /* the navigator had its position before this fix */
  int32_t walker_started;   /* likewise, a walker was on his way */
  int32_t reserved;
  ZuVDRHostPosition position; /* of a vehicle at the last epoch processed, else of the fix */
} ZuVDRHostAnswer;

/* What a host tells, with a value. */
enum {
  ZUVDR_NOTICE_EVENT_DROPPED = 0,
  ZUVDR_NOTICE_FIX_DROPPED = 1,  /* not finite, or its time does not advance */
  ZUVDR_NOTICE_FIX_REFUSED = 2,  /* m from where it could be */
  ZUVDR_NOTICE_GAP_FILLED = 3,   /* s */
  ZUVDR_NOTICE_RESET = 4,        /* of the engine */
  ZUVDR_NOTICE_MOUNTING_YAW = 5, /* degrees clockwise from the phone's forward to the vehicle's */
  ZUVDR_NOTICE_FIX_CLOCK = 6,    /* s */
  ZUVDR_NOTICE_MADE_UP_REST = 7
};

/* What a host did for the engine since its start. */
typedef struct ZuVDRHostCounts {
  int64_t events_dropped;
  int64_t fixes_dropped;
  int64_t fixes_refused;
  int64_t outage_rows;
  int64_t gaps_filled;
  int64_t resets;   /* after which nothing of before is known; but for the one at the start */
  int64_t restarts; /* the trip so far given to the engine again */
  int64_t epochs_processed;  /* those of a trip given again count once */
  int64_t epochs_waiting;    /* for a later fix */
  double mounting_yaw;       /* degrees, as in the notice */
  double mounting_yaw_sigma; /* degrees */
  double fix_clock_offset;   /* s */
} ZuVDRHostCounts;

/* `user` is what ZuVDRHostStart was given. Neither function may call the host. */
typedef void (*ZuVDRAnswerFunction)(const ZuVDRHostAnswer* answer, void* user);
typedef void (*ZuVDRNoticeFunction)(int notice, double value, void* user);

/*
 * Resets the engine and starts a host; one that runs ends. Null options: all cares; null functions:
 * none. The answer to a fix comes in the call that hands it over or in one of those that follow.
 */
ZUVDR_EXPORT int ZuVDRHostStart(const ZuVDRHostOptions* options, ZuVDRAnswerFunction answer,
                                ZuVDRNoticeFunction notice, void* user);

ZUVDR_EXPORT int ZuVDRHostSensor(const SensorData* event);
ZUVDR_EXPORT int ZuVDRHostFix(const ZuVDRPhoneFix* fix);

/* For hosts that know velocities; `sample` as UpdateLocationbyGPSEvent takes it. */
ZUVDR_EXPORT int ZuVDRHostGpsFix(const GpsData* fix, int sample);

/* The fix that still waits for its epochs is answered without them. */
ZUVDR_EXPORT int ZuVDRHostFlush(void);

/*
 * Carried from the last position with its velocity, for a minute; behind that it stands, and its
 * accuracy grows by the way it may have gone. 0 before the first fix, and for times before the
 * oldest of the last few answers; the position is left alone then.
 */
ZUVDR_EXPORT int ZuVDRHostPositionAt(int64_t time_ns, ZuVDRHostPosition* position);

ZUVDR_EXPORT int ZuVDRHostCountsNow(ZuVDRHostCounts* counts);

/* Nothing is answered or told any more. The engine stays as it is. */
ZUVDR_EXPORT void ZuVDRHostStop(void);

#ifdef __cplusplus
}
#endif

/* Programs are built apart from the library: the layouts may not move. */
static_assert(sizeof(ZuVDRHostOptions) == 16, "ZuVDRHostOptions");
static_assert(offsetof(ZuVDRHostOptions, fix_clock_offset) == 8, "ZuVDRHostOptions");
static_assert(sizeof(ZuVDRPhoneFix) == 80, "ZuVDRPhoneFix");
static_assert(offsetof(ZuVDRPhoneFix, horizontal_accuracy) == 32, "ZuVDRPhoneFix");
static_assert(offsetof(ZuVDRPhoneFix, bearing_accuracy) == 72, "ZuVDRPhoneFix");
static_assert(sizeof(ZuVDRHostPosition) == 72, "ZuVDRHostPosition");
static_assert(offsetof(ZuVDRHostPosition, fix_age) == 56, "ZuVDRHostPosition");
static_assert(offsetof(ZuVDRHostPosition, source) == 64, "ZuVDRHostPosition");
static_assert(sizeof(ZuVDRHostAnswer) == 200, "ZuVDRHostAnswer");
static_assert(offsetof(ZuVDRHostAnswer, sample) == 104, "ZuVDRHostAnswer");
static_assert(offsetof(ZuVDRHostAnswer, position) == 128, "ZuVDRHostAnswer");
static_assert(sizeof(ZuVDRHostCounts) == 96, "ZuVDRHostCounts");
static_assert(offsetof(ZuVDRHostCounts, mounting_yaw) == 72, "ZuVDRHostCounts");

#endif /* ZUVDR_HOST_H */
