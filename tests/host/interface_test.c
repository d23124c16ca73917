/* The whole C interface from a C11 program: every function once, with the promises a host relies
   on. Compiled as strict C, so that the header stays usable without C++. */
#include "ZuVDR.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

static SensorData event(int32_t type, int64_t milliseconds) {
  SensorData data;
  memset(&data, 0, sizeof data);
  data.type = type;
  data.values[2] = type == ZUVDR_SENSOR_ACCELEROMETER ? 9.80665 : 0.0;
  data.timestamp = milliseconds * 1000000;
  return data;
}

static GpsData fix_at(int64_t milliseconds, double latitude, double longitude) {
  GpsData fix;
  memset(&fix, 0, sizeof fix);
  fix.time_ns = milliseconds * 1000000;
  fix.latitude = latitude;
  fix.longitude = longitude;
  return fix;
}

static void check_start_state(void) {
  Location location = {77, 1.0, 2.0};
  GetLocation(&location);
  CHECK(location.reserved == 77 && location.latitude == 0.0 && location.longitude == 0.0);
  CHECK(GetCarFlag() == 0);
  CHECK(GetPdrFlag() == 0);
  CHECK(isSensorEventBufferFull() == 1);
  CHECK(strcmp(getAlgoLog(),
               "zuxdr: 0 0 0 0 0 0 0 0 0 0 0.000000 0.000000 0.000000 0.000000 0.000000 0.000000 "
               "0.000000") == 0);
}

static void check_events_and_fixes(void) {
  Location location = {77, 0.0, 0.0};
  GpsData fix = fix_at(1030, 36.25, 116.5);
  /* Unknown types are dropped; a pair within 40 ms waits for a fix; the next event after the fix
     lets it through. */
  CHECK(UpdateLocationbySensorEvent(event(2, 1000)) == 0);
  CHECK(UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, 1000)) == 0);
  CHECK(isSensorEventBufferFull() == 1);
  UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_ACCELEROMETER, 1000));
  CHECK(isSensorEventBufferFull() == 0);
  CHECK(SyncGPSEventforFusion(&fix) == &fix);
  UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_ACCELEROMETER, 1040));
  CHECK(isSensorEventBufferFull() == 0);
  CHECK(UpdateLocationbySensorEvent(event(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, 1040)) == 1);
  CHECK(isSensorEventBufferFull() == 1);

  CHECK(UpdateLocationbyGPSEvent(0) == 0);
  GetLocation(&location);
  CHECK(location.reserved == 77 && location.latitude == 36.25 && location.longitude == 116.5);
  /* Positions stand in the line three times too large, longitude first. */
  CHECK(strcmp(getAlgoLog(),
               "zuxdr: 0 0 0 0 0 0 0 0 0 0 0.000000 349.500000 108.750000 0.000000 349.500000 "
               "108.750000 0.000000") == 0);
}

static void check_long_log_line(void) {
  GpsData fix = fix_at(2000, 1e300, -1e300);
  SyncGPSEventforFusion(&fix);
  CHECK(strlen(getAlgoLog()) == 179);
  CHECK(strncmp(getAlgoLog(), "zuxdr: ", 7) == 0);
}

int main(void) {
  AlgoVersion version = {-1, -1, -1};
  GetAlgoVersion(&version);
  CHECK(version.major == 3 && version.minor == 0 && version.patch == 10);
  CHECK(ZUVDR_VERSION == 30010);

  Reset();
  check_start_state();
  check_events_and_fixes();
  check_long_log_line();
  Reset();
  check_start_state();
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
