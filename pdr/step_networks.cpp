// Accelerometer: two convolutions side by side, dense 26-40-40-1. Gyroscope: one convolution, dense
// 16-64-32-32-1. Convolutions have three taps, stride 1, no padding and no activation; dense layers
// are rectified, the output is logistic.
#include "pdr/step_networks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "pdr/step_tables.h"

namespace {

// The two networks part ways on NaN: the accelerometer's takes it for 0, the gyroscope's hands it
// on.
float rectify_clearing_nan(float x) {
  return x >= 0.0f ? x : 0.0f;
}
float rectify_keeping_nan(float x) {
  return x < 0.0f ? 0.0f : x;
}

float logistic(float x) {
  return 1.0f / (1.0f + std::exp(-x));
}

// What follows sums in local arrays, then fills the exported layers: so a compiler sees that
// nothing it writes overlaps what it reads.

// y[i] = kernel . x[i .. i + 2] + bias; x has two samples more than y.
template <std::size_t Outputs>
void convolve(const float* x, const float (&kernel)[3], const float (&bias)[1],
              float (&y)[Outputs]) {
  float sum[Outputs];
  for (std::size_t i = 0; i < Outputs; ++i) {
    sum[i] = kernel[0] * x[i] + kernel[1] * x[i + 1] + kernel[2] * x[i + 2] + bias[0];
  }
  std::copy_n(sum, Outputs, y);
}

// y += x^T weights for a few inputs: a sum is loaded and stored once for all of them.
template <std::size_t Inputs, std::size_t Outputs>
void add_pass(const float* __restrict x, const float* __restrict weights, float* __restrict y) {
  for (std::size_t j = 0; j < Outputs; ++j) {
    float sum = y[j];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < Inputs; ++i) sum += x[i] * weights[i * Outputs + j];
    y[j] = sum;
  }
}

// y += x^T weights. With the outputs in the inner loop every output is still summed in the order of
// the inputs, and neighbouring outputs are independent: that vectorises without reordering a sum.
// Eight inputs a pass fit with their sum into the sixteen vector registers of x86-64.
template <std::size_t Inputs, std::size_t Outputs>
void add_products(const float (&x)[Inputs], const float (&weights)[Inputs * Outputs],
                  float (&y)[Outputs]) {
  constexpr std::size_t kPass = 8;
  constexpr std::size_t kRest = Inputs % kPass;
  for (std::size_t i = 0; i + kPass <= Inputs; i += kPass) {
    add_pass<kPass, Outputs>(x + i, weights + i * Outputs, y);
  }
  constexpr std::size_t kDone = Inputs - kRest;
  if constexpr (kRest != 0) add_pass<kRest, Outputs>(x + kDone, weights + kDone * Outputs, y);
}

// y = rectify(x^T weights + bias)
template <std::size_t Inputs, std::size_t Outputs, typename Rectifier>
void dense(const float (&x)[Inputs], const float (&weights)[Inputs * Outputs],
           const float (&bias)[Outputs], Rectifier rectify, float (&y)[Outputs]) {
  float sum[Outputs] = {};
  add_products(x, weights, sum);
  for (std::size_t j = 0; j < Outputs; ++j) y[j] = rectify(sum[j] + bias[j]);
}

// The same with the bias at the start of each sum, which rounds differently.
template <std::size_t Inputs, std::size_t Outputs, typename Rectifier>
void dense_from_bias(const float (&x)[Inputs], const float (&weights)[Inputs * Outputs],
                     const float (&bias)[Outputs], Rectifier rectify, float (&y)[Outputs]) {
  float sum[Outputs];
  std::copy_n(bias, Outputs, sum);
  add_products(x, weights, sum);
  for (std::size_t j = 0; j < Outputs; ++j) y[j] = rectify(sum[j]);
}

template <std::size_t Inputs>
float logistic_output(const float (&x)[Inputs], const float (&weights)[Inputs],
                      const float (&bias)[1]) {
  float sum[1] = {0.0f};
  add_products(x, weights, sum);
  return logistic(sum[0] + bias[0]);
}

}  // namespace

float accelerometer_step_score(const float window[zuvdr::kStepWindow],
                               const float head[zuvdr::kStepWindowHead]) {
  convolve(window, FirConvnet, FirConvnetBias, conv1d_1layer);
  convolve(head, SedConvnet, SedConvnetBias, conv1d_2layer);
  std::copy_n(conv1d_2layer, 10, std::copy_n(conv1d_1layer, 16, Dens_input));
  dense(Dens_input, Inputnet, Inputnetbias, rectify_clearing_nan, Dense1_layer);
  dense(Dense1_layer, Denesnet, Denesnetbias, rectify_clearing_nan, Dense2_layer);
  output[0] = logistic_output(Dense2_layer, Outputnet, Outputnetbias);
  return output[0];
}

float gyroscope_step_score(const float window[zuvdr::kStepWindow]) {
  convolve(window, GConvnet, GConvnetBias, conv1d_Glayer);
  dense_from_bias(conv1d_Glayer, GInputnet, GInputnetBias, rectify_keeping_nan, Dense1_Glayer);
  dense(Dense1_Glayer, GDensenet, GDensenetBias, rectify_keeping_nan, Dense2_Glayer);
  dense(Dense2_Glayer, GDensenet_2, GDensenetBias_2, rectify_keeping_nan, Dense3_Glayer);
  Goutput[0] = logistic_output(Dense3_Glayer, GOutputnet, GOutputnetBias);
  return Goutput[0];
}
