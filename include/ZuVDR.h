/*
 * ZuVDR: the interface a host program uses. Valid C11 and C++.
 *
 * One engine lives in the process; it is created when the library is loaded. Calling order:
 *
 *   Reset()                               once after load, and after any gap in the data
 *   UpdateLocationbySensorEvent(event)    for every sensor event, in time order
 *   SyncGPSEventforFusion(&fix)           for every fix, and then at once
 *   UpdateLocationbyGPSEvent(sample)
 *   GetLocation / GetCarFlag / GetPdrFlag / getAlgoLog   at any time after
 *
 * Gyroscope and accelerometer events are paired into epochs, and epochs wait inside the library for
 * a fix. The first pair that is completed after a fix was handed over and lies at or after its time
 * (an equal time suffices) releases them: all up to the first at or after the fix's time, provided
 * that its predecessor waits with it and lies before.
 * No function reports errors, checks pointers, takes locks or starts threads: a host serialises its
 * calls. Times are nanoseconds of one clock shared by sensor events and fixes.
 */
#ifndef ZUVDR_H
#define ZUVDR_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

/* The version of this header, in parts and as one number for #if: 3.0.10 is 30010. */
#define ZUVDR_VERSION_MAJOR 3
#define ZUVDR_VERSION_MINOR 0
#define ZUVDR_VERSION_PATCH 10
#define ZUVDR_VERSION \
  (ZUVDR_VERSION_MAJOR * 10000 + ZUVDR_VERSION_MINOR * 100 + ZUVDR_VERSION_PATCH)

/* Marks a declaration as part of the library's exported surface; everything else is hidden. */
#if defined(__GNUC__)
#define ZUVDR_EXPORT __attribute__((visibility("default")))
#else
#define ZUVDR_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Android sensor type numbers that the engine takes; events of any other type are dropped. */
enum {
  ZUVDR_SENSOR_ACCELEROMETER = 1,              /* m/s^2, gravity included */
  ZUVDR_SENSOR_PRESSURE = 6,                   /* hPa, in values[0] */
  ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED = 14, /* uT, entries 3 to 5: bias estimate */
  ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED = 16     /* rad/s, entries 3 to 5: drift estimate */
};

/* One raw sensor event. Axes are Android's: x right, y up along the screen, z out of it. */
typedef struct SensorData {
  int32_t type;      /* one of the sensor type numbers above */
  double values[6];  /* in the platform's order and units */
  int64_t timestamp; /* ns */
} SensorData;

/* One GNSS fix. Accuracies are 1 sigma; a value of 0 means "unknown" and fails the quality test. */
typedef struct GpsData {
  int64_t time_ns;       /* ns, on the clock of the sensor events */
  double latitude;       /* degrees */
  double longitude;      /* degrees */
  double altitude;       /* m */
  float speed;           /* over ground, m/s */
  float reserved_speed;  /* not read */
  float vel_acc_e;       /* accuracy of vel_e, m/s */
  float vel_acc_n;       /* accuracy of vel_n, m/s */
  float vel_acc_u;       /* accuracy of vel_u, m/s */
  float pos_acc_e;       /* accuracy of the position to the east, m */
  float pos_acc_n;       /* accuracy of the position to the north, m */
  float pos_acc_u;       /* accuracy of the height, m */
  float vel_e;           /* east velocity, m/s */
  float vel_n;           /* north velocity, m/s */
  float vel_u;           /* up velocity, m/s */
  float reserved_vel[3]; /* not read */
  float speed_acc;       /* accuracy of speed, m/s */
  float bearing;         /* course over ground, degrees clockwise from north, 0 to 360 */
  uint64_t aux;          /* kept with the record, not interpreted */
} GpsData;

/* The fused position. */
typedef struct Location {
  int64_t reserved; /* left as the caller set it */
  double latitude;  /* degrees */
  double longitude; /* degrees */
} Location;

typedef struct AlgoVersion {
  int32_t major;
  int32_t minor;
  int32_t patch;
} AlgoVersion;

/* Bits of the word that GetCarFlag returns. */
enum {
  ZUVDR_CAR_POSITION_SET = 1,       /* the vehicle navigator's position was set from a fix */
  ZUVDR_CAR_ATTITUDE_CONVERGED = 2, /* tilt known to better than 0.2 degrees */
  ZUVDR_CAR_ALIGNED = 4,            /* the vehicle navigator has been initialised */
  ZUVDR_CAR_VEHICLE_MODE = 8,       /* vehicle navigation enabled */
  ZUVDR_CAR_MOTION_RESET = 16       /* the last epoch's motion check restarted the navigator */
};

