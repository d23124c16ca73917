// The C interface: each function forwards to the one engine.
#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>

#include "engine/insZuAlgo.h"

namespace {

constexpr std::size_t kLogBufferSize = 180;  // characters, terminator included
char log_buffer[kLogBufferSize];

}  // namespace

int UpdateLocationbySensorEvent(SensorData event) {
  return minsZuAlgo->SensorUpdate(event);
}

const GpsData* SyncGPSEventforFusion(const GpsData* fix) {
  minsZuAlgo->store_fix(*fix);
  return fix;
}

int UpdateLocationbyGPSEvent(int sample) {
  return minsZuAlgo->algo_gps_update(sample);
}

void GetLocation(Location* location) {
  location->latitude = minsZuAlgo->loc_lat;
  location->longitude = minsZuAlgo->loc_lon;
}

int GetCarFlag(void) {
  return minsZuAlgo->car_flag_word();
}

int GetPdrFlag(void) {
  return minsZuAlgo->pdr_flag;
}

int isSensorEventBufferFull(void) {
  return minsZuAlgo->algo_gpswin_update();
}

void Reset(void) {
  minsZuAlgo->algo_reset();
}

void GetAlgoVersion(AlgoVersion* version) {
  *version = {ZUVDR_VERSION_MAJOR, ZUVDR_VERSION_MINOR, ZUVDR_VERSION_PATCH};
}

const char* getAlgoLog(void) {
  std::fill(std::begin(log_buffer), std::end(log_buffer), '\0');
  const std::string line = minsZuAlgo->getAlgoLog();
  std::copy_n(line.begin(), std::min(line.size(), kLogBufferSize - 1), log_buffer);
  return log_buffer;
}
