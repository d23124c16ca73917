// A whole training, small enough for a test.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "pdr/step_state_machine.h"
#include "tests/tools/scratch.h"
#include "training/kernels.h"
#include "training/step_gate.h"

namespace zuvdr::training {
namespace {

using Vector = std::vector<double>;
using Tables = std::map<std::string, std::vector<float>>;

Tables by_name(const std::vector<Table>& tables) {
  Tables result;
  for (const Table& table : tables) {
    EXPECT_EQ(static_cast<std::int64_t>(table.values.size()), table.rows * table.columns);
    EXPECT_TRUE(result.emplace(table.name, table.values).second) << table.name;
  }
  return result;
}

Vector convolved(const Vector& x, const std::vector<float>& kernel, float bias) {
  Vector y;
  for (std::size_t i = 0; i + 2 < x.size(); ++i) {
    y.push_back(bias);
    for (std::size_t k = 0; k < 3; ++k) y[i] += static_cast<double>(kernel[k]) * x[i + k];
  }
  return y;
}

// Through the dense layers named, each a pair of weights and biases; without rectifying the last.
double through(Vector x, const Tables& tables, const std::vector<std::string>& names) {
  for (std::size_t layer = 0; layer < names.size(); layer += 2) {
    const std::vector<float>& weights = tables.at(names[layer]);
    const std::vector<float>& biases = tables.at(names[layer + 1]);
    Vector y(biases.begin(), biases.end());
    for (std::size_t j = 0; j < y.size(); ++j) {
      for (std::size_t i = 0; i < x.size(); ++i) {
        y[j] += static_cast<double>(weights[i * y.size() + j]) * x[i];
      }
      if (layer + 2 < names.size()) y[j] = std::max(y[j], 0.0);
    }
    x = y;
  }
  return x.at(0);
}

const std::vector<std::string> kAccTail = {"Denesnet", "Denesnetbias", "Outputnet",
                                           "Outputnetbias"};

double acc_logit(const Vector& window, const Tables& tables) {
  const Vector head(window.begin(), window.begin() + 12);
  Vector x = convolved(window, tables.at("FirConvnet"), tables.at("FirConvnetBias")[0]);
  const Vector over_head = convolved(head, tables.at("SedConvnet"), tables.at("SedConvnetBias")[0]);
  x.insert(x.end(), over_head.begin(), over_head.end());
  std::vector<std::string> names = {"Inputnet", "Inputnetbias"};
  names.insert(names.end(), kAccTail.begin(), kAccTail.end());
  return through(x, tables, names);
}

double gyr_logit(const Vector& window, const Tables& tables) {
  return through(convolved(window, tables.at("GConvnet"), tables.at("GConvnetBias")[0]), tables,
                 {"GInputnet", "GInputnetBias", "GDensenet", "GDensenetBias", "GDensenet_2",
                  "GDensenetBias_2", "GOutputnet", "GOutputnetBias"});
}

// The 18 samples up to epoch i.
Vector window_at(const std::vector<float>& signal, std::size_t i) {
  const auto end = signal.begin() + static_cast<std::ptrdiff_t>(i) + 1;
  return {end - 18, end};
}

double logistic(double x) {
  return 1.0 / (1.0 + std::exp(-x));
}

std::vector<const Sample*> pointers(const std::vector<Sample>& samples) {
  std::vector<const Sample*> result;
  for (const Sample& sample : samples) result.push_back(&sample);
  return result;
}

TEST(TrainingTest, AFewSimulatedWalksMakeADetectorThatFindsTheStepsOfOthers) {
  const std::vector<Sample> known = simulate_corpus({12, 4, 0}, 1000);
  GateOptions options;
  options.rounds = 2;
  options.round_passes = 3;
  options.network.passes = 6;
  options.end_to_end.passes = 2;
  const StepGate gate(pointers(known), pointers(known), options);

  const std::vector<Sample> others = simulate_corpus({12, 6, 0}, 3000);
  std::vector<const Sample*> walks, handlings;
  std::vector<Detection> steps, false_steps;
  for (const Sample& sample : others) {
    const bool walking = sample.recording.walking();
    (walking ? walks : handlings).push_back(&sample);
    (walking ? steps : false_steps).push_back(gate.detect(sample));
  }
  const SetFigures walked = figures_of(walks, steps);
  EXPECT_GT(walked.agreement.recall(), 0.85);
  EXPECT_GT(walked.agreement.precision(), 0.92);
  // Walkers take 70 to 170 steps a minute. Shaken and swung phones do look like it now and then.
  EXPECT_LT(figures_of(handlings, false_steps).steps_per_minute(), 25.0);

  const Tables tables = by_name(gate.tables());
  EXPECT_EQ(tables.size(), 20U);
  // A NaN clears the first dense layer of the accelerometer network; no step may come of it.
  EXPECT_GE(logistic(through(Vector(40, 0.0), tables, kAccTail)), kAccScoreThreshold);
}

TEST(TrainingTest, TheSeedAndNothingElseDecides) {
  std::vector<Sample> samples = simulate_corpus({2, 0, 0}, 1000);
  samples[0].recording.set = "recorded";  // gets warped copies
  const auto trained = [&samples](std::uint64_t seed) {
    GateOptions options;
    options.network.seed = seed;
    options.network.passes = options.round_passes = 1;
    options.end_to_end.passes = 1;
    options.rounds = 2;
    return by_name(
        StepGate(pointers(samples), std::vector{&std::as_const(samples)[0]}, options).tables());
  };
  const Tables first = trained(1), again = trained(1), other = trained(2);
  EXPECT_EQ(first, again);
  for (const auto& [name, values] : first) EXPECT_NE(values, other.at(name)) << name;
}

// Later by as many epochs as the step is wanted later, but for those that crowd each other.
TEST(TrainingTest, PerfectScoresDeclareStepsWhenTheyAreWanted) {
  const std::vector<Sample> samples = simulate_corpus({1, 0, 0}, 1000);
  const auto latency = [&samples](std::size_t after_valley) {
    const Scores perfect = perfect_scores(samples[0], after_valley);
    const Detection detection = detect(samples[0].recording, perfect.acc, perfect.gyr);
    return figures_of(pointers(samples), std::vector{detection}).latency();
  };
  EXPECT_NEAR(latency(6) - latency(2), 0.16, 0.041);
}

TEST(TrainingTest, FiguresOfSeveralDetectorsAddUp) {
  SetFigures one;
  one.logs = 2;
  one.minutes = 3.0;
  one.agreement = {10, 8, 6};
  one.latencies = {0.5};
  one.count_errors = {0.25, 0.05};
  one.steps = 9;
  one.longest_bout = 4;
  one.confirmed = 11;
  SetFigures other = one;
  other.latencies = {0.7};
  other.count_errors = {0.15, 0.15};
  other.longest_bout = 7;
  other += one;
  EXPECT_EQ(other.logs, 4);
  EXPECT_NEAR(other.latency(), 0.6, 1e-12);
  EXPECT_NEAR(other.count_error(), 0.15, 1e-12);
  EXPECT_NEAR(other.steps_per_minute(), 3.0, 1e-12);
  EXPECT_NEAR(other.agreement.f1(), 24.0 / 36.0, 1e-12);
  EXPECT_EQ(other.longest_bout, 7);
  EXPECT_EQ(other.confirmed, 22);
}

TEST(StepNetworkTest, ShiftedLogitsAreThoseOfTheTablesInDouble) {
  const std::vector<Sample> samples = simulate_corpus({1, 0, 0}, 1000);
  const Sample& sample = samples[0];
  const Targets targets =
      make_targets(sample.recording, sample.signals, sample.valleys, sample.valleys, {});
  TrainingOptions options;
  options.passes = 1;
  for (const Sensor sensor : {Sensor::kAccelerometer, Sensor::kGyroscope}) {
    const bool acc = sensor == Sensor::kAccelerometer;
    const std::vector<float>& signal = acc ? sample.signals.acc : sample.signals.gyr;
    Examples examples;
    examples.add(signal, targets);
    StepNetwork network(sensor, examples, options);
    const std::vector<float> before = network.logits(signal);
    network.shift(-0.75f);
    const std::vector<float> logits = network.logits(signal);
    const Tables tables = by_name(network.tables());
    ASSERT_EQ(logits.size(), signal.size());
    for (std::size_t i = kFirstScored; i < signal.size(); ++i) {
      const Vector window = window_at(signal, i);
      ASSERT_NEAR(logits[i], acc ? acc_logit(window, tables) : gyr_logit(window, tables), 1e-4);
      ASSERT_NEAR(logits[i], before[i] - 0.75f, 1e-4);
    }
  }
}

class TrainProgramTest : public tools::ScratchTest {
 protected:
  const std::string once = " --end-to-end-passes 1";

