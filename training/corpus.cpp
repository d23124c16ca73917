#include "training/corpus.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <set>
#include <utility>

#include "tools/simulation/random.h"

namespace zuvdr::training {
namespace {

namespace fs = std::filesystem;

using tools::Carry;
using tools::RandomStream;
using tools::RouteOptions;
using tools::Scenario;

constexpr Carry kCarries[] = {Carry::kHand, Carry::kPocket, Carry::kWaist,
                              Carry::kBack, Carry::kSwing,  Carry::kJacket};
constexpr double kSlowest = 1.2, kFastest = 2.8;  // steps/s
constexpr double kShortestTime = 0.8, kLongestTime = 1.3;

void assign_folds(std::vector<Sample>& samples) {
  std::set<std::string> walkers;
  for (const Sample& sample : samples) walkers.insert(sample.recording.walker);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto walker = walkers.find(samples[i].recording.walker);
    samples[i].fold = walkers.size() >= kFolds
                          ? static_cast<int>(std::distance(walkers.begin(), walker)) % kFolds
                          : static_cast<int>(i * kFolds / samples.size());
  }
}

}  // namespace

Sample::Sample(Recording recorded)
    : recording(std::move(recorded)),
      signals(signals_of(recording)),
      valleys(valley_epochs(recording, signals)) {}

std::vector<Sample> read_set(const std::string& data, const std::string& set, bool walking) {
  const fs::path folder = fs::path(data) / set / (walking ? "walk" : "nonwalk");
  std::vector<Sample> samples;
  if (!fs::is_directory(folder)) return samples;
  std::vector<std::string> paths;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".gz") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  for (const std::string& path : paths) samples.emplace_back(read_recording(path, set));
  assign_folds(samples);
  return samples;
}

std::vector<Sample> simulate_corpus(const SimulatedCorpus& size, std::uint64_t first_seed) {
  std::vector<Sample> samples;
  std::uint64_t seed = first_seed;
  const auto add = [&](RouteOptions route) {
    route.seed = route.walker = ++seed;
    route.tunnel = 0.0;
    Sample& sample = samples.emplace_back(simulate_recording(route));
    sample.fold = static_cast<int>(seed % kFolds);
  };
  RandomStream random(first_seed, "corpus");
  for (int k = 0; k < size.walks; ++k) {
    RouteOptions route;
    route.scenario = Scenario::kWalk;
    route.carry = kCarries[static_cast<std::size_t>(k) % std::size(kCarries)];
    route.cadence = random.uniform(kSlowest, kFastest);
    add(route);
  }
  for (int k = 0; k < size.handlings; ++k) {
    RouteOptions route;
    route.scenario = Scenario::kHandling;
    add(route);
  }
  for (int k = 0; k < size.drives; ++k) {
    RouteOptions route;
    route.scenario = Scenario::kDrive;
    route.road = k % 4 == 3 ? tools::Road::kSmooth : tools::Road::kRough;
    route.car_mounting = {random.uniform(-90.0, 90.0), random.uniform(0.0, 90.0),
                          random.uniform(-180.0, 180.0)};
    add(route);
  }
  return samples;
}

std::vector<Sample> warped_copies(std::span<const Sample* const> samples, int copies,
                                  std::uint64_t seed, const std::string& purpose) {
  std::vector<Sample> result;
  for (const Sample* sample : samples) {
    const Recording& recording = sample->recording;
    RandomStream random(seed, purpose + recording.set + recording.name);
    for (int copy = 0; copy < copies; ++copy) {
      const double factor =
          std::exp(random.uniform(std::log(kShortestTime), std::log(kLongestTime)));
      result.emplace_back(warped(recording, factor)).fold = sample->fold;
    }
  }
  return result;
}

}  // namespace zuvdr::training
