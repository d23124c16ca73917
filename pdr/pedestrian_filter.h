// The walker's four-state Kalman filter: east, north, heading, speed. The engine's members
// PdrKfInit, PdrInit, PdrUpdate, PdrKfPredit, PseudoSpeedUpdate and PdrGpsUpdate are these
// functions on its own solution.
#pragma once

#include <cstddef>

#include "ZuVDR.h"

// Every matrix 4 x 4, row-major; state order east (m), north (m), heading (rad), speed (m/s).
struct PDRKF {
  double R[16];        // measurement noise of the last GNSS update
  double P[16];        // covariance
  double dx[4];        // correction of the last update; zero between updates
  double F[16];        // transition Jacobian of the last prediction
  double P_prior[16];  // P at the start of the last update
  double PHt[16];      // P H^T of the last GNSS update
  double S[16];        // innovation covariance of the last GNSS update
  double K[16];        // gain of the last GNSS update
};
static_assert(sizeof(PDRKF) == 928);
static_assert(offsetof(PDRKF, P) == 128 && offsetof(PDRKF, dx) == 256 && offsetof(PDRKF, F) == 288);
static_assert(offsetof(PDRKF, P_prior) == 416 && offsetof(PDRKF, PHt) == 544);
static_assert(offsetof(PDRKF, S) == 672 && offsetof(PDRKF, K) == 800);

namespace zuvdr {

// The walker's solution in the place where its owner keeps it; copies refer to the same place.
struct PedestrianSolution {
  double& east;     // m from the walker's origin
  double& north;    // m
  double& heading;  // rad, counter-clockwise from north, in [-pi, pi]
  double& speed;    // m/s
};

// Zeroes the record and sets the initial R and P.
void init_pedestrian_filter(PDRKF& kf);

// Heading and speed from a fix; the position is left alone.
void seed_from_fix(PedestrianSolution solution, const GpsData& fix);

// Dead reckoning over dt seconds along the heading, which is wrapped afterwards.
void advance(PedestrianSolution solution, double dt);

// P of dt seconds later: P = F P F^T + G Qn G^T. The state is moved by advance.
void predict_covariance(PDRKF& kf, PedestrianSolution solution, double dt);

// Corrects with a speed measurement, m/s, sigma 0.5 m/s.
void update_with_speed(PDRKF& kf, PedestrianSolution solution, double speed);

// Corrects with a fix: position (east, north, m, in the frame of the solution), course and speed.
// There is no gate; accuracies of 0 make the solution snap to the fix.
void update_with_fix(PDRKF& kf, PedestrianSolution solution, const GpsData& fix,
                     const double* position);

}  // namespace zuvdr
