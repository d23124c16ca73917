#include "tools/simulation/road.h"

#include <cmath>

#include "nav/constants.h"

namespace zuvdr::tools {
namespace {

using Shape = Movement::Shape;

// The body on its springs resonates between these, Hz.
constexpr double kSoft = 1.0, kStiff = 2.0;

// How the body answers: sizes are drawn from half to all of these.
struct Response {
  Shape shape;
  int count;                 // of movements that overlap
  double shortest, longest;  // s
  double heave;              // m/s^2, vertical acceleration of each
  double pitch, roll;        // rad
  double shaking;            // m/s^2 rms
};
constexpr Response kPatch = {Shape::kWave, 3, 3.0, 12.0, 1.1, 0.010, 0.008, 0.9};
constexpr Response kCobbles = {Shape::kWave, 3, 5.0, 20.0, 0.5, 0.004, 0.006, 1.4};
constexpr Response kPothole = {Shape::kRing, 1, 1.5, 2.5, 3.0, 0.025, 0.020, 1.2};
constexpr Response kBump = {Shape::kBump, 1, 0.4, 0.7, 2.8, 0.030, 0.004, 0.5};

// The greatest acceleration of a bump of unit height is this over its squared duration.
constexpr double kBumpCurvature = 23.1;

Movement draw(const Response& response, RandomStream& random, double begin, double duration,
              double strength) {
  const auto size = [&](double greatest) { return strength * greatest * random.uniform(0.5, 1.0); };
  const auto either = [&](double value) { return random.uniform() < 0.5 ? -value : value; };
  Movement movement{response.shape, begin, duration};
  movement.frequency = random.uniform(kSoft, kStiff);
  const double turning = kTwoPi * movement.frequency;
  const double curvature =
      response.shape == Shape::kBump ? kBumpCurvature / (duration * duration) : turning * turning;
  movement.offset[2] = either(size(response.heave)) / curvature;
  if (response.shape == Shape::kBump) movement.offset[2] = std::abs(movement.offset[2]);
  movement.turn = {either(size(response.roll)), size(response.pitch), 0.0};
  movement.shaking = size(response.shaking) / response.count;
  movement.of_road = true;
  return movement;
}

}  // namespace

void add_rough_road(std::vector<Movement>& movements, RandomStream& random, double begin,
                    double end, double strength) {
  for (double t = begin + random.uniform(0.0, 4.0); t < end; t += random.uniform(2.0, 9.0)) {
    constexpr Response kResponses[] = {kPatch, kPatch, kCobbles, kPothole, kPothole, kBump};
    const Response& response = kResponses[static_cast<std::size_t>(6.0 * random.uniform())];
    const double duration = random.uniform(response.shortest, response.longest);
    for (int i = 0; i < response.count; ++i) {
      movements.push_back(draw(response, random, t, duration, strength));
    }
    if (response.shape != Shape::kBump) continue;
    // The rear axle follows and the nose goes down; then the body rings.
    Movement rear = movements.back();
    rear.begin += random.uniform(0.3, 0.8);
    rear.turn[1] = -rear.turn[1];
    movements.push_back(rear);
    movements.push_back(draw(kPothole, random, rear.begin + duration, 2.0, 0.5 * strength));
  }
}

}  // namespace zuvdr::tools
