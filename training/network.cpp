#include "training/network.h"

#include <fmt/format.h>
#include <torch/torch.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace zuvdr::training {
namespace {

constexpr double kEpoch = 0.04;  // s
constexpr std::int64_t kWindow = kStepWindow;
constexpr std::int64_t kHead = kStepWindowHead;

// Three taps, no padding. Written out: the library's general convolution takes ten times as long on
// windows this short.
struct ConvolutionImpl : torch::nn::Module {
  ConvolutionImpl() {
    const double bound = 1.0 / std::sqrt(3.0);
    kernel = register_parameter("kernel", torch::empty(3).uniform_(-bound, bound));
    bias = register_parameter("bias", torch::empty(1).uniform_(-bound, bound));
  }
  torch::Tensor forward(const torch::Tensor& x) {
    const std::int64_t count = x.size(1) - 2;
    return kernel[0] * x.narrow(1, 0, count) + kernel[1] * x.narrow(1, 1, count) +
           kernel[2] * x.narrow(1, 2, count) + bias;
  }
  torch::Tensor kernel, bias;
};
TORCH_MODULE(Convolution);

// The layers' names are those of their tables in pdr/step_tables.h, without and with its bias.
struct Layer {
  const char* weights;
  const char* biases;
  std::int64_t inputs, outputs;
};
const std::vector<Layer> kAccelerometerLayers = {{"Inputnet", "Inputnetbias", 26, 40},
                                                 {"Denesnet", "Denesnetbias", 40, 40},
                                                 {"Outputnet", "Outputnetbias", 40, 1}};
const std::vector<Layer> kGyroscopeLayers = {{"GInputnet", "GInputnetBias", 16, 64},
                                             {"GDensenet", "GDensenetBias", 64, 32},
                                             {"GDensenet_2", "GDensenetBias_2", 32, 32},
                                             {"GOutputnet", "GOutputnetBias", 32, 1}};

struct Net : torch::nn::Module {
  explicit Net(Sensor which) : sensor(which) {
    over_window = register_module("over_window", Convolution());
    if (sensor == Sensor::kAccelerometer) {
      over_head = register_module("over_head", Convolution());
    }
    for (const Layer& layer : layers()) {
      dense.push_back(
          register_module(layer.weights, torch::nn::Linear(layer.inputs, layer.outputs)));
    }
  }

  const std::vector<Layer>& layers() const {
    return sensor == Sensor::kAccelerometer ? kAccelerometerLayers : kGyroscopeLayers;
  }

  // windows [n, 18] to logits [n]
  torch::Tensor forward(const torch::Tensor& windows) {
    torch::Tensor x = over_window(windows);
    if (over_head) x = torch::cat({x, over_head(windows.narrow(1, 0, kHead))}, 1);
    return from_layer(0, x);
  }

  torch::Tensor from_layer(std::size_t first, torch::Tensor x) {
    for (std::size_t k = first; k < dense.size(); ++k) {
      x = dense[k](x);
      if (k + 1 < dense.size()) x = torch::relu(x);
    }
    return x.squeeze(1);
  }

