// The networks are reached through the detector: a call with full windows slides them by one sample
// (0 here, as a silent sensor leaves the band-pass silent) and scores them.
#include "pdr/step_networks.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "pdr/step_detector.h"
#include "pdr/step_tables.h"

namespace {

using Eigen::VectorXd, Eigen::VectorXf, Eigen::MatrixXf;

struct Layer {
  const float *weights, *bias;
  int outputs;
};

// Linear layers with rectifiers between them and a logistic function at the end, in double.
// Row-major inputs x outputs is, in Eigen's column-major order, the transpose that the product
// needs.
double score_of(VectorXd x, const std::vector<Layer>& layers) {
  VectorXd y;
  for (const auto& [weights, bias, outputs] : layers) {
    const Eigen::Map<const MatrixXf> transposed(weights, outputs, x.size());
    y = transposed.cast<double>() * x + Eigen::Map<const VectorXf>(bias, outputs).cast<double>();
    x = y.cwiseMax(0.0);
  }
  return 1.0 / (1.0 + std::exp(-y(0)));
}

// The same in float32 as three plain loops, every sum in the order of the inputs. The first layer
// of the gyroscope's network starts from its bias, all others add it last.
float score_in_order(std::vector<float> x, const std::vector<Layer>& layers, bool bias_first) {
  for (const auto& [weights, bias, outputs] : layers) {
    std::vector<float> y(static_cast<std::size_t>(outputs));
    for (std::size_t j = 0; j < y.size(); ++j) {
      float sum = bias_first ? bias[j] : 0.0f;
      for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * weights[i * y.size() + j];
      y[j] = bias_first ? sum : sum + bias[j];
      if (outputs > 1) y[j] = std::max(y[j], 0.0f);
    }
    x = y;
    bias_first = false;
  }
  return 1.0f / (1.0f + std::exp(-x[0]));
}

VectorXd convolution(const float* x, int outputs, const float* kernel, const float* bias) {
  VectorXd y(outputs);
  for (int i = 0; i < outputs; ++i) {
    y(i) =
        Eigen::Map<const VectorXf>(x + i, 3).dot(Eigen::Map<const VectorXf>(kernel, 3)) + bias[0];
  }
  return y;
}

void score(sns_oem_step_detector_inst_state& state) {
  float silence[3] = {};
  state.sample_count = 18;
  sns_oem_step_detector_StateMachine(0, silence, silence, &state);
}

const std::vector<Layer> acc_layers = {
    {Inputnet, Inputnetbias, 40}, {Denesnet, Denesnetbias, 40}, {Outputnet, Outputnetbias, 1}};
const std::vector<Layer> gyr_layers = {{GInputnet, GInputnetBias, 64},
                                       {GDensenet, GDensenetBias, 32},
                                       {GDensenet_2, GDensenetBias_2, 32},
                                       {GOutputnet, GOutputnetBias, 1}};

TEST(StepNetworks, ScoresEqualThePlainFormNearlyInDoubleAndToTheLastBitInFloat) {
  for (unsigned trial = 0; trial < 300; ++trial) {
    std::srand(trial);
    sns_oem_step_detector_inst_state state{};
    Eigen::Map<VectorXf>(state.acc_window, 18) = 3.0f * VectorXf::Random(18);
    Eigen::Map<VectorXf>(state.gyr_window, 18) = VectorXf::Random(18);
    score(state);
    VectorXd acc(26);
    acc << convolution(state.acc_window, 16, FirConvnet, FirConvnetBias),
        convolution(state.acc_window, 10, SedConvnet, SedConvnetBias);
    const VectorXd gyr = convolution(state.gyr_window, 16, GConvnet, GConvnetBias);
    ASSERT_NEAR(state.acc_score, score_of(acc, acc_layers), 1e-5) << trial;
    ASSERT_NEAR(state.gyr_score, score_of(gyr, gyr_layers), 1e-5) << trial;
    const std::vector<float> acc_input(Dens_input, Dens_input + 26);
    const std::vector<float> gyr_input(conv1d_Glayer, conv1d_Glayer + 16);
    ASSERT_EQ(state.acc_score, score_in_order(acc_input, acc_layers, false)) << trial;
    ASSERT_EQ(state.gyr_score, score_in_order(gyr_input, gyr_layers, true)) << trial;
  }
}

TEST(StepNetworks, ANanSilencesTheFirstLayerOfOneNetworkAndReachesTheScoreOfTheOther) {
  sns_oem_step_detector_inst_state state{};
  state.acc_window[5] = state.gyr_window[5] = std::nanf("");
  score(state);
  for (const float x : Dense1_layer) EXPECT_EQ(x, 0.0f);
  EXPECT_FALSE(std::isnan(state.acc_score));
  EXPECT_TRUE(std::isnan(state.gyr_score));
}

}  // namespace
