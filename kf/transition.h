// The transition of the error state in blocks of 3 x 3 (C = Cnb, f = fn, d = 1 - dt/3600,
// everything else zero). Transition takes any values in these blocks but for the I.
//
//   Phi        att      vel    pos    gyro b  acc b   mount
//   attitude   I                      -C dt
//   velocity   [f x]dt  I                     C dt
//   position            I dt   I
//   gyro bias                         d I
//   acc bias                                  d I
//   mounting                                          I
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "kf/block_algebra.h"
#include "kf/kf.h"

namespace zuvdr {

// Where a Phi of the form above is zero: all bits are set there, none elsewhere. (A negative zero
// counts as another form; kffk writes none.)
constexpr std::array<std::uint64_t, kStates * kStates> zeros_of_transition() {
  std::array<std::uint64_t, kStates * kStates> zeros{};
  zeros.fill(~std::uint64_t{0});
  for (std::size_t i = 0; i < kStates; ++i) zeros[i * kStates + i] = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      zeros[(kAttitude + i) * kStates + kGyroBias + j] = 0;
      zeros[(kVelocity + i) * kStates + kAttitude + j] = 0;
      zeros[(kVelocity + i) * kStates + kAccBias + j] = 0;
    }
    zeros[(kPosition + i) * kStates + kVelocity + i] = 0;
  }
  return zeros;
}

inline constexpr std::array<std::uint64_t, kStates* kStates> kTransitionZeros =
    zeros_of_transition();

// The three elements of a vector of states whose elements lie `stride` apart.
template <std::size_t stride>
Vector3 load(const double* v, State state) {
  return {v[state * stride], v[(state + 1) * stride], v[(state + 2) * stride]};
}

template <std::size_t stride>
void store(const Vector3& value, double* v, State state) {
  v[state * stride] = value.x;
  v[(state + 1) * stride] = value.y;
  v[(state + 2) * stride] = value.z;
}

// The blocks of a Phi of that form, whatever their values.
class Transition {
 public:
  // The blocks of Phi; none when it has another form.
  static std::optional<Transition> of(const double* Phi) {
    std::uint64_t bits = 0;
    for (std::size_t k = 0; k < kStates * kStates / 2; ++k) {  // two halves side by side
      const std::size_t l = k + kStates * kStates / 2;
      bits |= std::bit_cast<std::uint64_t>(Phi[k]) & kTransitionZeros[k];
      bits |= std::bit_cast<std::uint64_t>(Phi[l]) & kTransitionZeros[l];
    }
    bool unit = true;
    for (const State group : {kAttitude, kVelocity, kPosition, kMounting}) {
      for (std::size_t i = group; i < group + 3; ++i) {
        unit = unit && Phi[i * (kStates + 1)] == 1.0;
      }
    }
    if (bits != 0 || !unit) return std::nullopt;
    return Transition(Phi);
  }

  // Phi must have that form.
  explicit Transition(const double* Phi)
      : attitude_gyro_bias(block(Phi, kAttitude, kGyroBias)),
        velocity_attitude(block(Phi, kVelocity, kAttitude)),
        velocity_acc_bias(block(Phi, kVelocity, kAccBias)),
        position_velocity(diagonal_of(Phi, kPosition, kVelocity)),
        gyro_bias(diagonal_of(Phi, kGyroBias, kGyroBias)),
        acc_bias(diagonal_of(Phi, kAccBias, kAccBias)) {}

  // out = Phi v, the picture above row by row; the 18 elements of v and of out lie `stride` apart.
  // Inlined by force: then a loop over neighbouring vectors works on several at a time.
  template <std::size_t stride>
  [[gnu::always_inline]] void apply(const double* v, double* out) const {
    const Vector3 attitude = load<stride>(v, kAttitude);
    const Vector3 velocity = load<stride>(v, kVelocity);
    const Vector3 position = load<stride>(v, kPosition);
    const Vector3 gyro = load<stride>(v, kGyroBias);
    const Vector3 acc = load<stride>(v, kAccBias);
    const Vector3 mounting = load<stride>(v, kMounting);
    store<stride>(add_product(attitude, attitude_gyro_bias, gyro), out, kAttitude);
    store<stride>(add_product(velocity_attitude * attitude + velocity, velocity_acc_bias, acc), out,
                  kVelocity);
    store<stride>(scale(position_velocity, velocity) + position, out, kPosition);
    store<stride>(scale(gyro_bias, gyro), out, kGyroBias);
    store<stride>(scale(acc_bias, acc), out, kAccBias);
    store<stride>(mounting, out, kMounting);
  }

  const Matrix3 attitude_gyro_bias;
  const Matrix3 velocity_attitude;
  const Matrix3 velocity_acc_bias;
  const Vector3 position_velocity;  // diagonals
  const Vector3 gyro_bias;
  const Vector3 acc_bias;

 private:
  static Matrix3 block(const double* Phi, State row, State column) {
    const double* a = Phi + row * kStates + column;
    const double* b = a + kStates;
    const double* c = b + kStates;
    return {{a[0], a[1], a[2], b[0], b[1], b[2], c[0], c[1], c[2]}};
  }
  static Vector3 diagonal_of(const double* Phi, State row, State column) {
    const Matrix3 d = block(Phi, row, column);
    return {d.e[0], d.e[4], d.e[8]};
  }
};

}  // namespace zuvdr