  // Five short walks a set, so that each fold has one.
  void write_data() {
    for (const std::string set : {"weallwalk", "indoor"}) {
      std::filesystem::create_directories(path("data/" + set + "/walk"));
      for (const std::string log :
           {"back-2.6", "hand-1.3", "hand-2.0", "pocket-1.6", "pocket-1.85"}) {
        copy_log(log, set, log);
      }
    }
  }

  void copy_log(const std::string& log, const std::string& set, const std::string& name) {
    std::filesystem::copy(ZUVDR_SIMULATED_STEPS "/" + log + ".csv.gz",
                          path("data/" + set + "/walk/" + name + ".csv.gz"),
                          std::filesystem::copy_options::overwrite_existing);
  }

  void train(const std::string& options, const std::string& environment = "") {
    const std::string command = environment + " " + ZUVDR_TRAIN_PROGRAM + " --data " +
                                path("data") +
                                " --rounds 1 --passes 1 --copies 0 --simulated-walks 0 "
                                "--simulated-handlings 0 --simulated-drives 0 " +
                                options + " >" + path("out");
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
  }

  // Without the comments and, if told so, the two biases that calibration moves.
  std::string tables(const std::string& options, const std::string& environment = "",
                     bool calibrated = true) {
    train("--tables " + path("tables") + " --record " + path("record") + " " + options,
          environment);
    std::istringstream file(tools::read_file(path("tables")));
    std::string text;
    bool left_out = false;
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with('#')) continue;
      if (std::isalpha(static_cast<unsigned char>(line[0]))) {
        left_out = !calibrated && line.find("utputnet") != std::string::npos &&
                   line.find("ias") != std::string::npos;
      }
      if (!left_out) text += line + '\n';
    }
    EXPECT_GT(text.size(), 50'000U);
    return text;
  }

