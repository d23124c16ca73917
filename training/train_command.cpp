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
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

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
  std::string data, tables, record;
  bool cross_validate = false, ceiling = false;
  std::vector<int> folds = {0, 1, 2, 3, 4};
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

// Detections by set, in the order in which they come.
class Results {
 public:
  void add(const Sample& sample, Detection detection) {
    const Recording& recording = sample.recording;
    Entry& entry = entries_[recording.set + (recording.walking() ? "" : ", nobody walks")];
    entry.samples.push_back(&sample);
    entry.detections.push_back(std::move(detection));
  }

  Json print() const {
    fmt::print("{:<24} {:>4} {:>7} {:>7} {:>7} {:>7} {:>7} {:>7} {:>7} {:>9} {:>5} {:>7}\n", "set",
               "logs", "minutes", "F1", "recall", "precis.", "count%", "total%", "latency",
               "confirmed", "bout", "per min");
    Json json;
    for (const auto& [name, entry] : entries_) {
      const SetFigures figures = figures_of(entry.samples, entry.detections);
      const tools::StepAgreement& agreement = figures.agreement;
      const double total = 100.0 * (static_cast<double>(agreement.declared) /
                                        static_cast<double>(agreement.reference) -
                                    1.0);
      fmt::print(
          "{:<24} {:>4} {:>7.1f} {:>7.4f} {:>7.4f} {:>7.4f} {:>7.2f} {:>7.2f} {:>7.3f} {:>9} "
          "{:>5} {:>7.1f}\n",
          name, figures.logs, figures.minutes, agreement.f1(), agreement.recall(),
          agreement.precision(), 100.0 * figures.count_error, total, figures.latency,
          figures.confirmed, figures.longest_bout, figures.steps_per_minute);
      Json& set = json[name];
      set["logs"] = figures.logs;
      if (agreement.reference > 0) {
        set["steps"] = agreement.reference;
        set["f1"] = std::round(agreement.f1() * 1e4) / 1e4;
        set["count_error"] = std::round(figures.count_error * 1e4) / 1e4;
      } else {
        set["confirmed"] = figures.confirmed;
        set["longest_bout"] = figures.longest_bout;
        set["steps_per_minute"] = std::round(figures.steps_per_minute * 10.0) / 10.0;
      }
    }
    std::fflush(stdout);
    return json;
  }

 private:
  struct Entry {
    Samples samples;
    std::vector<Detection> detections;
  };
  std::map<std::string, Entry> entries_;
};

// Each walker is once unseen; the evaluation sets are judged under the networks of every fold.
void cross_validate(const Options& options) {
  const std::vector<Sample> samples = read_training(options);
  const std::vector<Sample> evaluation = read_evaluation(options);
  Results results;
  for (const int fold : options.folds) {
    const auto others = [=](const Sample& sample) { return sample.fold != fold; };
    const auto trained = [=](const Sample& sample) {
      return sample.fold != fold && sample.fold != (fold + 1) % kFolds;
    };
    const StepGate gate(select(samples, trained), select(samples, others), options.gate);
    Results of_fold;
    for (const Sample& sample : samples) {
      if (sample.fold != fold) continue;
      const Detection detection = gate.detect(sample);
      results.add(sample, detection);
      of_fold.add(sample, detection);
    }
    for (const Sample& sample : evaluation) {
      if (sample.recording.set != kSimulatedSet) results.add(sample, gate.detect(sample));
    }
    fmt::print("fold {}, biases shifted by {:.1f} and {:.1f}\n", fold, gate.shifts()[0],
               gate.shifts()[1]);
    of_fold.print();
  }
  fmt::print("\nall folds; sets that are never trained on count once for each\n");
  results.print();
}

