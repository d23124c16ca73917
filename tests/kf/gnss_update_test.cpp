#include <gtest/gtest.h>

#include "tests/kf/vehicle.h"

namespace {

using namespace zuvdr::tests;
using Vector8 = Eigen::Matrix<double, 8, 1>;
using Square8 = Eigen::Matrix<double, 8, 8>;
using Matrix18x8 = Eigen::Matrix<double, 18, 8, Eigen::RowMajor>;

Vector8 measurement(const INS& ins) {
  const Vector3d v = vehicle_frame(ins) * Vector3d(ins.vn);
  return (Vector8() << Vector3d(ins.vn), Vector3d(ins.pos), v[0], v[2]).finished();
}

// H by finite differences; standing, the two vehicle rows see only the velocity.
TEST(GnssUpdate, AgreesWithTheTextbookAndAddsToTheEstimate) {
  for (int i = 0; i < 20; ++i) {
    const Vector3d angles = Vector3d::Random();
    INS ins = make_vehicle(1 + i % 2, angles[0], angles[1], 3.0 * angles[2]);
    if (i == 0) Vector3d::Map(ins.vn).setZero();
    const INS before = ins;
    KF kf = make_filter();
    const Square18 P = Square18::Map(kf.P);
    Vector8 z = 5.0 * Vector8::Random(), r;
    r << 0.3, 0.4, 0.5, 2.0, 3.0, 4.0, 0.1, 0.05;
    const Rows18 H = derivative(ins, measurement);
    const Estimate expected = textbook_update(P, H, r, z);
    KfUpdate(ins, kf, z.data(), r.data(), true);
    EXPECT_LT(distance(kf.X, expected.X + Vector18::Constant(0.625)), 1e-6);
    EXPECT_LT(distance(kf.P, expected.P), 1e-7);
    EXPECT_EQ(distance(kf.P, Square18::Map(kf.P).transpose()), 0.0);
    EXPECT_EQ(distance(kf.P_prior, P), 0.0);
    const Square8 R = r.cwiseAbs2().asDiagonal(), S = H * P * H.transpose() + R;
    const Eigen::Matrix<double, 18, 8> PHt = P * H.transpose();
    EXPECT_LT(distance(kf.R, R), 1e-14);
    EXPECT_LT(distance(kf.PHt, PHt), 1e-7);
    EXPECT_LT(distance(kf.S, S), 1e-6);
    EXPECT_LT((Matrix18x8::Map(kf.K) * S - PHt).norm(), 1e-6);
    EXPECT_TRUE(std::all_of(kf.H, kf.H + 144, [](double h) { return h == 0.625; }));
    EXPECT_EQ(error_of(ins, INS{}), error_of(before, INS{}));  // feeds nothing back
  }
}

// All errors hang together, so that one fix shows every one of them: the update must bring
// attitude, biases and mounting to the truth as well, each with its own sign. Without an error
// nothing moves.
TEST(GnssUpdate, CorrectsEveryStateTowardsTheTruth) {
  Vector18 error;
  error << 3e-3, -2e-3, 5e-3, 0.4, -0.3, 0.2, 4.0, 6.0, -3.0, 1e-3, -2e-3, 3e-3, 0.02, -0.03, 0.01,
      4e-3, -6e-3, 8e-3;
  for (const double factor : {1.0, 0.0}) {
    INS truth = make_vehicle(2, 0.2, -0.4, 1.0);
    Vector3d::Map(truth.vn) = 12.0 * vehicle_frame(truth).row(1).transpose();  // straight ahead
    INS ins = truth;
    correct(ins, -factor * error);
    const Matrix3d frame = vehicle_frame(ins);
    for (double* v : {ins.after_fb[0], ins.after_an[0], ins.after_wb}) std::fill_n(v, 3, 1.0);
    KF kf = make_filter();
    Square18::Map(kf.P) = error * error.transpose() + 1e-12 * Square18::Identity();
    Vector8 r = Vector8::Constant(0.01);
    r.tail<2>().setOnes();  // these rows are of second order in the error
    Vector3d pos(truth.pos), vel(truth.vn);
    glvs glv{};
    MeasureUpdate(pos.data(), vel.data(), r.data(), ins, kf, glv);
    const Vector18 left = error_of(ins, truth).cwiseQuotient(error);
    EXPECT_LT(left.norm(), factor == 0.0 ? 1e-12 : 0.01) << left;
    EXPECT_LT(distance(kf.X, factor * error), 1e-3);
    EXPECT_LT(distance(ins.att, Vector3d(truth.att)), 1e-4);
    EXPECT_LT(distance(ins.install_att, Vector3d(truth.install_att)), 1e-4);
    EXPECT_LT(distance(ins.Cmount, frame), 1e-14);  // that of the innovation
    EXPECT_EQ(Vector3d(ins.after_an[0]) + Vector3d(ins.after_wb), Vector3d::Zero());
    EXPECT_EQ(Vector3d(ins.after_fb[0]), Vector3d::Ones());
  }
}

}  // namespace
