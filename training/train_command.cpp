// zuvdr-train: trains the step networks, or tells how well they would do on walkers they don't
// know.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "training/kernels.h"
#include "training/results.h"
#include "training/step_gate.h"

namespace zuvdr::training {
namespace {

using Json = nlohmann::ordered_json;

// Their licences let us ship what is learned from them.
const std::vector<std::string> kTrainingSets = {"weallwalk", "indoor"};
// The others only tell how good the networks are.
const std::vector<std::string> kEvaluationSets = {"sisfall", "mobifall", "ipol"};
const std::vector<std::string> kStillSets = {"drive", "sisfall", "mobifall", "svclaw"};

// Simulated walkers that are never trained on.
constexpr std::uint64_t kTrainingSeeds = 10'000, kEvaluationSeeds = 20'000;

struct Options {
  std::string data, tables, record, logs;
  bool cross_validate = false, ceiling = false;
  std::vector<std::uint64_t> seeds = {1, 2, 3, 4, 5};
  std::vector<int> folds = {0, 1, 2, 3, 4};
  bool native = false;
  int validation_fold = 4;
  SimulatedCorpus simulated;
  GateOptions gate;
};

using Samples = std::vector<const Sample*>;

std::vector<Sample> read_training(const Options& options) {
  std::vector<Sample> samples;
  for (const std::string& set : kTrainingSets) {
    std::vector<Sample> read = read_set(options.data, set, true);
    if (read.empty()) {
      throw std::runtime_error(fmt::format("{}: no logs in {}/walk", options.data, set));
    }
    std::move(read.begin(), read.end(), std::back_inserter(samples));
  }
  std::vector<Sample> simulated = simulate_corpus(options.simulated, kTrainingSeeds);
  std::move(simulated.begin(), simulated.end(), std::back_inserter(samples));
  return samples;
}

std::vector<Sample> read_evaluation(const Options& options) {
  std::vector<Sample> samples;
  const auto add = [&](const std::string& set, bool walking) {
    std::vector<Sample> read = read_set(options.data, set, walking);
    std::move(read.begin(), read.end(), std::back_inserter(samples));
  };
  for (const std::string& set : kEvaluationSets) add(set, true);
  for (const std::string& set : kStillSets) add(set, false);
  std::vector<Sample> simulated = simulate_corpus({36, 6, 6}, kEvaluationSeeds);
  std::move(simulated.begin(), simulated.end(), std::back_inserter(samples));
  return samples;
}

template <typename Predicate>
Samples select(const std::vector<Sample>& samples, Predicate predicate) {
  Samples selected;
  for (const Sample& sample : samples) {
    if (predicate(sample)) selected.push_back(&sample);
  }
  return selected;
}

// Before the training rather than after it.
void check_writable(const std::string& path) {
  if (path.empty()) return;
  const bool existed = std::filesystem::exists(path);
  const bool writable = std::ofstream(path, std::ios::app).is_open();
  if (writable && !existed) std::filesystem::remove(path);
  if (writable) return;
  throw std::runtime_error(fmt::format("{}: cannot be written", path));
}

void write_json(const std::string& path, const Json& json) {
  std::ofstream out(path);
  out << json.dump(2) << '\n';
  out.close();
  if (!out) throw std::runtime_error(fmt::format("{}: cannot be written", path));
}

GateOptions with_seed(const Options& options, std::uint64_t seed) {
  GateOptions gate = options.gate;
  gate.network.seed = seed;
  return gate;
}

// Each walker is once unseen; the evaluation sets are judged under the networks of every fold.
void cross_validate(const Options& options) {
  check_writable(options.logs);
  const std::vector<Sample> samples = read_training(options);
  const std::vector<Sample> evaluation = read_evaluation(options);
  Json logs = Json::array();
  std::vector<FiguresBySet> trainings;
  for (const std::uint64_t seed : options.seeds) {
    FiguresBySet& all = trainings.emplace_back();
    for (const int fold : options.folds) {
      const auto others = [=](const Sample& sample) { return sample.fold != fold; };
      const auto trained = [=](const Sample& sample) {
        return sample.fold != fold && sample.fold != (fold + 1) % kFolds;
      };
      const StepGate gate(select(samples, trained), select(samples, others),
                          with_seed(options, seed));
      Results results;
      for (const Sample& sample : samples) {
        if (sample.fold == fold) results.add(sample, gate.detect(sample));
      }
      for (const Sample& sample : evaluation) {
        if (sample.recording.set != kSimulatedSet) results.add(sample, gate.detect(sample));
      }
      fmt::print("seed {}, fold {}, biases shifted by {:.1f} and {:.1f}\n", seed, fold,
                 gate.shifts()[0], gate.shifts()[1]);
      const FiguresBySet of_fold = results.figures();
      print(of_fold);
      for (const auto& [name, figures] : of_fold) all[name] += figures;
      for (Json& log : results.logs()) {
        log["seed"] = seed;
        log["fold"] = fold;
        logs.push_back(std::move(log));
      }
    }
    fmt::print("\nseed {}, all folds; sets that are never trained on count once for each\n", seed);
    print(all);
    fmt::print("\n");
  }
  fmt::print("mean, least and greatest of {}\n", trainings.size());
  print_spread(trainings);
  if (!options.logs.empty()) write_json(options.logs, logs);
}

void ceiling(const Options& options) {
  const std::vector<Sample> samples = read_training(options);
  const std::vector<Sample> evaluation = read_evaluation(options);
  Results results;
  for (const std::vector<Sample>* part : {&samples, &evaluation}) {
    for (const Sample& sample : *part) {
      const Scores perfect = perfect_scores(sample, options.gate.after_valley);
      results.add(sample, detect(sample.recording, perfect.acc, perfect.gyr));
    }
  }
  print(results.figures());
}

void write_tables(const Options& options, const std::vector<Table>& tables, const Json& record) {
  std::ofstream out(options.tables);
  out << "# Trained by zuvdr-train, seed " << record["seed"] << ".\n";
  for (const auto& [set, contents] : record["training"].items()) {
    out << fmt::format("# {}: {} logs, {} epochs\n", set, contents["logs"].get<int>(),
                       contents["epochs"].get<std::int64_t>());
  }
  for (const auto& [set, figures] : record["validation"].items()) {
    if (!figures.contains("f1")) continue;
    const bool chosen = std::ranges::count(kTrainingSets, set) > 0;
    out << fmt::format(
        "# not trained on, but calibrated{} on, {}: F1 {:.3f}, count error {:.1f} %\n",
        chosen ? " and chosen" : "", set, figures["f1"].get<double>(),
        100.0 * figures["count_error"].get<double>());
  }
  for (const Table& table : tables) {
    out << fmt::format("{} {} {}\n", table.name, table.rows, table.columns);
    for (std::size_t i = 0; i < table.values.size(); ++i) {
      const bool last = (i + 1) % static_cast<std::size_t>(table.columns) == 0;
      out << fmt::format("{:.9g}{}", table.values[i], last ? '\n' : ' ');
    }
  }
  out.close();
  if (!out) throw std::runtime_error(fmt::format("{}: cannot be written", options.tables));
}

// Of one training, by the recorded walkers it has not seen; NaN without reference steps.
double merit_of_unseen(const FiguresBySet& unseen) {
  double sum = 0.0;
  for (const std::string& set : kTrainingSets) {
    const auto figures = unseen.find(set);
    if (figures == unseen.end()) return std::numeric_limits<double>::quiet_NaN();
    sum += merit(figures->second);
  }
  return sum;
}

// One training differs from the next, so several are made and the best is kept.
void train(const Options& options) {
  check_writable(options.tables);
  check_writable(options.record);
  const std::vector<Sample> samples = read_training(options);
  const auto trained = [&](const Sample& sample) { return sample.fold != options.validation_fold; };
  const auto everything = [](const Sample&) { return true; };
  for (const std::string& set : kTrainingSets) {
    const auto to_choose_by = [&](const Sample& sample) {
      return sample.recording.set == set && sample.recording.walking() && !trained(sample);
    };
    if (std::ranges::none_of(samples, to_choose_by)) {
      throw std::runtime_error(fmt::format("{}: no walk of {} in fold {} to choose a training by",
                                           options.data, set, options.validation_fold));
    }
  }

  Json record;
  record["seed"] = 0;
  const GateOptions& gate_options = options.gate;
  record["options"] = {{"validation", options.validation_fold},
                       {"passes", gate_options.network.passes},
                       {"round_passes", gate_options.round_passes},
                       {"rounds", gate_options.rounds},
                       {"copies", gate_options.warped_copies},
                       {"after_valley", gate_options.after_valley},
                       {"low_weight", gate_options.weights.low},
                       {"non_walking_weight", gate_options.weights.non_walking},
                       {"end_to_end_passes", gate_options.end_to_end.passes},
                       {"simulated_walks", options.simulated.walks},
                       {"simulated_handlings", options.simulated.handlings},
                       {"simulated_drives", options.simulated.drives}};
  record["kernels"] = kernels_in_use();
  for (const Sample& sample : samples) {
    const Recording& recording = sample.recording;
    if (!trained(sample)) continue;
    Json& set = record["training"][recording.set];
    if (set.is_null()) set = Json::object();
    set["logs"] = set.value("logs", 0) + 1;
    set["epochs"] =
        set.value("epochs", std::int64_t{0}) + static_cast<std::int64_t>(recording.epochs.size());
  }
  std::vector<Table> tables;
  std::vector<FiguresBySet> trainings;
  double best = -std::numeric_limits<double>::infinity();
  for (const std::uint64_t seed : options.seeds) {
    const StepGate gate(select(samples, trained), select(samples, everything),
                        with_seed(options, seed));
    Results results;
    for (const Sample& sample : samples) {
      if (!trained(sample)) results.add(sample, gate.detect(sample));
    }
    const FiguresBySet& unseen = trainings.emplace_back(results.figures());
    fmt::print("seed {}: walkers not trained on, but calibrated and chosen on\n", seed);
    print(unseen);
    const double now = merit_of_unseen(unseen);
    const Json shifts = {rounded(gate.shifts()[0], 3), rounded(gate.shifts()[1], 3)};
    record["seeds"][fmt::format("{}", seed)] = {
        {"merit", rounded(now, 4)}, {"bias_shifts", shifts}, {"validation", to_json(unseen)}};
    if (now > best) {
      best = now;
      tables = gate.tables();
      record["seed"] = seed;
      record["bias_shifts"] = shifts;
      record["validation"] = to_json(unseen);
    }
  }
  if (tables.empty()) {
    throw std::runtime_error(
        fmt::format("fold {} has no reference step that counts to choose a training by",
                    options.validation_fold));
  }
  fmt::print("seed {} is kept; mean, least and greatest of {}\n",
             record["seed"].get<std::uint64_t>(), trainings.size());
  print_spread(trainings);
  write_tables(options, tables, record);
  if (!options.record.empty()) write_json(options.record, record);
}

void add_options(CLI::App& app, Options& options) {
  app.add_option("--data", options.data, "folder with weallwalk/walk/*.csv.gz, indoor/walk/...")
      ->required()
      ->check(CLI::ExistingDirectory);
  app.add_option("--tables", options.tables, "where the trained tables go");
  app.add_option("--record", options.record, "where the training record (JSON) goes");
  app.add_flag("--cross-validate", options.cross_validate,
               "no tables: figures with each walker unseen once");
  app.add_option("--logs", options.logs,
                 "where the cross-validation's figures of every log (JSON) go")
      ->needs("--cross-validate");
  app.add_flag("--ceiling", options.ceiling, "no tables: figures with perfect scores")
      ->excludes("--cross-validate");
  app.add_option("--folds", options.folds, "of the cross-validation")
      ->delimiter(',')
      ->check(CLI::Range(0, kFolds - 1));
  app.add_option("--validation", options.validation_fold,
                 "the fold that is not trained on and by which the best seed is chosen")
      ->check(CLI::Range(0, kFolds - 1))
      ->capture_default_str();
  app.add_option("--seeds", options.seeds,
                 "one training for each: of first weights, orders, noise and paces. The training "
                 "that does best on the fold kept out gives the tables; cross-validation shows all")
      ->delimiter(',')
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_flag("--native-kernels", options.native,
               "compute as suits this processor; the tables then differ between machines");
  app.add_option("--passes", options.gate.network.passes, "over all examples, last round")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--round-passes", options.gate.round_passes, "in the other rounds")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--rounds", options.gate.rounds, "each with targets chosen anew")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option("--copies", options.gate.warped_copies,
                 "of each recorded walk at another pace; the end-to-end stage makes its own")
      ->check(CLI::Range(0, 20))
      ->capture_default_str();
  app.add_option("--after-valley", options.gate.after_valley,
                 "when a step is wanted, in epochs after its valley")
      ->check(CLI::Range(0, 12))
      ->capture_default_str();
  app.add_option("--end-to-end-passes", options.gate.end_to_end.passes,
                 "of the stage in which the detector itself judges; 0: without it")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  app.add_option("--low-weight", options.gate.weights.low, "of the epochs of a step")
      ->capture_default_str();
  app.add_option("--non-walking-weight", options.gate.weights.non_walking,
                 "of the epochs in which nobody walks")
      ->capture_default_str();
  app.add_option("--simulated-walks", options.simulated.walks)
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  app.add_option("--simulated-handlings", options.simulated.handlings)
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  app.add_option("--simulated-drives", options.simulated.drives)
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
}

}  // namespace
}  // namespace zuvdr::training

int main(int argc, char** argv) {
  using namespace zuvdr::training;
  CLI::App app("Trains the step networks.", "zuvdr-train");
  Options options;
  add_options(app, options);
  try {
    app.parse(argc, argv);
    if (!options.cross_validate && !options.ceiling && options.tables.empty()) {
      throw CLI::RequiredError("--tables, --cross-validate or --ceiling");
    }
    if (!options.ceiling) {
      pin_kernels(options.native ? Kernels::kNative : Kernels::kAvx2, argv);
    }
    if (options.cross_validate) {
      cross_validate(options);
    } else if (options.ceiling) {
      ceiling(options);
    } else {
      train(options);
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zuvdr-train: {}\n", error.what());
    return 1;
  }
  return 0;
}
