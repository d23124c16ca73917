// Drives the C interface with arbitrary bytes: the first byte of a record chooses the call, the
// rest fills its argument. Whatever the numbers, nothing may crash, hang or trip a sanitizer.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ZuVDR.h"
#include "fuzz/bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::int32_t kTypes[4] = {1, 16, 14, 6};
  Bytes bytes(data, size);
  std::int64_t clock = 1000000000;  // ns
  Reset();
  while (!bytes.empty()) {
    const auto call = bytes.take<std::uint8_t>();
    if (call == 255) {
      Reset();
    } else if (call % 8 == 7) {
      auto fix = bytes.take<GpsData>();
      fix.time_ns = next_time(bytes, clock);
      SyncGPSEventforFusion(&fix);
      UpdateLocationbyGPSEvent(call / 128);
    } else {
      SensorData event{};
      event.type = call % 8 == 6 ? bytes.take<std::int32_t>() : kTypes[call % 4];
      for (double& value : event.values) value = bytes.take<float>();
      event.timestamp = next_time(bytes, clock);
      UpdateLocationbySensorEvent(event);
    }
  }
  Location location{};
  GetLocation(&location);
  GetCarFlag();
  GetPdrFlag();
  isSensorEventBufferFull();
  if (std::strlen(getAlgoLog()) > 179) __builtin_trap();
  return 0;
}
