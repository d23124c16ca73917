// The structured forms against full products of dense matrices: the same bits, for any input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include "tests/kf/dense_filter.h"
#include "tests/kf/vehicle.h"

namespace {

using namespace zuvdr::tests;
namespace dense = zuvdr::dense;

struct Vehicle {
  INS ins;
  KF kf;
};

// The elements of both records that differ; NaN equals NaN and 0 equals -0.
std::string difference(const Vehicle& a, const Vehicle& b) {
  const auto compare = [](const void* x, const void* y, std::size_t size, const char* name) {
    std::string text;
    for (std::size_t offset = 0; offset < size; offset += sizeof(double)) {
      double u, v;
      std::memcpy(&u, static_cast<const char*>(x) + offset, sizeof u);
      std::memcpy(&v, static_cast<const char*>(y) + offset, sizeof v);
      if (u == v || (std::isnan(u) && std::isnan(v))) continue;
      if (text.size() < 200) {
        text += name + (" at " + std::to_string(offset)) + ": " + std::to_string(u) + " and " +
                std::to_string(v) + '\n';
      }
    }
    return text;
  };
  return compare(&a.kf, &b.kf, sizeof(KF), "KF") +
         compare(&a.ins, &b.ins, offsetof(INS, pitch_hist), "INS") +
         compare(a.ins.install_att, b.ins.install_att,
                 offsetof(INS, att_mode) - offsetof(INS, install_att), "mounting");
}

double imu[6] = {0.1, -0.2, 0.3, 1.5, -0.7, 9.6};
double z[8] = {0.3, -0.2, 0.1, 3.0, -5.0, 1.0, 0.4, -0.1};
double r[8] = {0.3, 0.4, 0.5, 2.0, 3.0, 4.0, 0.1, 0.05};
double fix_position[3] = {122.0, -39.0, 5.0}, fix_velocity[3] = {7.3, -10.8, 0.7};
double sample[3] = {0.3, 0.9, 9.7};
glvs earth{};
constexpr double kDt = 0.04;  // s

struct Operation {
  const char* name;
  std::function<void(Vehicle&)> fast, plain;
};

const Operation kOperations[] = {
    {"QkUpdate", [](Vehicle& v) { QkUpdate(v.ins, v.kf, imu, kDt); },
     [](Vehicle& v) { dense::QkUpdate(v.ins, v.kf, imu, kDt); }},
    {"KfPredict", [](Vehicle& v) { KfPredict(v.kf); }, [](Vehicle& v) { dense::KfPredict(v.kf); }},
    {"time update", [](Vehicle& v) { zuvdr::time_update(v.ins, v.kf, imu, kDt); },
     [](Vehicle& v) {
       kffk(v.ins, v.kf, kDt);
       dense::QkUpdate(v.ins, v.kf, imu, kDt);
       dense::KfUpdate(v.ins, v.kf, z, r, false);
     }},
    {"KfUpdate", [](Vehicle& v) { KfUpdate(v.ins, v.kf, z, r, true); },
     [](Vehicle& v) { dense::KfUpdate(v.ins, v.kf, z, r, true); }},
    {"MeasureUpdate",
     [](Vehicle& v) { MeasureUpdate(fix_position, fix_velocity, r, v.ins, v.kf, earth); },
     [](Vehicle& v) { dense::MeasureUpdate(fix_position, fix_velocity, r, v.ins, v.kf, earth); }},
    {"ZUPT", [](Vehicle& v) { ZUPT(v.kf, v.ins); }, [](Vehicle& v) { dense::ZUPT(v.kf, v.ins); }},
    {"NHC", [](Vehicle& v) { NHC(v.kf, v.ins); }, [](Vehicle& v) { dense::NHC(v.kf, v.ins); }},
    {"wBiasupdate", [](Vehicle& v) { wBiasupdate(v.kf, v.ins, sample); },
     [](Vehicle& v) { dense::wBiasupdate(v.kf, v.ins, sample); }},
    {"tiltupdate", [](Vehicle& v) { tiltupdate(v.kf, v.ins, sample); },
     [](Vehicle& v) { dense::tiltupdate(v.kf, v.ins, sample); }},
};

Vehicle vehicle(int mode, bool structured) {
  const Vector3d angles = Vector3d::Random();
  Vehicle v{make_vehicle(mode, angles[0], angles[1], 3.0 * angles[2]), make_filter()};
  Vector3d::Map(v.ins.fn) = 10.0 * Vector3d::Random();
  if (structured) {
    kffk(v.ins, v.kf, kDt);
  } else {
    Square18::Map(v.kf.Phi).setRandom();
    Square18::Map(v.kf.P).setRandom();
  }
  return v;
}

void expect_agreement(const Vehicle& start, const std::string& what) {
  for (const Operation& operation : kOperations) {
    Vehicle fast = start, plain = start;
    operation.fast(fast);
    operation.plain(plain);
    ASSERT_EQ(difference(fast, plain), "") << operation.name << ", " << what;
  }
}

TEST(DenseAgreement, OfAnyTransitionAndCovariance) {
  for (int i = 0; i < 100; ++i) {
    expect_agreement(vehicle(i % 3, true), "filter");
    expect_agreement(vehicle(i % 3, false), "arbitrary matrices");
  }
  // One element off the form of the transition.
  for (std::size_t k = 0; k < 324; k += 5) {
    Vehicle v = vehicle(1, true);
    v.kf.Phi[k] += 0.25;
    expect_agreement(v, "transition with element " + std::to_string(k) + " changed");
  }
}

// Zero times an infinity or a NaN is a NaN: it must reach the states that it reaches through the
// full products, also where products of large values overflow.
TEST(DenseAgreement, OfValuesThatAreNotFinite) {
  std::mt19937 random(1);
  const double values[] = {std::nan(""), std::numeric_limits<double>::infinity(), 1e200, -1e308};
  for (int i = 0; i < 400; ++i) {
    for (const double value : values) {
      Vehicle v = vehicle(1 + i % 2, true);
      double* const places[] = {v.kf.P, v.kf.Phi, v.kf.Qk, v.ins.Cnb, v.ins.vn, v.ins.fn, v.ins.eb};
      const std::size_t sizes[] = {324, 324, 324, 9, 3, 3, 3};
      const auto place = static_cast<std::size_t>(i) % std::size(places);
      const std::size_t element = random() % sizes[place];
      places[place][element] = value;
      expect_agreement(v, std::to_string(value) + " in place " + std::to_string(place) +
                              ", element " + std::to_string(element));
    }
  }
}

TEST(DenseAgreement, OfTheGeneralProcessNoise) {
  for (int i = 0; i < 20; ++i) {
    Vehicle fast = vehicle(1, i % 2 == 0), plain = fast;
    Eigen::Matrix<double, 18, 15, Eigen::RowMajor> G;
    Eigen::Matrix<double, 15, 15, Eigen::RowMajor> q;
    G.setRandom();
    q.setRandom();
    const auto rows = [](double* a) { return reinterpret_cast<double(*)[15]>(a); };
    QkCal(fast.kf, rows(G.data()), rows(q.data()), kDt);
    dense::QkCal(plain.kf, rows(G.data()), rows(q.data()), kDt);
    ASSERT_EQ(difference(fast, plain), "");
  }
}

// Both forms side by side through an hour: standstills with their aids, bends, fixes, and tunnels
// in which only the vehicle's constraint holds.
TEST(DenseAgreement, OfALongDrive) {
#ifdef NDEBUG
  constexpr int kEpochs = 100000;
#else
  constexpr int kEpochs = 3000;  // without optimisation the plain form takes a millisecond an epoch
#endif
  std::mt19937 random(2);
  std::normal_distribution<double> noise;
  double level[4] = {1.0, 0.0, 0.0, 0.0}, zero[3] = {};
  Vehicle fast{}, plain{};
  for (Vehicle* v : {&fast, &plain}) {
    InsInit1(level, v->ins, zero, zero, zero, zero, earth, 1);
    KfInit(v->kf, earth, kDt);
  }
  INS remembers{};
  double previous_rate[3] = {};
  double speed = 0.0, heading = 0.0;  // m/s, rad counter-clockwise from north
  Vector3d position = Vector3d::Zero();
  for (int i = 0; i < kEpochs; ++i) {
    const int second = i / 25 % 300;
    const bool standing = second<20, tunnel = second> 200 && second < 260;
    const double thrust = standing ? 0.0 : second < 40 ? 0.75 : second > 279 ? -0.75 : 0.0;
    const double turn = standing ? 0.0 : 0.1 * std::sin(0.02 * i);  // rad/s
    if (standing) speed = 0.0;
    speed += thrust * kDt;
    heading += turn * kDt;
    position += kDt * speed * Vector3d(-std::sin(heading), std::cos(heading), 0.0);
    double reading[6] = {0.002, -0.001, turn + 0.003, -turn * speed + 0.02, thrust - 0.03, 9.85};
    for (int k = 0; k < 6; ++k) reading[k] += (k < 3 ? 2e-4 : 0.03) * noise(random);

    // The attitude step remembers the rate of the call before: each form gets that of its own.
    INS& ins = plain.ins;
    const double rate[3] = {reading[0] - ins.eb[0], reading[1] - ins.eb[1], reading[2] - ins.eb[2]};
    InsUpdate(fast.ins, reading, kDt);
    qupdt3(remembers, previous_rate, 0.0);
    InsUpdate(plain.ins, reading, kDt);
    std::copy_n(rate, 3, previous_rate);

    zuvdr::time_update(fast.ins, fast.kf, reading, kDt);
    kffk(plain.ins, plain.kf, kDt);
    dense::QkUpdate(plain.ins, plain.kf, reading, kDt);
    dense::KfUpdate(plain.ins, plain.kf, z, r, false);
    if (standing) {
      wBiasupdate(fast.kf, fast.ins, reading);
      dense::wBiasupdate(plain.kf, plain.ins, reading);
      tiltupdate(fast.kf, fast.ins, reading + 3);
      dense::tiltupdate(plain.kf, plain.ins, reading + 3);
      ZUPT(fast.kf, fast.ins);
      dense::ZUPT(plain.kf, plain.ins);
    } else if (i % 25 == 0) {
      if (tunnel) {
        NHC(fast.kf, fast.ins);
        dense::NHC(plain.kf, plain.ins);
      } else {
        Vector3d pos = position, vel = speed * Vector3d(-std::sin(heading), std::cos(heading), 0.0);
        for (int k = 0; k < 3; ++k) {
          pos[k] += 2.0 * noise(random);
          vel[k] += 0.2 * noise(random);
        }
        MeasureUpdate(pos.data(), vel.data(), r, fast.ins, fast.kf, earth);
        dense::MeasureUpdate(pos.data(), vel.data(), r, plain.ins, plain.kf, earth);
      }
    }
    ASSERT_EQ(std::memcmp(fast.kf.P, plain.kf.P, sizeof fast.kf.P), 0) << "epoch " << i;
    if (i % 20 != 0) continue;
    ASSERT_EQ(difference(fast, plain), "") << "epoch " << i;
    const Square18 P = Square18::Map(fast.kf.P);
    ASSERT_TRUE(P == P.transpose()) << "epoch " << i;
    ASSERT_EQ(P.llt().info(), Eigen::Success) << "epoch " << i;
  }
  EXPECT_LT((Vector3d(fast.ins.pos) - position).norm(), 50.0) << "not a drive any more";
}

// The two inverses, on the innovation covariances of the drive's fixes, differ by rounding only.
TEST(DenseAgreement, OfBothInverses) {
  for (int i = 0; i < 20; ++i) {
    Vehicle a = vehicle(1, true), b = a;
    dense::KfUpdate(a.ins, a.kf, z, r, true);
    dense::inverse = dense::cofactor_inverse;
    dense::KfUpdate(b.ins, b.kf, z, r, true);
    dense::inverse = MatrixInverse_n;
    for (std::size_t k = 0; k < 324; ++k) {
      const double scale = std::sqrt(b.kf.P_prior[k / 18 * 19] * b.kf.P_prior[k % 18 * 19]);
      ASSERT_NEAR(a.kf.P[k], b.kf.P[k], 1e-12 * scale);
    }
  }
}

}  // namespace
