#include "bench/heap_counter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

zuvdr::bench::HeapCount count{};

// libstdc++'s deques take blocks of as many elements as fit into 512 bytes; SensorEpoch has 120
// (engine/insZuAlgo.h asserts it).
constexpr bool is_deque_block(std::size_t size) {
  return size == 512 || size == 480;
}

}  // namespace

zuvdr::bench::HeapCount zuvdr::bench::heap_count() {
  return count;
}

void* operator new(std::size_t size) {
  ++(is_deque_block(size) ? count.deque_blocks : count.others);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
