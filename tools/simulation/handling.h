// A phone in use and in transport, with nobody walking: everything that must not count as steps.
#pragma once

#include <cstdint>

#include "tools/simulation/route_builder.h"

namespace zuvdr::tools {

// About five minutes. The seed chooses kind and order of the events; the walker is who moves:
// vigorous or gentle, quick or slow.
Route handling(std::uint64_t seed, std::uint64_t walker);

// How the phone lies when a handling begins.
inline constexpr Mounting kOnTable = {0.0, 0.0, 0.0};

}  // namespace zuvdr::tools
