// The structured forms against full products of dense matrices: the same values, for any input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <string>

#include "kf/time_update.h"
#include "tests/kf/dense_filter.h"
#include "tests/textbook.h"

namespace {

using namespace zuvdr::tests;
namespace dense = zuvdr::dense;

struct Vehicle {
  INS ins;
  KF kf;
  double imu[6] = {0.1, -0.2, 0.3, 1.5, -0.7, 9.6};
  double z[8] = {0.3, -0.2, 0.1, 3.0, -5.0, 1.0, 0.4, -0.1};
  double r[8] = {0.3, 0.4, 0.5, 2.0, 3.0, 4.0, 0.1, 0.05};
  double fix_position[3] = {122.0, -39.0, 5.0};
  double fix_velocity[3] = {7.3, -10.8, 0.7};
  double sample[3] = {0.3, 0.9, 9.7};
  double dt = 0.04;  // s
};

// The elements of both records that differ; NaN equals NaN and 0 equals -0. The histories of the
// navigator, which no filter touches, are left out.
std::string difference(const Vehicle& a, const Vehicle& b) {
  const auto compare = [](const void* x, const void* y, std::size_t size, const char* name) {
    std::string text;
    for (std::size_t offset = 0; offset < size; offset += sizeof(double)) {
      double u, v;
      std::memcpy(&u, static_cast<const char*>(x) + offset, sizeof u);
      std::memcpy(&v, static_cast<const char*>(y) + offset, sizeof v);
      if (u == v || (std::isnan(u) && std::isnan(v)) || text.size() > 200) continue;
      char line[100];
      std::snprintf(line, sizeof line, "%s at %zu: %.17g and %.17g\n", name, offset, u, v);
      text += line;
    }
    return text;
  };
  constexpr std::size_t kMountingSize = offsetof(INS, att_mode) - offsetof(INS, install_att);
  return compare(&a.kf, &b.kf, sizeof(KF), "KF") +
         compare(&a.ins, &b.ins, offsetof(INS, pitch_hist), "INS") +
         compare(a.ins.install_att, b.ins.install_att, kMountingSize, "mounting");
}

glvs earth{};

struct Operation {
  const char* name;
  std::function<void(Vehicle&)> fast, plain;
};

const Operation kOperations[] = {
    {"QkUpdate", [](Vehicle& v) { QkUpdate(v.ins, v.kf, v.imu, v.dt); },
     [](Vehicle& v) { dense::QkUpdate(v.ins, v.kf, v.imu, v.dt); }},
    {"KfPredict", [](Vehicle& v) { KfPredict(v.kf); }, [](Vehicle& v) { dense::KfPredict(v.kf); }},
    {"time update", [](Vehicle& v) { zuvdr::time_update(v.ins, v.kf, v.imu, v.dt); },
     [](Vehicle& v) {
       kffk(v.ins, v.kf, v.dt);
       dense::QkUpdate(v.ins, v.kf, v.imu, v.dt);
       dense::KfUpdate(v.ins, v.kf, v.z, v.r, false);
     }},
    {"KfUpdate", [](Vehicle& v) { KfUpdate(v.ins, v.kf, v.z, v.r, true); },
     [](Vehicle& v) { dense::KfUpdate(v.ins, v.kf, v.z, v.r, true); }},
    {"MeasureUpdate",
     [](Vehicle& v) { MeasureUpdate(v.fix_position, v.fix_velocity, v.r, v.ins, v.kf, earth); },
     [](Vehicle& v) {
       dense::MeasureUpdate(v.fix_position, v.fix_velocity, v.r, v.ins, v.kf, earth);
     }},
    {"ZUPT", [](Vehicle& v) { ZUPT(v.kf, v.ins); }, [](Vehicle& v) { dense::ZUPT(v.kf, v.ins); }},
    {"NHC", [](Vehicle& v) { NHC(v.kf, v.ins); }, [](Vehicle& v) { dense::NHC(v.kf, v.ins); }},
    {"wBiasupdate", [](Vehicle& v) { wBiasupdate(v.kf, v.ins, v.sample); },
     [](Vehicle& v) { dense::wBiasupdate(v.kf, v.ins, v.sample); }},
    {"tiltupdate", [](Vehicle& v) { tiltupdate(v.kf, v.ins, v.sample); },
     [](Vehicle& v) { dense::tiltupdate(v.kf, v.ins, v.sample); }},
};

Vehicle vehicle(int mode, bool structured) {
  const Matrix angles = Matrix::random(3);
  Vehicle v{.ins = make_vehicle(mode, angles[0], angles[1], 3.0 * angles[2]), .kf = make_filter()};
  store(10.0 * Matrix::random(3), v.ins.fn);
  if (structured) {
    kffk(v.ins, v.kf, v.dt);
  } else {
    store(Matrix::random(18, 18), v.kf.Phi);
    store(Matrix::random(18, 18), v.kf.P);
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
  for (std::size_t k = 0; k < 324; ++k) {
    const Vehicle v = vehicle(1, true);
    for (const double change : {0.25, std::nan("")}) {
      Vehicle changed = v;
      changed.kf.Phi[k] += change;
      expect_agreement(changed, "transition with element " + std::to_string(k) + " changed");
    }
  }
  for (const double dt : {0.0, -0.04, 3600.0, 1e30}) {
    Vehicle v = vehicle(2, true);
    v.dt = dt;
    expect_agreement(v, "step of " + std::to_string(dt) + " s");
  }
}

// Zero times an infinity or a NaN is a NaN: it must reach the states that it reaches through the
// full products, also where products of large values overflow.
TEST(DenseAgreement, OfValuesThatAreNotFinite) {
  std::mt19937 random(1);
  const double values[] = {std::nan(""), std::numeric_limits<double>::infinity(), 1e200, -1e308};
  for (int i = 0; i < 600; ++i) {
    for (const double value : values) {
      Vehicle v = vehicle(1 + i % 2, true);
      const std::span<double> places[] = {
          v.kf.P, v.kf.Phi, v.kf.Qk, v.ins.Cnb, v.ins.vn,  v.ins.fn, v.ins.eb, v.ins.install_Cnb,
          v.imu,  v.z,      v.r,     v.sample,  {&v.dt, 1}};
      const auto place = static_cast<std::size_t>(i) % std::size(places);
      const std::size_t element = random() % places[place].size();
      places[place][element] = value;
      expect_agreement(v, std::to_string(value) + " in place " + std::to_string(place) +
                              ", element " + std::to_string(element));
    }
  }
}

TEST(DenseAgreement, OfTheGeneralProcessNoise) {
  for (int i = 0; i < 20; ++i) {
    Vehicle fast = vehicle(1, i % 2 == 0), plain = fast;
    Matrix G = Matrix::random(18, 15), q = Matrix::random(15, 15);
    const auto rows = [](double* a) { return reinterpret_cast<double(*)[15]>(a); };
    QkCal(fast.kf, rows(G.data()), rows(q.data()), fast.dt);
    dense::QkCal(plain.kf, rows(G.data()), rows(q.data()), plain.dt);
    ASSERT_EQ(difference(fast, plain), "");
  }
}

// Both forms side by side through an hour: standstills with their aids, bends, fixes, and tunnels
// in which only the vehicle's constraint holds.
TEST(DenseAgreement, OfALongDrive) {
  // Under the sanitizers the plain form takes a millisecond an epoch.
  constexpr int kEpochs = ZUVDR_SANITIZED ? 3000 : 100000;
  constexpr double kDt = 0.04;  // s
  std::mt19937 random(2);
  std::normal_distribution<double> noise;
  double level[4] = {1.0, 0.0, 0.0, 0.0}, zero[3] = {};
  Vehicle fast{}, plain{};
  for (Vehicle* v : {&fast, &plain}) {
    InsInit1(level, v->ins, zero, zero, zero, zero, earth, 1);
    KfInit(v->kf, earth, kDt);
  }
  INS rate_setter{};
  double previous_rate[3] = {};
  double speed = 0.0, heading = 0.0;  // m/s, rad counter-clockwise from north
  double position[3] = {};
  for (int i = 0; i < kEpochs; ++i) {
    const int second = i / 25 % 300;
    const bool standing = second < 20;
    const bool tunnel = second > 200 && second < 260;
    const double thrust = standing ? 0.0 : second < 40 ? 0.75 : second > 279 ? -0.75 : 0.0;
    const double turn = standing ? 0.0 : 0.1 * std::sin(0.02 * i);  // rad/s
    if (standing) speed = 0.0;
    speed += thrust * kDt;
    heading += turn * kDt;
    const double velocity[3] = {-speed * std::sin(heading), speed * std::cos(heading), 0.0};
    for (int k = 0; k < 3; ++k) position[k] += kDt * velocity[k];
    double reading[6] = {0.002, -0.001, turn + 0.003, -turn * speed + 0.02, thrust - 0.03, 9.85};
    for (int k = 0; k < 6; ++k) reading[k] += (k < 3 ? 2e-4 : 0.03) * noise(random);

    // The attitude step remembers the rate of the call before, whichever record that was for. A
    // step of no time puts the plain form's own back, which the fast form meets next time as well:
    // they are the same as long as the test holds.
    INS& ins = plain.ins;
    const double rate[3] = {reading[0] - ins.eb[0], reading[1] - ins.eb[1], reading[2] - ins.eb[2]};
    InsUpdate(fast.ins, reading, kDt);
    qupdt3(rate_setter, previous_rate, 0.0);
    InsUpdate(plain.ins, reading, kDt);
    std::copy_n(rate, 3, previous_rate);

    zuvdr::time_update(fast.ins, fast.kf, reading, kDt);
    kffk(plain.ins, plain.kf, kDt);
    dense::QkUpdate(plain.ins, plain.kf, reading, kDt);
    dense::KfUpdate(plain.ins, plain.kf, nullptr, nullptr, false);
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
        double pos[3], vel[3];
        for (int k = 0; k < 3; ++k) {
          pos[k] = position[k] + 2.0 * noise(random);
          vel[k] = velocity[k] + 0.2 * noise(random);
        }
        MeasureUpdate(pos, vel, fast.r, fast.ins, fast.kf, earth);
        dense::MeasureUpdate(pos, vel, plain.r, plain.ins, plain.kf, earth);
      }
    }
    ASSERT_EQ(std::memcmp(fast.kf.P, plain.kf.P, sizeof fast.kf.P), 0) << "epoch " << i;
    ASSERT_TRUE(is_covariance(fast.kf.P, 18)) << "epoch " << i;
    if (i % 20 != 0) continue;
    ASSERT_EQ(difference(fast, plain), "") << "epoch " << i;
  }
  EXPECT_LT(distance(position, Matrix(fast.ins.pos)), 50.0) << "not a drive any more";
}

// Updates with the inverse by elimination and by cofactors differ by rounding only.
TEST(DenseAgreement, OfBothInverses) {
  for (int i = 0; i < 20; ++i) {
    Vehicle a = vehicle(1, true), b = a;
    dense::KfUpdate(a.ins, a.kf, a.z, a.r, true);
    dense::inverse = dense::cofactor_inverse;
    dense::KfUpdate(b.ins, b.kf, b.z, b.r, true);
    dense::inverse = MatrixInverse_n;
    for (std::size_t k = 0; k < 324; ++k) {
      const double scale = std::sqrt(b.kf.P_prior[k / 18 * 19] * b.kf.P_prior[k % 18 * 19]);
      ASSERT_NEAR(a.kf.P[k], b.kf.P[k], 1e-12 * scale);
    }
  }
}

}  // namespace