  Sensor sensor;
  Convolution over_window{nullptr}, over_head{nullptr};
  std::vector<torch::nn::Linear> dense;
};

torch::Tensor as_tensor(std::span<const float> values, at::IntArrayRef shape) {
  // from_blob wants a mutable pointer; nobody writes through it.
  return torch::from_blob(const_cast<float*>(values.data()), shape, torch::kFloat32);
}

double half_cosine(double from, double to, double share) {
  return to + 0.5 * (from - to) * (1.0 + std::cos(std::numbers::pi * share));
}

// Rises along half a cosine from 1/25 to 1 in the first 30 % of the steps, then falls to 4e-6.
double one_cycle(double progress) {
  constexpr double kRise = 0.3, kFirst = 1.0 / 25.0, kLast = kFirst * 1e-4;
  return progress < kRise ? half_cosine(kFirst, 1.0, progress / kRise)
                          : half_cosine(1.0, kLast, (progress - kRise) / (1.0 - kRise));
}

// No step may come of a NaN window, so this logit is drawn upwards in training.
torch::Tensor logit_of_nan(Net& net) {
  return net.from_layer(1, torch::zeros({1, net.layers()[0].outputs}));
}
torch::Tensor nan_loss(Net& net) {
  constexpr double kWeight = 0.1;
  return kWeight * torch::softplus(-logit_of_nan(net)).sum();
}

std::vector<float> values_of(const torch::Tensor& tensor) {
  const torch::Tensor flat = tensor.detach().contiguous().flatten();
  const float* data = flat.data_ptr<float>();
  return {data, data + flat.numel()};
}

std::int64_t size_of(std::span<const float> values) {
  return static_cast<std::int64_t>(values.size());
}

// Of the epochs from the first whose windows are full and scored; empty when there is none.
torch::Tensor logits_of(Net& net, const torch::Tensor& signal) {
  const std::int64_t count = signal.size(0) - kWindow;
  if (count <= 0) return torch::empty({0});
  return net.forward(signal.unfold(0, kWindow, 1).narrow(0, 1, count));
}

std::vector<float> with_unscored(const torch::Tensor& logits, std::size_t epochs) {
  constexpr float kHighLogit = 10.0f;
  std::vector<float> result(std::min(epochs, kFirstScored), kHighLogit);
  const std::vector<float> scored = values_of(logits);
  result.insert(result.end(), scored.begin(), scored.end());
  return result;
}

// Calls visit(name, rows, tensor) for each table of pdr/step_tables.h, the tensor in its order.
template <typename Visitor>
void visit_tables(const Net& net, Visitor visit) {
  const bool acc = net.sensor == Sensor::kAccelerometer;
  visit(acc ? "FirConvnet" : "GConvnet", 1, net.over_window->kernel);
  visit(acc ? "FirConvnetBias" : "GConvnetBias", 1, net.over_window->bias);
  if (acc) {
    visit("SedConvnet", 1, net.over_head->kernel);
    visit("SedConvnetBias", 1, net.over_head->bias);
  }
  for (std::size_t k = 0; k < net.dense.size(); ++k) {
    const Layer& layer = net.layers()[k];
    // One output makes a vector, which has one row.
    visit(layer.weights, layer.outputs == 1 ? 1 : layer.inputs, net.dense[k]->weight.t());
    visit(layer.biases, 1, net.dense[k]->bias);
  }
}

}  // namespace

struct StepNetwork::Model {
  explicit Model(Sensor sensor) : net(sensor) {}
  mutable Net net;
};

void Examples::add(std::span<const float> signal, const Targets& wanted) {
  for (std::size_t i = kFirstScored; i < signal.size(); ++i) {
    if (!(wanted.weight[i] > 0.0f)) continue;
    const auto end = signal.begin() + static_cast<std::ptrdiff_t>(i) + 1;
    // One NaN would reach every weight.
    if (!std::all_of(end - kStepWindow, end, [](float x) { return std::isfinite(x); })) continue;
    windows.insert(windows.end(), end - kStepWindow, end);
    targets.push_back(wanted.score[i]);
    weights.push_back(wanted.weight[i]);
  }
}

StepNetwork::StepNetwork(Sensor sensor, const Examples& examples, const TrainingOptions& options) {
  torch::set_num_threads(1);
  torch::manual_seed(options.seed);
  model_ = std::make_unique<Model>(sensor);
  Net& net = model_->net;

  if (examples.size() == 0) throw std::invalid_argument("there is nothing to train on");
  const auto count = static_cast<std::int64_t>(examples.size());
  const torch::Tensor windows = as_tensor(examples.windows, {count, kWindow});
  const torch::Tensor targets = as_tensor(examples.targets, {count});
  const torch::Tensor weights = as_tensor(examples.weights, {count});
  torch::optim::Adam adam(net.parameters(), torch::optim::AdamOptions(options.rate));
  const std::int64_t batches = (count + options.batch - 1) / options.batch;
  const std::int64_t steps = batches * options.passes;
  torch::Tensor order;
  for (std::int64_t step = 0; step < steps; ++step) {
    const std::int64_t begin = step % batches * options.batch;
    if (begin == 0) order = torch::randperm(count);
    const torch::Tensor chosen = order.narrow(0, begin, std::min(options.batch, count - begin));
    torch::Tensor x = windows.index_select(0, chosen);
    x = x * torch::exp(options.gain * torch::randn({x.size(0), 1})) +
        options.noise * torch::randn_like(x);
    torch::Tensor loss = torch::binary_cross_entropy_with_logits(
        net.forward(x), targets.index_select(0, chosen), weights.index_select(0, chosen));
    if (sensor == Sensor::kAccelerometer) {
      loss = loss + nan_loss(net);
    }
    for (auto& group : adam.param_groups()) {
      group.options().set_lr(options.rate *
                             one_cycle(static_cast<double>(step) / static_cast<double>(steps)));
    }
    adam.zero_grad();
    loss.backward();
    adam.step();
  }
}

