// Counts the program's calls of operator new; those of the shared libraries come here as well.
#pragma once

#include <cstdint>

namespace zuvdr::tests {

struct HeapCount {
  std::int64_t deque_blocks;  // by their size
  std::int64_t others;
};

// Since the program's start.
HeapCount heap_count();

}  // namespace zuvdr::tests