/*
 * Hands over one sensor event. The event is filed and paired; if it completes a pair that releases
 * epochs (see above), they are processed in this call. Returns 0 or 1; a host need not look at it:
 * 1 does not mean that an epoch was processed, it also comes while all waiting epochs lie more than
 * 40 ms after the fix.
 */
ZUVDR_EXPORT int UpdateLocationbySensorEvent(SensorData event);

/* Stores the fix and moves the engine's clock on. Returns its argument. */
ZUVDR_EXPORT const GpsData* SyncGPSEventforFusion(const GpsData* fix);

/*
 * Runs the GNSS epoch on the fix stored last. `sample` is 0 for a healthy fix and non-zero for an
 * epoch without one. Returns what the output position now is:
 *   0  the raw fix, or a vehicle solution not yet declared converged, or a restart: a filtered
 *      position outside longitudes 0 to 180 and latitudes 0 to 90 degrees clears both navigators
 *   1  corrected by GNSS: the converged vehicle solution, or the walker's
 *   2  the converged vehicle solution, dead-reckoned
 *   3  the vehicle solution, dead-reckoned, after 30 epochs in a row without a healthy fix
 */
ZUVDR_EXPORT int UpdateLocationbyGPSEvent(int sample);

/*
 * Writes latitude and longitude. A vehicle solution belongs to the last processed sensor epoch, up
 * to one fix interval before the fix; raw and walker positions belong to the fix.
 */
ZUVDR_EXPORT void GetLocation(Location* location);

/* The sum of the ZUVDR_CAR_ bits that hold. */
ZUVDR_EXPORT int GetCarFlag(void);

/*
 * 1 once the pedestrian filter has been initialised, until 60 s pass without a step, a position
 * leaves the quadrant served, or Reset. A restart of the walker by his speed leaves it at 1.
 */
ZUVDR_EXPORT int GetPdrFlag(void);

/*
 * 1 when no paired epoch waits for a fix, else 0. The name says the opposite of the test; hosts
 * rely on the test.
 */
ZUVDR_EXPORT int isSensorEventBufferFull(void);

/*
 * Returns the engine to its start state. The filters' delay lines and the rate of the last epoch,
 * which follow the sensors, are kept: a NaN that has reached them stays until the process ends. So
 * after a gap in the data call it before the first event that follows, not later.
 */
ZUVDR_EXPORT void Reset(void);

/* Writes the version of the library, which may be another than that of the host's header. */
ZUVDR_EXPORT void GetAlgoVersion(AlgoVersion* version);

/*
 * One line of diagnostic text, at most 179 characters. The buffer belongs to the library and is
 * overwritten by the next call.
 */
ZUVDR_EXPORT const char* getAlgoLog(void);

#ifdef __cplusplus
}
#endif

/* Hosts are built apart from the library: the layouts may not move. */
static_assert(sizeof(SensorData) == 64, "SensorData");
static_assert(offsetof(SensorData, values) == 8, "SensorData.values");
static_assert(offsetof(SensorData, timestamp) == 56, "SensorData.timestamp");
static_assert(sizeof(GpsData) == 104, "GpsData");
static_assert(offsetof(GpsData, speed) == 32, "GpsData.speed");
static_assert(offsetof(GpsData, vel_acc_e) == 40, "GpsData.vel_acc_e");
static_assert(offsetof(GpsData, pos_acc_e) == 52, "GpsData.pos_acc_e");
static_assert(offsetof(GpsData, vel_e) == 64, "GpsData.vel_e");
static_assert(offsetof(GpsData, speed_acc) == 88, "GpsData.speed_acc");
static_assert(offsetof(GpsData, bearing) == 92, "GpsData.bearing");
static_assert(offsetof(GpsData, aux) == 96, "GpsData.aux");
static_assert(sizeof(Location) == 24, "Location");
static_assert(offsetof(Location, latitude) == 8, "Location.latitude");
static_assert(offsetof(Location, longitude) == 16, "Location.longitude");
static_assert(sizeof(AlgoVersion) == 12, "AlgoVersion");

#endif /* ZUVDR_H */