StepNetwork::StepNetwork(Sensor sensor, std::span<const Table> tables)
    : model_(std::make_unique<Model>(sensor)) {
  const torch::NoGradGuard no_gradient;
  visit_tables(model_->net, [&](const char* name, std::int64_t, const torch::Tensor& tensor) {
    const auto table = std::ranges::find(tables, name, &Table::name);
    if (table == tables.end() || size_of(table->values) != tensor.numel()) {
      throw std::invalid_argument(fmt::format("no table {} of {} values", name, tensor.numel()));
    }
    tensor.copy_(as_tensor(table->values, tensor.sizes()));
  });
}

StepNetwork::~StepNetwork() = default;
StepNetwork::StepNetwork(StepNetwork&&) noexcept = default;
StepNetwork& StepNetwork::operator=(StepNetwork&&) noexcept = default;

std::vector<float> StepNetwork::logits(std::span<const float> signal) const {
  const torch::NoGradGuard no_gradient;
  return with_unscored(logits_of(model_->net, as_tensor(signal, {size_of(signal)})), signal.size());
}

void StepNetwork::shift(float logit) {
  const torch::NoGradGuard no_gradient;
  model_->net.dense.back()->bias.add_(logit);
}

float StepNetwork::nan_logit() const {
  const torch::NoGradGuard no_gradient;
  return logit_of_nan(model_->net).item<float>();
}

struct FineTuning::State {
  Net& net;
  FineTuningOptions options;
  std::size_t steps, done = 0;
  torch::Generator random;
  torch::optim::AdamW adam;
  std::vector<torch::Tensor> mean;
  torch::Tensor logits;  // last given
  double seconds = 0.0;  // of the batch
};

FineTuning::FineTuning(StepNetwork& network, const FineTuningOptions& options, std::size_t steps,
                       std::uint64_t seed)
    : state_(new State{
          network.model_->net,
          options,
          steps,
          0,
          at::make_generator<at::CPUGeneratorImpl>(seed),
          torch::optim::AdamW(
              network.model_->net.parameters(),
              torch::optim::AdamWOptions(options.rate).weight_decay(options.weight_decay)),
          {},
          {},
          0.0}) {
  for (const torch::Tensor& weights : state_->net.parameters()) {
    state_->mean.push_back(weights.detach().clone());
  }
  state_->adam.zero_grad();
}

FineTuning::~FineTuning() = default;

std::vector<float> FineTuning::logits(std::span<const float> signal, double gain) {
  torch::Tensor heard = gain * as_tensor(signal, {size_of(signal)});
  heard = heard + state_->options.noise * torch::randn(heard.sizes(), state_->random);
  state_->logits = logits_of(state_->net, heard);
  state_->seconds += kEpoch * static_cast<double>(signal.size());
  return with_unscored(state_->logits, signal.size());
}

void FineTuning::add_reward(std::span<const float> gradient) {
  if (state_->logits.size(0) == 0) return;
  const std::span<const float> scored = gradient.subspan(kFirstScored);
  state_->logits.backward(-as_tensor(scored, {size_of(scored)}));
}

void FineTuning::step() {
  Net& net = state_->net;
  for (const torch::Tensor& weights : net.parameters()) {
    if (weights.grad().defined()) weights.grad().div_(state_->seconds);
  }
  if (net.sensor == Sensor::kAccelerometer) {
    nan_loss(net).backward();
  }
  const double progress = static_cast<double>(state_->done++) / static_cast<double>(state_->steps);
  for (auto& group : state_->adam.param_groups()) {
    group.options().set_lr(state_->options.rate * half_cosine(1.0, 0.0, progress));
  }
  state_->adam.step();
  state_->adam.zero_grad();
  state_->seconds = 0.0;
  const torch::NoGradGuard no_gradient;
  const std::vector<torch::Tensor> weights = net.parameters();
  for (std::size_t i = 0; i < weights.size(); ++i) {
    state_->mean[i].lerp_(weights[i], 1.0 - state_->options.average);
  }
}

void FineTuning::finish() {
  const torch::NoGradGuard no_gradient;
  const std::vector<torch::Tensor> weights = state_->net.parameters();
  for (std::size_t i = 0; i < weights.size(); ++i) weights[i].copy_(state_->mean[i]);
}

std::vector<Table> StepNetwork::tables() const {
  std::vector<Table> tables;
  visit_tables(model_->net, [&](const char* name, std::int64_t rows, const torch::Tensor& tensor) {
    tables.push_back({name, rows, tensor.numel() / rows, values_of(tensor)});
  });
  return tables;
}

}  // namespace zuvdr::training
