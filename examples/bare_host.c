/*
 * What a host does, in one file: a made-up drive north along a straight road, 25 sensor epochs a
 * second and one fix a second that arrives a little late. The car warms up, stops, drives on,
 * passes a tunnel without fixes, and at the end the recording breaks off for some seconds.
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ZuVDR.h"

enum { kEpochsPerSecond = 25 };
static const int64_t kSecond = 1000000000;     /* ns */
static const int64_t kLongestGap = 1500000000; /* ns; the engine does not integrate across more */
static const double kMetresPerDegree = 110946.26; /* of latitude, at 36 degrees north */
static const double kStartLatitude = 36.0;        /* degrees */
static const double kLongitude = 117.0;           /* degrees */

/* The host: what a location service keeps, and what it does with its two streams. */

typedef struct Host {
  GpsData last_fix;      /* latest fix of the receiver, also the source of the outage rows */
  int64_t last_sensor;   /* ns; 0 before the first event */
  int fix_missing;       /* no fix came for the previous second */
  int resets_after_gaps; /* for the note at the end */
} Host;

static void host_start(Host* host) {
  memset(host, 0, sizeof *host);
  Reset();
}

static int host_epoch(const GpsData* fix, int sample) {
  SyncGPSEventforFusion(fix);
  return UpdateLocationbyGPSEvent(sample);
}

/* A gap in the data cannot be bridged: the vehicle solution would be lost until Reset. */
static void host_on_sensor(Host* host, SensorData event) {
  if (host->last_sensor != 0 && event.timestamp - host->last_sensor > kLongestGap) {
    const int resets = host->resets_after_gaps;
    host_start(host);
    host->resets_after_gaps = resets + 1;
  }
  host->last_sensor = event.timestamp;
  UpdateLocationbySensorEvent(event);
}

static void clear_accuracies(GpsData* fix) {
  fix->vel_acc_e = fix->vel_acc_n = fix->vel_acc_u = 0.0F;
  fix->pos_acc_e = fix->pos_acc_n = fix->pos_acc_u = 0.0F;
  fix->speed_acc = 0.0F;
}

/* The engine interpolates a fix from the one before it. After an outage that one is stale, so the
   first fix is handed over as a predecessor only: true position, accuracies 0, sample not 0. */
static int host_on_fix(Host* host, const GpsData* fix) {
  GpsData handed_over = *fix;
  const int sample = host->fix_missing ? 1 : 0;
  if (host->fix_missing) clear_accuracies(&handed_over);
  host->fix_missing = 0;
  host->last_fix = *fix;
  return host_epoch(&handed_over, sample);
}

/* Without fixes no sensor epoch would be processed: once a second the host moves the clock on. */
static int host_on_second_without_fix(Host* host, int64_t now) {
  GpsData outage = host->last_fix;
  outage.time_ns = now;
  outage.speed = outage.vel_e = outage.vel_n = outage.vel_u = 0.0F;
  clear_accuracies(&outage);
  host->fix_missing = 1;
  return host_epoch(&outage, 1);
}

/* The made-up drive. */

static double acceleration_at(double t) {
  if (t < 5.0) return 2.0;
  if (t >= 15.0 && t < 20.0) return -2.0;
  if (t >= 30.0 && t < 40.0) return 1.2;
  return 0.0;
}

/* An idling car shakes a phone less than a moving one; the engine tells the two apart by that. */
static double yaw_rate_at(double t, double speed) {
  return speed > 0.1 ? 0.005 * sin(4.0 * t) : 0;
}

static SensorData event_of(int32_t type, int64_t time, double x, double y, double z) {
  SensorData event;
  memset(&event, 0, sizeof event);
  event.type = type;
  event.values[0] = x;
  event.values[1] = y;
  event.values[2] = z;
  event.timestamp = time;
  return event;
}

static GpsData fix_of(int64_t time, double north, double speed) {
  GpsData fix;
  memset(&fix, 0, sizeof fix);
  fix.time_ns = time;
  fix.latitude = kStartLatitude + north / kMetresPerDegree;
  fix.longitude = kLongitude;
  fix.altitude = 50.0;
  fix.speed = fix.vel_n = (float)speed;
  fix.vel_acc_e = fix.vel_acc_n = fix.vel_acc_u = 0.3F;
  fix.pos_acc_e = fix.pos_acc_n = 3.0F;
  fix.pos_acc_u = 5.0F;
  fix.speed_acc = 0.3F;
  return fix;
}

static void require(int condition, const char* what) {
  if (condition) return;
  fprintf(stderr, "bare_host: failed: %s\n", what);
  exit(EXIT_FAILURE);
}

