#include "tests/engine/heap_counter.h"

#include <cstddef>
#include <cstdlib>
#include <new>

#include "engine/insZuAlgo.h"

namespace {

zuvdr::tests::HeapCount count{};

// libstdc++'s deques take blocks of as many elements as fit into 512 bytes; of the engine's element
// types only SensorEpoch does not fill them.
constexpr bool is_deque_block(std::size_t size) {
  return size == 512 || size == 512 / sizeof(SensorEpoch) * sizeof(SensorEpoch);
}

}  // namespace

zuvdr::tests::HeapCount zuvdr::tests::heap_count() {
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
