// The walker's filter through the engine's members, on the engine's own solution.
#include "pdr/pedestrian_filter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/engine/engine_feed.h"
#include "tests/textbook.h"

namespace {

using namespace zuvdr::test;
using zuvdr::tests::Matrix;

constexpr auto wrapped = [](double angle) { return std::remainder(angle, 2.0 * M_PI); };
constexpr auto matrix = [](const double* m) { return Matrix(m, 4, 4); };

Matrix walker() {
  return {engine().pdr_east, engine().pdr_north, engine().pdr_heading, engine().pdr_speed};
}

void set_walker(const Matrix& x) {
  engine().pdr_east = x[0];
  engine().pdr_north = x[1];
  engine().pdr_heading = x[2];
  engine().pdr_speed = x[3];
}

GpsData course_fix(double vel_e, double vel_n) {
  GpsData fix = good_fix(0, static_cast<float>(std::hypot(vel_e, vel_n)));
  fix.vel_e = static_cast<float>(vel_e);
  fix.vel_n = static_cast<float>(vel_n);
  fix.vel_acc_e = fix.speed_acc = 0.5f;
  fix.vel_acc_n = 0.25f;
  fix.pos_acc_n = 4.0f;
  return fix;
}

// The textbook filter: transition by central differences, Joseph-form updates.
struct TextbookFilter {
  Matrix x, P;