int main(void) {
  const int64_t start = 1000 * kSecond;
  const int latency = 8; /* epochs between a fix and its arrival */
  const int tunnel_from = 80, tunnel_to = 100, end = 120;
  double speed = 0.0, north = 0.0;
  double fix_north = 0.0, fix_speed = 0.0; /* at the latest whole second */
  double previous_north = 0.0;             /* one second before that */
  double tunnel_drift = -1.0;
  int status = 0, status_before_tunnel = -1, status_in_tunnel = -1;
  Host host;
  Location location;
  AlgoVersion version;

  GetAlgoVersion(&version);
  printf("engine %d.%d.%d\n", (int)version.major, (int)version.minor, (int)version.patch);
  host_start(&host);

  puts(" time  status  car flags   latitude    longitude  error");
  for (int k = 0; k < end * kEpochsPerSecond; ++k) {
    const double dt = 1.0 / kEpochsPerSecond;
    const double t = k * dt;
    const int64_t now = start + k * (kSecond / kEpochsPerSecond);
    const double acceleration = acceleration_at(t);

    /* Phone flat, screen up, top edge forward: x right, y forward, z up, gravity included. */
    host_on_sensor(&host, event_of(ZUVDR_SENSOR_ACCELEROMETER, now, 0.0, acceleration, 9.80665));
    host_on_sensor(
        &host, event_of(ZUVDR_SENSOR_GYROSCOPE_UNCALIBRATED, now, 0.0, 0.0, yaw_rate_at(t, speed)));

    if (k % kEpochsPerSecond == 0) {
      previous_north = fix_north;
      fix_north = north;
      fix_speed = speed;
    }
    if (k % kEpochsPerSecond == latency) {
      const int second = k / kEpochsPerSecond;
      const int64_t fix_time = start + second * kSecond;
      const int in_tunnel = second >= tunnel_from && second < tunnel_to;
      const GpsData fix = fix_of(fix_time, fix_north, fix_speed);
      const int vehicle_output = GetCarFlag() & ZUVDR_CAR_POSITION_SET;
      status = in_tunnel ? host_on_second_without_fix(&host, fix_time) : host_on_fix(&host, &fix);
      memset(&location, 0, sizeof location);
      GetLocation(&location);

      /* A vehicle solution belongs to the last processed epoch, one fix interval ago. */
      const double true_north = vehicle_output ? previous_north : fix_north;
      const double error =
          fabs(location.latitude - kStartLatitude - true_north / kMetresPerDegree) *
          kMetresPerDegree;
      if (second % 5 == 0) {
        printf("%3d s  %6d  %9d  %10.6f  %11.6f  %4.1f m\n", second, status, GetCarFlag(),
               location.latitude, location.longitude, error);
      }
      if (second == tunnel_from - 1) status_before_tunnel = status;
      if (second == tunnel_to - 1) {
        status_in_tunnel = status;
        tunnel_drift = error;
      }
    }

    north += speed * dt + 0.5 * acceleration * dt * dt;
    speed += acceleration * dt;
  }
  printf("%s\n", getAlgoLog());

  require(version.major == ZUVDR_VERSION_MAJOR && version.minor >= ZUVDR_VERSION_MINOR,
          "a library that this host was built for");
  require(status_before_tunnel == 1, "corrected by GNSS before the tunnel");
  require(status_in_tunnel == 2, "dead-reckoned at the end of the tunnel");
  require(status == 1, "corrected by GNSS again after the tunnel");
  /* 240 m driven blind with errorless sensors: what is left is the filter's own settling. */
  printf("tunnel: %.1f m off after %d s without fixes\n", tunnel_drift, tunnel_to - tunnel_from);
  require(tunnel_drift >= 0.0 && tunnel_drift < 24.0, "at most a tenth of the way lost in it");
  require(strncmp(getAlgoLog(), "zuxdr: 0 1 1 1 1 1 1 ", 21) == 0, "log line of a running vehicle");

  /* The stream breaks off for five seconds: the next event makes the host start afresh. */
  const int64_t later = start + (end + 5) * kSecond;
  host_on_sensor(&host, event_of(ZUVDR_SENSOR_ACCELEROMETER, later, 0.0, 0.0, 9.80665));
  GetLocation(&location);
  require(host.resets_after_gaps == 1, "one Reset after the gap");
  require(GetCarFlag() == 0 && GetPdrFlag() == 0, "start state after the gap");
  require(location.latitude == 0.0 && location.longitude == 0.0, "no position after the gap");
  const GpsData first = fix_of(later, north, speed);
  status = host_on_fix(&host, &first);
  GetLocation(&location);
  require(status == 0 && location.latitude == first.latitude, "the raw fix until aligned again");
  puts("bare_host: all well");
  return EXIT_SUCCESS;
}
