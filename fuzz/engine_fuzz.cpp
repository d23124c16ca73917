// Drives the C interface with arbitrary bytes: the first byte of a record chooses the call, the
// rest fills its argument. Whatever the numbers, nothing may crash, hang or trip a sanitizer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ZuVDR.h"

namespace {

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }

  template <typename T>
  T take() {
    T value{};
    const std::size_t n = std::min(sizeof(T), size_);
    std::memcpy(&value, data_, n);
    data_ += n;
    size_ -= n;
    return value;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

// Arbitrary times hardly ever pair; most records step a common clock instead.
std::int64_t next_time(Bytes& bytes, std::int64_t& clock) {
  const auto step = bytes.take<std::uint8_t>();
  if (step == 255) return bytes.take<std::int64_t>();
  clock += step * INT64_C(1000000);
  return clock;
}

}  // namespace

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
