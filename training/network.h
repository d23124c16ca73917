// The two step networks as they are trained (LibTorch); pdr/step_networks.cpp evaluates them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "training/targets.h"

namespace zuvdr::training {

enum class Sensor { kAccelerometer, kGyroscope };

// Windows of band-passed samples with what the network is to make of them.
struct Examples {
  std::vector<float> windows;  // kStepWindow samples each, oldest first
  std::vector<float> targets;  // 0 or 1
  std::vector<float> weights;

  std::size_t size() const { return targets.size(); }
  // Appends the windows of a signal whose targets have a weight.
  void add(std::span<const float> signal, const Targets& targets);
};

struct TrainingOptions {
  std::uint64_t seed = 1;
  int passes = 12;  // over all examples
  std::int64_t batch = 1024;
  double rate = 4e-3;   // greatest learning rate
  double gain = 0.2;    // augmentation: logarithm of the window's factor, 1 sigma
  double noise = 0.03;  // augmentation: m/s^2 or rad/s per sample, 1 sigma
};

struct Table {
  std::string name;  // as in pdr/step_tables.h
  std::int64_t rows, columns;
  std::vector<float> values;  // row by row; row = input, column = output
};

class StepNetwork {
 public:
  // Throws std::invalid_argument when there are no examples. Trains on one thread; the same
  // arguments give the same network under the same kernels (training/kernels.h). Binary cross
  // entropy, Adam (Kingma and Ba, 2015) under the one-cycle rate (Smith and Topin, 2019).
  StepNetwork(Sensor sensor, const Examples& examples, const TrainingOptions& options);
  // With the weights of these tables, as tables() gives them. Throws std::invalid_argument when one
  // is missing or of another size.
  StepNetwork(Sensor sensor, std::span<const Table> tables);
  ~StepNetwork();
  StepNetwork(StepNetwork&&) noexcept;
  StepNetwork& operator=(StepNetwork&&) noexcept;

  // One per epoch of the signal; the score is 1 / (1 + exp(-logit)). High before the first window.
  std::vector<float> logits(std::span<const float> signal) const;

  // Adds to the bias of the output.
  void shift(float logit);

  // What the library's evaluation makes of a window with a NaN: that of a cleared first dense layer
  // (accelerometer only).
  float nan_logit() const;

  std::vector<Table> tables() const;

 private:
  friend class FineTuning;
  struct Model;
  std::unique_ptr<Model> model_;
};

struct FineTuningOptions {
  double rate = 1e-3;  // greatest learning rate; falls along half a cosine
  double weight_decay = 0.05;
  double average = 0.995;  // of the weights, exponential: what remains of it after a step
  double noise = 0.06;     // augmentation: m/s^2 or rad/s per sample of the signal, 1 sigma
};

// Trains a network in place on gradients that its user finds for the logits: for each recording of
// a batch logits, then add_reward; then step. AdamW (Loshchilov and Hutter, 2019). finish gives the
// network the exponential moving average of its weights over the steps.
class FineTuning {
 public:
  FineTuning(StepNetwork& network, const FineTuningOptions& options, std::size_t steps,
             std::uint64_t seed);
  ~FineTuning();

  // One per epoch of the signal times the gain, with noise; high before the first window.
  std::vector<float> logits(std::span<const float> signal, double gain);

  // How much the reward grows with each of the logits last given.
  void add_reward(std::span<const float> gradient);

  // Rewards count per second of the batch, so its recordings' lengths do not matter.
  void step();
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zuvdr::training