  static Matrix moved(const Matrix& x, double dt) {
    return x + dt * x[3] * Matrix{-std::sin(x[2]), std::cos(x[2]), 0.0, 0.0};
  }
  void predict(double dt) {
    Matrix F = Matrix::zero(4, 4);
    for (int j = 0; j < 4; ++j) {
      const Matrix step = 1e-5 * Matrix::identity(4).part(0, j, 4);
      F.set_part(0, j, 1.0 / 2e-5 * (moved(x + step, dt) - moved(x - step, dt)));
    }
    x = moved(x, dt);
    P = F * P * F.transpose();
    P(2, 2) += std::pow(3.0 * kDegree, 2);  // a step, whatever its length
    P(3, 3) += 0.04 * 0.04;
  }
  void update(const Matrix& y, const Matrix& H, const Matrix& R) {
    const zuvdr::tests::Estimate estimate = textbook_update(P, H, R, y);
    x = x + estimate.X;
    P = estimate.P;
  }
};

TEST(PedestrianFilter, WalksLikeTheTextbookFilter) {
  std::mt19937 random(17);
  std::normal_distribution<double> noise;
  PDRKF& kf = engine().pdr_kf;
  engine().PdrKfInit(kf);
  set_walker({1.0, -2.0, 3.0, 1.3});
  TextbookFilter textbook{walker(), matrix(kf.P)};
  for (int i = 0; i < 400; ++i) {
    for (int k = 0; k < 25; ++k) {
      const double dt = 0.04 + 0.003 * noise(random);
      textbook.predict(dt);
      engine().PdrKfPredit(kf, dt);
      engine().PdrUpdate(dt);
    }
    if (i % 3 != 0) {
      const double speed = 1.3 + 0.3 * noise(random);
      const PDRKF before = kf;
      engine().PseudoSpeedUpdate(kf, speed);
      textbook.update({speed - textbook.x[3]}, Matrix{0, 0, 0, 1}.transpose(), {0.5 * 0.5});
      EXPECT_EQ(matrix(kf.P_prior), matrix(before.P));
      for (const auto field : {&PDRKF::R, &PDRKF::F, &PDRKF::PHt, &PDRKF::S, &PDRKF::K}) {
        ASSERT_EQ(matrix(kf.*field), matrix(before.*field)) << "the last fix's";
      }
    }
    // Walking in circles, so that the heading passes south again and again, with short stops. The
    // variance of the course does not depend on the speed; standing, it is half a circle.
    const double course = 0.1 * i, pace = i % 40 == 39 ? 0.0 : 1.4;
    GpsData fix = course_fix(-pace * std::sin(course), pace * std::cos(course));
    double position[2] = {walker()[0] + 4.0 * noise(random), walker()[1] + 4.0 * noise(random)};
    engine().PdrGpsUpdate(kf, fix, position);
    const double e = fix.vel_e, n = fix.vel_n;
    Matrix y = Matrix{position[0], position[1], std::atan2(-e, n), fix.speed} - textbook.x;
    y[2] = wrapped(y[2]);
    const double variance =
        pace > 0.0 ? (0.25 * n * n + 0.0625 * e * e) / (e * e + n * n) : M_PI * M_PI;
    textbook.update(y, Matrix::identity(4), Matrix::diagonal({4.0, 16.0, variance, 0.25}));

    ASSERT_EQ(matrix(kf.P), matrix(kf.P).transpose()) << i;
    ASSERT_LT((matrix(kf.P) - textbook.P).norm(), 1e-6 * textbook.P.norm()) << i;
    Matrix difference = walker() - textbook.x;
    difference[2] = wrapped(difference[2]);
    ASSERT_LT(difference.norm(), 1e-6) << i;
    ASSERT_LE(std::abs(walker()[2]), M_PI);
    for (const double correction : kf.dx) ASSERT_EQ(correction, 0.0);
  }
}

TEST(PedestrianFilter, HeadingsAndTheirInnovationsWrapOnce) {
  for (const auto& [heading, course, expected] :
       {Vec3{3.1, 3.3, 3.3 - 2 * M_PI}, Vec3{-3.1, 3.1, 3.1}, Vec3{-3.0, -3.2, 2 * M_PI - 3.2},
        Vec3{0.5, -1.0, -1.0}}) {
    engine().PdrKfInit(engine().pdr_kf);
    set_walker({0.0, 0.0, heading, 1.0});
    GpsData fix = course_fix(-std::sin(course), std::cos(course));
    fix.vel_acc_e = fix.vel_acc_n = fix.pos_acc_e = fix.pos_acc_n = fix.speed_acc = 0.0f;
    double position[2] = {7.0, -8.0};
    engine().PdrGpsUpdate(engine().pdr_kf, fix, position);
    EXPECT_LT((walker() - Matrix{7.0, -8.0, expected, 1.0}).norm(), 1e-6)
        << "accuracies of 0 snap to the fix, float32";
  }
  engine().pdr_heading = 10.0;
  engine().PdrUpdate(0.5);
  EXPECT_NEAR(walker()[2], 10.0 - 2 * M_PI, 1e-14) << "still beyond pi: one wrap only";
}

TEST(PedestrianFilter, StartsFromTheFixsCourseAndSpeed) {
  for (const auto& [bearing, heading] :
       {std::pair{0.0f, 0.0}, {45.0f, -M_PI / 4}, {180.0f, -M_PI}, {180.5f, 179.5 * kDegree}}) {
    set_walker({4.0, 5.0, 9.0, 9.0});
    GpsData fix = good_fix(0, 1.25f);
    fix.bearing = bearing;
    engine().PdrInit(fix);
    EXPECT_LT((walker() - Matrix{4.0, 5.0, heading, 1.25}).norm(), 1e-14) << bearing;
  }
  PDRKF& kf = engine().pdr_kf;
  std::fill_n(reinterpret_cast<unsigned char*>(&kf), sizeof kf, 0xFF);
  engine().PdrKfInit(kf);
  const Matrix sigma = Matrix::diagonal({15.0, 15.0, 20.0 * kDegree, 0.15});
  const Matrix r = Matrix::diagonal({0.1, 0.1, M_PI / 2, 1.0});
  EXPECT_LT((matrix(kf.P) - sigma * sigma).norm(), 1e-12);
  EXPECT_LT((matrix(kf.R) - r * r).norm(), 1e-12);
  EXPECT_EQ(matrix(kf.F).norm() + matrix(kf.S).norm() + matrix(kf.K).norm(), 0.0);
}

TEST(PedestrianHistory, HoldsTheLast150EpochsAndKnowsAMinuteWithoutStep) {
  insZuAlgo& e = engine();
  Reset();
  for (int i = 1; i <= 200; ++i) {
    double sample[6] = {-1.0, -1.0, -1.0, i + 0.1, i + 0.2, i + 0.3};
    e.PdrDataSort(sample, 1000L * i, i % 7 == 0 ? 3 : 0);
    EXPECT_EQ(e.pdr_window_len, std::min(i, 150));
    EXPECT_EQ(e.last_step_time_ns, 7000 * (i / 7));
  }
  EXPECT_TRUE(e.PdrStatus(e.last_step_time_ns + 60'000'000'000));
  EXPECT_FALSE(e.PdrStatus(e.last_step_time_ns + 60'000'000'001));
  ASSERT_EQ(e.pdr_acc_x.size(), 150u);
  for (std::size_t k = 0; k < 150; ++k) {
    const int i = static_cast<int>(k) + 51;
    EXPECT_EQ((Vec3{e.pdr_acc_x.at(k), e.pdr_acc_y.at(k), e.pdr_acc_z.at(k)}),
              (Vec3{i + 0.1, i + 0.2, i + 0.3}));
    EXPECT_EQ(e.pdr_time.at(k), 1000 * i);
    EXPECT_EQ(e.pdr_step_flags.at(k), i % 7 == 0 ? 3.0 : 0.0);
  }
  e.last_step_time_ns = 0;
  EXPECT_TRUE(e.PdrStatus(kLastTime)) << "no step yet";
}

}  // namespace
