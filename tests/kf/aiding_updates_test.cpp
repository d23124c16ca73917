#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;

const Matrix kGyro{0.011, -0.007, 0.004};  // rad/s
constexpr double kPitch = 0.25, kRoll = -0.45;

// What a device at rest shows at the given tilt, its bias added.
Matrix standing(const INS& ins, double pitch, double roll) {
  return attitude(ins.att_mode, pitch, roll, 0.0).transpose() * Matrix{0.0, 0.0, 9.80665} +
         Matrix(ins.db);
}

Matrix sideways_and_up(const INS& ins) {
  const Matrix v = vehicle_frame(ins) * Matrix(ins.vn);
  return {v[0], v[2]};
}

Matrix tilt_difference(const INS& ins) {
  return Matrix(ins.att, 2) - (ins.att_mode == 2 ? Matrix{kPitch, kRoll} : Matrix{kRoll, kPitch});
}

struct Aid {
  double sigma;
  std::function<void(KF&, INS&)> update;
  std::function<Matrix(const INS&)> z;
  double fed_back[6];  // share of X that the navigator gets, by groups of three states
};

const Aid kAids[] = {
    {0.01, ZUPT, [](const INS& ins) { return Matrix(ins.vn); }, {1, 1, 1, 1, 1, 0}},
    {0.05, NHC, sideways_and_up, {1, 1, 1, 1, 1, 0}},
    {3e-4,
     [](KF& kf, INS& ins) { wBiasupdate(kf, ins, Matrix(kGyro).data()); },
     [](const INS& ins) { return kGyro - Matrix(ins.eb); },
     {0, 0, 0, 1, 0, 0}},
    {0.04,
     [](KF& kf, INS& ins) { tiltupdate(kf, ins, standing(ins, kPitch, kRoll).data()); },
     tilt_difference,
     {-1, 0, 0, 0, 0, 0}},
};
constexpr int kTilt = 3;

class Aids : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(ZuptNhcBiasTilt, Aids, testing::Range(0, 4));

TEST_P(Aids, AgreesWithTheTextbookAndLeavesTheRestOfTheRecord) {
  const Aid& aid = kAids[GetParam()];
  for (int i = 0; i < 20; ++i) {
    const Matrix angles = Matrix::random(3);
    INS ins = make_vehicle(1 + i % 2, angles[0], angles[1], 3.0 * angles[2]), expected = ins;
    KF kf = make_filter(), record = kf;
    const Matrix z = aid.z(ins), R = aid.sigma * aid.sigma * Matrix::identity(z.rows);
    Matrix H = derivative(ins, aid.z);
    H.set_part(0, 15, Matrix::zero(z.rows, 3));  // the mounting is taken for known
    if (GetParam() == kTilt)
      H = Matrix::identity(18).part(0, 0, 2, 18);  // true at yaw 0 but for the sign
    const Estimate estimate = textbook_update(Matrix(kf.P, 18, 18), H, R, z);
    ASSERT_GT(estimate.X.part(0, 0, 2).norm(), 2e-4);  // a rotation below 1e-4 would be dropped
    aid.update(kf, ins);
    EXPECT_LT(distance(kf.X, estimate.X), 1e-6 * estimate.X.norm());
    EXPECT_LT(distance(kf.P, estimate.P), 1e-7);
    EXPECT_EQ(distance(kf.P, Matrix(kf.P, 18, 18).transpose()), 0.0);
    Matrix change(kf.X, 18);
    for (std::size_t k = 0; k < 18; ++k) change[k] *= aid.fed_back[k / 3];
    if (GetParam() == kTilt) change[2] = 0.0;  // tilt knows nothing of the heading
    correct(expected, change);
    EXPECT_LT(error_of(ins, expected).norm(), 1e-12);
    EXPECT_LT(distance(ins.att, Matrix(expected.att)), 1e-12);
    EXPECT_LT(distance(ins.Cnb, Matrix(expected.Cnb, 3, 3)), 1e-12);
    std::copy_n(record.P, 324, record.P_prior);
    std::copy_n(kf.P, 324, record.P);
    std::copy_n(kf.X, 18, record.X);
    EXPECT_EQ(std::memcmp(&kf, &record, sizeof(KF)), 0);
  }
}

// With equal variances half the difference is taken out; pitch and roll turn about axes a little
// aside from east and north. Without an Euler order the attitude stays.
TEST(Tilt, PullsTowardsTheAccelerometerWithHeadingNorth) {
  for (const int mode : {0, 1, 2, 3}) {
    for (const double roll : {-0.25, 0.1, 0.3}) {
      INS ins = make_vehicle(mode, 0.25, roll - 0.08, 0.0);
      KF kf{};
      store(0.0016 * Matrix::identity(18), kf.P);
      tiltupdate(kf, ins, standing(ins, 0.2, roll).data());
      const bool known = mode == 1 || mode == 2;
      const Matrix expected = attitude(mode, known ? 0.225 : 0.25, roll - (known ? 0.04 : 0.08), 0);
      EXPECT_LT(distance(ins.Cnb, expected), known ? 0.02 : 1e-15) << mode;
      EXPECT_NEAR(kf.P[0], 0.0008, 1e-15);
    }
  }
}

TEST(Tilt, DifferenceAcrossHalfATurnIsNotWrapped) {
  INS ins = make_vehicle(2, 0.0, 3.13, 0.0);
  KF kf{};
  store(0.0016 * Matrix::identity(18), kf.P);
  tiltupdate(kf, ins, standing(ins, 0.0, -3.13).data());
  EXPECT_NEAR(kf.X[1], 3.13, 1e-12);
}

}  // namespace