  nlohmann::json record() { return nlohmann::json::parse(tools::read_file(path("record"))); }
};

TEST_F(TrainProgramTest, SaysInOneLineWhatDataIsMissing) {
  std::filesystem::create_directory(path("data"));
  const auto run = [this](const std::string& data) {
    const std::string command = std::string(ZUVDR_TRAIN_PROGRAM) + " --data " + data +
                                " --native-kernels --tables " + path("tables") + " >" +
                                path("out") + " 2>" + path("err");
    const int status = std::system(command.c_str());
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(tools::read_file(path("out")), "");
    EXPECT_FALSE(std::filesystem::exists(path("tables")));
    return tools::read_file(path("err"));
  };
  EXPECT_EQ(run(path("data")), "zuvdr-train: " + path("data") + ": no logs in weallwalk/walk\n");
  // Wrong usage, followed by a line that points to --help.
  const std::string usage = run(path("nowhere"));
  EXPECT_NE(usage.substr(0, usage.find('\n')).find(path("nowhere")), std::string::npos) << usage;
}

// Other kernels sum in another order than those that training asks for.
TEST_F(TrainProgramTest, GivesTheSameTablesWhateverKernelsTheProcessorWouldGet) {
  if (!has_avx2()) GTEST_SKIP() << "no AVX2";
  write_data();
  const std::string old = "OPENBLAS_CORETYPE=Nehalem ATEN_CPU_CAPABILITY=default";
  const std::string pinned = tables("--seeds 1 " + once);
  EXPECT_TRUE(std::regex_match(record().at("kernels").get<std::string>(),
                               std::regex("OpenBLAS .* Haswell, LibTorch .* AVX2")));
  EXPECT_EQ(tables("--seeds 1 " + once, old), pinned);
  EXPECT_NE(tables("--seeds 1 --native-kernels " + once, old), pinned);
  EXPECT_NE(tables("--seeds 1 --end-to-end-passes 0"), pinned);
}

TEST_F(TrainProgramTest, KeepsTheSeedThatDoesBestOnTheFoldKeptOut) {
  if (!has_avx2()) GTEST_SKIP() << "no AVX2";
  write_data();
  const std::string kept = tables("--seeds 1,2,3 " + once);
  const nlohmann::json all = record();
  std::string best;
  double greatest = -10.0;
  for (const auto& [seed, training] : all.at("seeds").items()) {
    const auto& unseen = training.at("validation");
    double merit = 0.0;
    for (const std::string set : {"weallwalk", "indoor"}) {
      EXPECT_EQ(unseen.at(set).at("logs"), 1);
      merit +=
          unseen.at(set).at("f1").get<double>() - unseen.at(set).at("count_error").get<double>();
    }
    EXPECT_NEAR(training.at("merit").get<double>(), merit, 2.1e-4);
    if (merit > greatest) best = seed;
    greatest = std::max(greatest, merit);
  }
  EXPECT_EQ(std::to_string(all.at("seed").get<int>()), best);
  EXPECT_EQ(all.at("validation"), all.at("seeds").at(best).at("validation"));
  EXPECT_EQ(tables("--seeds " + best + once), kept);

  // The fold kept out reaches the tables through calibration alone.
  const std::string uncalibrated = tables("--seeds 1 " + once, "", false);
  for (const std::string set : {"weallwalk", "indoor"}) copy_log("swing-1.75", set, "pocket-1.85");
  EXPECT_EQ(tables("--seeds 1 " + once, "", false), uncalibrated);
  for (const std::string set : {"weallwalk", "indoor"}) copy_log("swing-1.75", set, "back-2.6");
  EXPECT_NE(tables("--seeds 1 " + once, "", false), uncalibrated);
}

TEST_F(TrainProgramTest, CrossValidationTellsOfEveryLogUnderTheFoldThatDoesNotKnowIt) {
  if (!has_avx2()) GTEST_SKIP() << "no AVX2";
  write_data();
  train("--cross-validate --seeds 1 --folds 0,4 --logs " + path("logs") + once);
  std::map<std::string, int> folds;
  for (const auto& log : nlohmann::json::parse(tools::read_file(path("logs")))) {
    EXPECT_EQ(log.at("seed"), 1);
    EXPECT_GE(log.at("reference").get<int>(), log.at("matched").get<int>());
    if (log.at("set") == "indoor") folds[log.at("log")] = log.at("fold").get<int>();
    if (log.at("log") == "back-2.6") {
      EXPECT_NEAR(log.at("cadence").get<double>(), 2.6, 0.1);
    }
  }
  EXPECT_EQ(folds, (std::map<std::string, int>{{"back-2.6", 0}, {"pocket-1.85", 4}}));
}

}  // namespace
}  // namespace zuvdr::training
