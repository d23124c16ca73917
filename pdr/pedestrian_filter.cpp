#include "pdr/pedestrian_filter.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "nav/constants.h"
#include "nav/fixed_matrix.h"
#include "nav/matrix.h"

namespace zuvdr {

namespace {

constexpr std::size_t kPdrStates = 4;
constexpr std::size_t kEast = 0, kNorth = 1, kHeading = 2, kSpeed = 3;

constexpr double kInitialR[kPdrStates] = {0.010000000000000002, 0.010000000000000002,  // m^2
                                          2.4674011002723395,   // (90 deg)^2, rad^2
                                          1.0};                 // (m/s)^2
constexpr double kInitialP[kPdrStates] = {225.0, 225.0,         // (15 m)^2
                                          0.12184696791468343,  // (20 deg)^2, rad^2
                                          0.0225};              // (0.15 m/s)^2
// Process noise a step of any length, not a second.
constexpr double kHeadingNoise = 0.0027415567780803766;         // (3 deg)^2, rad^2
constexpr double kSpeedNoise = 0.0016000000000000003;           // (0.04 m/s)^2
constexpr double kSpeedMeasurementR = 0.25;                     // (0.5 m/s)^2
constexpr double kStandingHeadingVariance = 9.869604401089358;  // pi^2: course unknown

constexpr std::size_t at(std::size_t row, std::size_t column) {
  return row * kPdrStates + column;
}

double wrap_once(double angle) {
  if (angle > kPi) return angle - kTwoPi;
  if (angle < -kPi) return angle + kTwoPi;
  return angle;
}

void apply_correction(PDRKF& kf, PedestrianSolution solution) {
  solution.east += kf.dx[kEast];
  solution.north += kf.dx[kNorth];
  solution.heading = wrap_once(solution.heading + kf.dx[kHeading]);
  solution.speed += kf.dx[kSpeed];
  std::fill(std::begin(kf.dx), std::end(kf.dx), 0.0);
}

// Variance of the course from the variances of the velocity components. The Jacobian is divided by
// |v| once, not by |v|^2, so it does not depend on the speed: the
// course of a slow fix counts as much as that of a fast one.
double heading_variance(const GpsData& fix) {
  const double east = fix.vel_e, north = fix.vel_n;
  const double speed = std::sqrt(east * east + north * north);
  if (!(speed > 0.0)) return kStandingHeadingVariance;
  const double jacobian[2] = {-north / speed, east / speed};
  const double acc_e = fix.vel_acc_e, acc_n = fix.vel_acc_n;
  return jacobian[0] * (acc_e * acc_e) * jacobian[0] + jacobian[1] * (acc_n * acc_n) * jacobian[1];
}

}  // namespace

void init_pedestrian_filter(PDRKF& kf) {
  kf = PDRKF{};
  for (std::size_t i = 0; i < kPdrStates; ++i) {
    kf.R[at(i, i)] = kInitialR[i];
    kf.P[at(i, i)] = kInitialP[i];
  }
}

void seed_from_fix(PedestrianSolution solution, const GpsData& fix) {
  const float bearing = fix.bearing > 180.0F ? fix.bearing - 360.0F : fix.bearing;
  solution.speed = fix.speed;
  solution.heading = -static_cast<double>(bearing) * kPi / 180.0;
}

void advance(PedestrianSolution solution, double dt) {
  const double distance = solution.speed * dt;
  solution.east -= distance * std::sin(solution.heading);
  solution.north += distance * std::cos(solution.heading);
  solution.heading = wrap_once(solution.heading);
}

void predict_covariance(PDRKF& kf, PedestrianSolution solution, double dt) {
  const double sine = std::sin(solution.heading);
  const double cosine = std::cos(solution.heading);
  const double distance = solution.speed * dt;
  std::fill(std::begin(kf.F), std::end(kf.F), 0.0);
  for (std::size_t i = 0; i < kPdrStates; ++i) kf.F[at(i, i)] = 1.0;
  kf.F[at(kEast, kHeading)] = -distance * cosine;
  kf.F[at(kEast, kSpeed)] = -sine * dt;
  kf.F[at(kNorth, kHeading)] = -distance * sine;
  kf.F[at(kNorth, kSpeed)] = cosine * dt;
  double FP[16];
  multiply<kPdrStates, kPdrStates, kPdrStates>(kf.F, kf.P, FP);
  multiply_transposed<kPdrStates, kPdrStates, kPdrStates>(FP, kf.F, kf.P);
  kf.P[at(kHeading, kHeading)] += kHeadingNoise;
  kf.P[at(kSpeed, kSpeed)] += kSpeedNoise;
  symmetrise<kPdrStates>(kf.P);
}

void update_with_speed(PDRKF& kf, PedestrianSolution solution, double speed) {
  // H = (0, 0, 0, 1): P H^T is the last column of P, K H P the gain times its last row.
  std::copy_n(kf.P, 16, kf.P_prior);
  const double S = kf.P_prior[at(kSpeed, kSpeed)] + kSpeedMeasurementR;
  const double innovation = speed - solution.speed;
  for (std::size_t i = 0; i < kPdrStates; ++i) {
    const double gain = kf.P_prior[at(i, kSpeed)] / S;
    kf.dx[i] = gain * innovation;
    for (std::size_t j = 0; j < kPdrStates; ++j) {
      kf.P[at(i, j)] = kf.P_prior[at(i, j)] - gain * kf.P_prior[at(kSpeed, j)];
    }
  }
  symmetrise<kPdrStates>(kf.P);
  apply_correction(kf, solution);
}

void update_with_fix(PDRKF& kf, PedestrianSolution solution, const GpsData& fix,
                     const double* position) {
  const double course = std::atan2(-static_cast<double>(fix.vel_e), fix.vel_n);
  const double sigma[kPdrStates] = {fix.pos_acc_e, fix.pos_acc_n, 0.0, fix.speed_acc};
  std::fill(std::begin(kf.R), std::end(kf.R), 0.0);
  for (std::size_t i = 0; i < kPdrStates; ++i) kf.R[at(i, i)] = sigma[i] * sigma[i];
  kf.R[at(kHeading, kHeading)] = heading_variance(fix);
  const double y[kPdrStates] = {position[0] - solution.east, position[1] - solution.north,
                                wrap_once(course - solution.heading),
                                static_cast<double>(fix.speed) - solution.speed};
  // H is the identity, so P H^T is P and K H is K.
  std::copy_n(kf.P, 16, kf.P_prior);
  std::copy_n(kf.P, 16, kf.PHt);
  for (std::size_t i = 0; i < 16; ++i) kf.S[i] = kf.PHt[i] + kf.R[i];
  double S_inverse[16];
  MatrixInverse_n(kf.S, S_inverse, static_cast<int>(kPdrStates));
  multiply<kPdrStates, kPdrStates, kPdrStates>(kf.PHt, S_inverse, kf.K);
  multiply<kPdrStates, kPdrStates, 1>(kf.K, y, kf.dx);
  double KP[16];
  multiply<kPdrStates, kPdrStates, kPdrStates>(kf.K, kf.P_prior, KP);
  for (std::size_t i = 0; i < 16; ++i) kf.P[i] = kf.P_prior[i] - KP[i];
  symmetrise<kPdrStates>(kf.P);
  apply_correction(kf, solution);
}

}  // namespace zuvdr
