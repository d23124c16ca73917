// Bad roads: what cobbles, potholes and speed bumps do to a car's body.
#pragma once

#include <vector>

#include "tools/simulation/movement.h"
#include "tools/simulation/random.h"

namespace zuvdr::tools {

// Adds the road's movements from begin to end, s. strength: 1 in a car; less for springier ones.
void add_rough_road(std::vector<Movement>& movements, RandomStream& random, double begin,
                    double end, double strength);

}  // namespace zuvdr::tools
