/* The host library in C: a made-up drive north. Events at 50 Hz, a fix a second that arrives 0.2 s
   late, an answer to each. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "ZuVDRHost.h"

static const double kMetresPerDegree = 110946.26; /* of latitude, at 36 degrees north */

static void print_answer(const ZuVDRHostAnswer* answer, void* user) {
  int* answers = user;
  if (++*answers % 10 != 0) return;
  printf("fix %2d: status %d, %.6f %.6f known to %.1f m\n", *answers, (int)answer->status,
         answer->position.latitude, answer->position.longitude, answer->position.accuracy);
}

int main(void) {
  const double step = 0.02; /* s */
  int answers = 0;
  double north = 0.0, speed = 0.0;
  ZuVDRPhoneFix fix = {.longitude = 117.0,
                       .altitude = 50.0,
                       .horizontal_accuracy = 4.0,
                       .vertical_accuracy = 4.0,
                       .speed_accuracy = 0.3};
  ZuVDRHostPosition position;
  if (!ZuVDRHostStart(NULL, print_answer, NULL, &answers)) return EXIT_FAILURE;
  for (int k = 0; k < 4000; ++k) {
    const int64_t now = 1000000000000 + k * INT64_C(20000000);
    const double acceleration = k >= 500 && k < 1000 ? 1.2 : 0.0;
    const double shaking = speed > 0.0 ? 0.005 * sin(4.0 * step * k) : 0.0;
    /* The phone lies flat, its top edge forward. */
    const SensorData force = {.type = ZUVDR_SENSOR_ACCELEROMETER,
                              .values = {0.0, acceleration, 9.80665},
                              .timestamp = now};
    const SensorData rate = {.type = ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED,
                             .values = {0.0, 0.0, shaking},
                             .timestamp = now};
    ZuVDRHostSensor(&force);
    ZuVDRHostSensor(&rate);
    if (k % 50 == 0) {
      fix.time_ns = now;
      fix.latitude = 36.0 + north / kMetresPerDegree;
      fix.speed = speed;
      fix.bearing_accuracy = speed > 0.0 ? 2.0 : 0.0; /* 0: the bearing is not known */
    }
    if (k % 50 == 10) ZuVDRHostFix(&fix);
    if (k == 3999 && ZuVDRHostPositionAt(now, &position)) {
      const double error = (position.latitude - 36.0) * kMetresPerDegree - north;
      printf("at the end %.6f %.6f, %.1f m off\n", position.latitude, position.longitude, error);
      ZuVDRHostStop();
      return fabs(error) < 5.0 && answers == 80 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    north += (speed + 0.5 * acceleration * step) * step;
    speed += acceleration * step;
  }
  return EXIT_FAILURE;
}
