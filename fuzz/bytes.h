// The bytes of an input, taken as numbers; behind its end all are 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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
inline std::int64_t next_time(Bytes& bytes, std::int64_t& clock) {
  const auto step = bytes.take<std::uint8_t>();
  if (step == 255) return bytes.take<std::int64_t>();
  clock += step * INT64_C(1000000);
  return clock;
}