void ceiling(const Options& options) {
  const std::vector<Sample> samples = read_training(options);
  const std::vector<Sample> evaluation = read_evaluation(options);
  Results results;
  for (const std::vector<Sample>* part : {&samples, &evaluation}) {
    for (const Sample& sample : *part) {
      const Scores perfect = perfect_scores(sample);
      results.add(sample, detect(sample.recording, perfect.acc, perfect.gyr));
    }
  }
  results.print();
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

void write_tables(const Options& options, const std::vector<Table>& tables, const Json& record) {
  std::ofstream out(options.tables);
  out << "# Trained by zuvdr-train, seed " << options.gate.network.seed << ".\n";
  for (const auto& [set, contents] : record["training"].items()) {
    out << fmt::format("# {}: {} logs, {} epochs\n", set, contents["logs"].get<int>(),
                       contents["epochs"].get<std::int64_t>());
  }
  for (const auto& [set, figures] : record["validation"].items()) {
    if (!figures.contains("f1")) continue;
    out << fmt::format("# not trained on, but calibrated on, {}: F1 {:.3f}, count error {:.1f} %\n",
                       set, figures["f1"].get<double>(),
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

void train(const Options& options) {
  check_writable(options.tables);
  check_writable(options.record);
  const std::vector<Sample> samples = read_training(options);
  const auto trained = [&](const Sample& sample) { return sample.fold != options.validation_fold; };
  const auto everything = [](const Sample&) { return true; };
  const StepGate gate(select(samples, trained), select(samples, everything), options.gate);

  Json record;
  record["seed"] = options.gate.network.seed;
  const GateOptions& gate_options = options.gate;
  record["options"] = {{"validation", options.validation_fold},
                       {"passes", gate_options.network.passes},
                       {"round_passes", gate_options.round_passes},
                       {"rounds", gate_options.rounds},
                       {"copies", gate_options.warped_copies},
                       {"low_weight", gate_options.weights.low},
                       {"non_walking_weight", gate_options.weights.non_walking},
                       {"simulated_walks", options.simulated.walks},
                       {"simulated_handlings", options.simulated.handlings},
                       {"simulated_drives", options.simulated.drives}};
  for (const float shift : gate.shifts()) {
    record["bias_shifts"].push_back(std::round(shift * 1e3) / 1e3);
  }
  Results unseen;
  for (const Sample& sample : samples) {
    const Recording& recording = sample.recording;
    if (!trained(sample)) {
      unseen.add(sample, gate.detect(sample));
      continue;
    }
    Json& set = record["training"][recording.set];
    if (set.is_null()) set = Json::object();
    set["logs"] = set.value("logs", 0) + 1;
    set["epochs"] =
        set.value("epochs", std::int64_t{0}) + static_cast<std::int64_t>(recording.epochs.size());
  }
  fmt::print("walkers not trained on, but calibrated on\n");
  record["validation"] = unseen.print();
  write_tables(options, gate.tables(), record);
  if (options.record.empty()) return;
  std::ofstream out(options.record);
  out << record.dump(2) << '\n';
  out.close();
  if (!out) throw std::runtime_error(fmt::format("{}: cannot be written", options.record));
}

void add_options(CLI::App& app, Options& options) {
  app.add_option("--data", options.data, "folder with weallwalk/walk/*.csv.gz, indoor/walk/...")
      ->required()
      ->check(CLI::ExistingDirectory);
  app.add_option("--tables", options.tables, "where the trained tables go");
  app.add_option("--record", options.record, "where the training record (JSON) goes");
  app.add_flag("--cross-validate", options.cross_validate,
               "no tables: figures with each walker unseen once");
  app.add_flag("--ceiling", options.ceiling, "no tables: figures with perfect scores");
  app.add_option("--folds", options.folds, "of the cross-validation")
      ->delimiter(',')
      ->check(CLI::Range(0, kFolds - 1));
  app.add_option("--validation", options.validation_fold, "the fold that is not trained on")
      ->check(CLI::Range(0, kFolds - 1))
      ->capture_default_str();
  app.add_option("--seed", options.gate.network.seed,
                 "of the networks' first weights, of orders, noise and paces")
      ->capture_default_str();
  app.add_option("--passes", options.gate.network.passes, "over all examples, last round")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--round-passes", options.gate.round_passes, "in the other rounds")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--rounds", options.gate.rounds, "each with targets chosen anew")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option("--copies", options.gate.warped_copies, "of each recorded walk at another pace")
      ->check(CLI::Range(0, 20))
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
    if (options.cross_validate) {
      cross_validate(options);
    } else if (options.ceiling) {
      ceiling(options);
    } else if (options.tables.empty()) {
      throw CLI::RequiredError("--tables, --cross-validate or --ceiling");
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
