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
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "pdr/step_networks.h"
#include "pdr/step_state_machine.h"
#include "pdr/step_tables.h"
#include "tests/tools/scratch.h"
#include "training/kernels.h"
#include "training/results.h"
#include "training/step_gate.h"

namespace zuvdr::training {
namespace {

using Tables = std::map<std::string, std::vector<float>>;

Tables by_name(const std::vector<Table>& tables) {
  Tables result;
  for (const Table& table : tables) {
    EXPECT_EQ(static_cast<std::int64_t>(table.values.size()), table.rows * table.columns);
    EXPECT_TRUE(result.emplace(table.name, table.values).second) << table.name;
  }
  return result;
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
  std::vector<tools::WalkLog> steps, false_steps;
  for (const Sample& sample : others) {
    (sample.recording.walking() ? steps : false_steps).push_back(gate.detect(sample));
  }
  const tools::StepFigures walked = tools::step_figures(steps);
  EXPECT_GT(walked.agreement.recall(), 0.85);
  EXPECT_GT(walked.agreement.precision(), 0.92);
  // Walkers take 70 to 170 steps a minute. Shaken and swung phones do look like it now and then.
  EXPECT_LT(tools::step_figures(false_steps).steps_per_minute(), 25.0);

  const std::vector<Table> tables = gate.tables();
  EXPECT_EQ(by_name(tables).size(), 20U);
  // No step may come of a NaN.
  EXPECT_GE(logistic(StepNetwork(Sensor::kAccelerometer, tables).nan_logit()), kAccScoreThreshold);
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
    return tools::step_figures(std::vector{detect(samples[0].recording, perfect.acc, perfect.gyr)})
        .latency;
  };
  EXPECT_NEAR(latency(6) - latency(2), 0.16, 0.041);
}

// Two walks of 100 reference steps: F1 0.8, mean count error 0.25. One minute in which nobody
// walks, with 30 steps.
const FiguresBySet kTwoSets = [] {
  FiguresBySet sets;
  tools::StepFigures& walks = sets["set"];
  walks.with_reference.logs = 2;
  walks.agreement = {.declared = 100, .reference = 100, .matched = 80};
  walks.count_errors = {0.2, 0.3};
  tools::StepFigures& still = sets["set, nobody walks"];
  still.without_reference = {.logs = 1, .seconds = 60.0, .steps = 30, .confirmed = 12};
  return sets;
}();

TEST(TrainingTest, MeritSetsCountErrorsAndFalseStepsOffAgainstF1) {
  EXPECT_NEAR(merit(kTwoSets.at("set")), 0.8 - 0.25, 1e-12);
  EXPECT_NEAR(merit(kTwoSets.at("set, nobody walks")), -0.03, 1e-12);
  tools::StepFigures nothing;
  nothing.with_reference.logs = 1;
  EXPECT_TRUE(std::isnan(merit(nothing)));
}

TEST(TrainingTest, SpreadIsMeanLeastAndGreatestOfTheTrainings) {
  FiguresBySet other = kTwoSets;
  other["set"].agreement.matched = 60;
  other["set"].count_errors = {0.1, 0.0};
  other["set, nobody walks"].without_reference.steps = 10;
  testing::internal::CaptureStdout();
  print_spread({kTwoSets, other});
  const std::string printed =
      std::regex_replace(testing::internal::GetCapturedStdout(), std::regex(" +"), " ");
  EXPECT_NE(printed.find("\nset 0.7 (0.6 to 0.8) 15 (5 to 25)"), std::string::npos) << printed;
  EXPECT_NE(printed.find("\nset, nobody walks 20 (10 to 30) 24\n"), std::string::npos) << printed;
}

template <std::size_t N>
Table shipped(const char* name, const float (&values)[N]) {
  return {name, 1, N, {values, values + N}};
}

std::vector<Table> shipped_tables() {
#define SHIPPED(name) shipped(#name, name)
  return {
      SHIPPED(FirConvnet),  SHIPPED(FirConvnetBias),  SHIPPED(SedConvnet), SHIPPED(SedConvnetBias),
      SHIPPED(Inputnet),    SHIPPED(Inputnetbias),    SHIPPED(Denesnet),   SHIPPED(Denesnetbias),
      SHIPPED(Outputnet),   SHIPPED(Outputnetbias),   SHIPPED(GConvnet),   SHIPPED(GConvnetBias),
      SHIPPED(GInputnet),   SHIPPED(GInputnetBias),   SHIPPED(GDensenet),  SHIPPED(GDensenetBias),
      SHIPPED(GDensenet_2), SHIPPED(GDensenetBias_2), SHIPPED(GOutputnet), SHIPPED(GOutputnetBias)};
#undef SHIPPED
}

TEST(StepNetworkTest, AnswersAsTheLibraryDoesUnderTheShippedTables) {
  const Sample sample = simulate_corpus({1, 0, 0}, 1000)[0];
  const std::vector<Table> tables = shipped_tables();
  Tables again;
  // Up to 64 terms, with sums up to some 10, in another order: 64 * 10 / 2^24 = 4e-5 of a logit. A
  // float score adds 6e-6 at 0.01 and says nothing of a logit far beyond.
  for (const Sensor sensor : {Sensor::kAccelerometer, Sensor::kGyroscope}) {
    const bool acc = sensor == Sensor::kAccelerometer;
    const std::vector<float>& signal = acc ? sample.signals.acc : sample.signals.gyr;
    StepNetwork network(sensor, tables);
    again.merge(by_name(network.tables()));
    const std::vector<float> logits = network.logits(signal);
    ASSERT_EQ(logits.size(), signal.size());
    int between = 0;
    for (std::size_t i = kFirstScored; i < signal.size(); ++i) {
      const float* window = &signal[i + 1 - kStepWindow];
      const float score =
          acc ? accelerometer_step_score(window, window) : gyroscope_step_score(window);
      ASSERT_NEAR(logistic(logits[i]), score, 3e-5) << i;
      if (score < 0.01f || score > 0.99f) continue;
      ++between;
      ASSERT_NEAR(logits[i], std::log(score / (1.0 - score)), 1e-4) << i;
    }
    EXPECT_GT(between, 500);
    const float nan[kStepWindow] = {std::numeric_limits<float>::quiet_NaN()};
    if (acc) {
      EXPECT_NEAR(logistic(network.nan_logit()), accelerometer_step_score(nan, nan), 1e-6);
    }
    network.shift(-0.75f);
    EXPECT_NEAR(network.logits(signal)[500], logits[500] - 0.75f, 1e-4);
  }
  EXPECT_EQ(again, by_name(tables));
}

TEST(StepNetworkTest, TheRateRisesAndFalls) {
  Examples examples;
  examples.windows.assign(kStepWindow, 0.1f);
  examples.targets = examples.weights = {1.0f};
  const auto bias = [&examples](double rate, int steps) {
    TrainingOptions options;
    options.rate = rate;
    options.passes = steps;
    return StepNetwork(Sensor::kGyroscope, examples, options).tables().back().values.at(0);
  };
  // Under a gradient that hardly changes Adam goes one rate a step: 1/25 of the greatest at first,
  // (1 + cos(2/7 pi)) / 2 of it halfway.
  const double rate = 1e-3, start = bias(1e-9, 1);
  EXPECT_NEAR(bias(rate, 1) - start, rate * 0.04, rate * 0.002);
  EXPECT_NEAR(bias(rate, 2) - start, rate * (0.04 + 0.8117), rate * 0.02);
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
