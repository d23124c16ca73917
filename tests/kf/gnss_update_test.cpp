#include <gtest/gtest.h>

#include <algorithm>

#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;

Matrix measurement(const INS& ins) {
  const double *v = ins.vn, *p = ins.pos;
  const Matrix in_car = vehicle_frame(ins) * Matrix(v);
  return {v[0], v[1], v[2], p[0], p[1], p[2], in_car[0], in_car[2]};
}

// H by finite differences; standing, the two vehicle rows see only the velocity.
TEST(GnssUpdate, AgreesWithTheTextbookAndAddsToTheEstimate) {
  for (int i = 0; i < 20; ++i) {
    const Matrix angles = Matrix::random(3);
    INS ins = make_vehicle(1 + i % 2, angles[0], angles[1], 3.0 * angles[2]);
    if (i == 0) std::fill_n(ins.vn, 3, 0.0);
    const INS before = ins;
    KF kf = make_filter();
    const Matrix P(kf.P, 18, 18), H = derivative(ins, measurement);
    Matrix z = 5.0 * Matrix::random(8), r{0.3, 0.4, 0.5, 2.0, 3.0, 4.0, 0.1, 0.05};
    const Matrix before_X(kf.X, 18), R = Matrix::diagonal(r) * Matrix::diagonal(r);
    const Estimate expected = textbook_update(P, H, R, z);
    KfUpdate(ins, kf, z.data(), r.data(), true);
    EXPECT_LT(distance(kf.X, expected.X + before_X), 1e-6);
    EXPECT_LT(distance(kf.P, expected.P), 1e-7);
    EXPECT_EQ(distance(kf.P, Matrix(kf.P, 18, 18).transpose()), 0.0);
    EXPECT_EQ(distance(kf.P_prior, P), 0.0);
    const Matrix PHt = P * H.transpose(), S = H * PHt + R;
    EXPECT_LT(distance(kf.R, R), 1e-14);
    EXPECT_LT(distance(kf.PHt, PHt), 1e-7);
    EXPECT_LT(distance(kf.S, S), 1e-6);
    EXPECT_LT((Matrix(kf.K, 18, 8) * S - PHt).norm(), 1e-6);
    EXPECT_TRUE(std::all_of(kf.H, kf.H + 144, [](double h) { return h == 0.625; }));
    EXPECT_EQ(error_of(ins, INS{}), error_of(before, INS{}));  // feeds nothing back
  }
}

// All errors hang together, so that one fix shows every one of them: the update must bring
// attitude, biases and mounting to the truth as well, each with its own sign. Without an error
// nothing moves.
TEST(GnssUpdate, CorrectsEveryStateTowardsTheTruth) {
  const Matrix error{3e-3, -2e-3, 5e-3, 0.4,  -0.3,  0.2,  4.0,  6.0,   -3.0,
                     1e-3, -2e-3, 3e-3, 0.02, -0.03, 0.01, 4e-3, -6e-3, 8e-3};
  for (const double factor : {1.0, 0.0}) {
    INS truth = make_vehicle(2, 0.2, -0.4, 1.0);
    store(12.0 * vehicle_frame(truth).part(1, 0, 1, 3), truth.vn);  // straight ahead
    INS ins = truth;
    correct(ins, -factor * error);
    const Matrix frame = vehicle_frame(ins);
    for (double* v : {ins.after_fb[0], ins.after_an[0], ins.after_wb}) std::fill_n(v, 3, 1.0);
    KF kf = make_filter();
    store(error * error.transpose() + 1e-12 * Matrix::identity(18), kf.P);
    // The last two rows are of second order in the error.
    double r[8] = {0.01, 0.01, 0.01, 0.01, 0.01, 0.01, 1.0, 1.0};
    INS fix = truth;
    glvs glv{};
    MeasureUpdate(fix.pos, fix.vn, r, ins, kf, glv);
    Matrix left = error_of(ins, truth);
    for (int k = 0; k < 18; ++k) left(k, 0) /= error.data()[k];
    EXPECT_LT(left.norm(), factor == 0.0 ? 1e-12 : 0.01) << testing::PrintToString(left);
    EXPECT_LT(distance(kf.X, factor * error), 1e-3);
    EXPECT_LT(distance(ins.att, Matrix(truth.att)), 1e-4);
    EXPECT_LT(distance(ins.install_att, Matrix(truth.install_att)), 1e-4);
    EXPECT_LT(distance(ins.Cmount, frame), 1e-14);  // that of the innovation
    EXPECT_EQ(Matrix(ins.after_an[0]) + Matrix(ins.after_wb), Matrix::zero(3));
    EXPECT_EQ(Matrix(ins.after_fb[0]), Matrix({1.0, 1.0, 1.0}));
  }
}

}  // namespace
