#include "tools/evaluation/steps.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tests/tools/scratch.h"
#include "tools/cli/commands.h"
#include "tools/logs/event_log.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/text_fields.h"

namespace zuvdr::tools {
namespace {

// The most pairs that declared steps from i on can form with the reference steps not yet used.
std::int64_t most_pairs(const StepSeries& walk, double latency, std::size_t i, unsigned used) {
  if (i == walk.declared.size()) return 0;
  std::int64_t most = most_pairs(walk, latency, i + 1, used);
  for (std::size_t j = 0; j < walk.reference.size(); ++j) {
    const bool near = std::abs(walk.declared[i] - latency - walk.reference[j]) <= 0.25;
    if (!near || (used >> j & 1U) != 0) continue;
    most = std::max(most, 1 + most_pairs(walk, latency, i + 1, used | 1U << j));
  }
  return most;
}

TEST(StepMatchingTest, FindsAsManyPairsAsThereCanBe) {
  std::mt19937 random(1);
  // Multiples of 1/64 s are exact; half of the walks are crowded.
  const auto series = [&random](unsigned length) {
    std::vector<double> times(random() % 8);
    for (double& time : times) time = 10.0 + static_cast<double>(random() % (length * 64)) / 64.0;
    std::ranges::sort(times);
    return times;
  };
  for (int i = 0; i < 3000; ++i) {
    const unsigned length = i % 2 == 0 ? 1 : 4;
    const StepSeries walk{.declared = series(length), .reference = series(length)};
    const double latency = static_cast<double>(random() % 32) / 64.0;
    const StepAgreement found = match_steps(walk, latency);
    ASSERT_EQ(found.matched, most_pairs(walk, latency, 0, 0)) << "walk " << i;
    EXPECT_EQ(found.declared, std::ssize(walk.declared));
    EXPECT_EQ(found.reference, std::ssize(walk.reference));
  }
}

TEST(StepMatchingTest, PairsStandOrFallWithTheirReferenceStep) {
  // By 0.4 s late; one reference step on either side of the part that counts, and one missed. The
  // declared steps of 9.9, 20.2 and 20.6 s belong to 9.5, 19.8 and 20.1 s; that of 15 s to none.
  const StepSeries walk{.declared = {9.9, 10.6, 15.0, 20.2, 20.6},
                        .reference = {9.5, 10.125, 13.0, 19.8, 20.1},
                        .from = 10.0,
                        .to = 20.0};
  const StepAgreement found = match_steps(walk, 0.4);
  EXPECT_EQ(found.declared, 3);
  EXPECT_EQ(found.reference, 3);
  EXPECT_EQ(found.matched, 2);
  EXPECT_DOUBLE_EQ(found.f1(), 2.0 / 3.0);
  EXPECT_DOUBLE_EQ(found.count_error(), 0.0);

  // Uneven steps, late by 0.30 to 0.54 s, one of them missed and one invented.
  const StepSeries uneven{.declared = {7.30, 7.94, 8.51, 9.80, 12.0, 12.84, 13.44},
                          .reference = {7.00, 7.50, 8.13, 8.74, 9.26, 12.42, 13.01}};
  EXPECT_NEAR(median_latency(std::vector{uneven}), 0.43, 1e-9);

  // Late by 0.7 s; the first declared step belongs to a foot strike that nobody annotated. One step
  // on, at 0.2 s, all would find a partner.
  StepSeries limping;
  double time = 10.0;
  for (int k = 0; k < 30; ++k) {
    limping.declared.push_back(time + 0.7);
    time += k % 2 == 0 ? 0.42 : 0.58;
    limping.reference.push_back(time);
  }
  EXPECT_NEAR(median_latency(std::vector{limping}), 0.7, 1e-9);
}

TEST(StepFiguresTest, CountBoutsInThePartThatCounts) {
  // Bouts of 12 steps from 4 s, of 3 from 20 s and of 10 from 30 s; what counts is 6 to 33.2 s.
  WalkLog log;
  for (const auto& [start, length] : {std::pair{4, 12}, {20, 3}, {30, 10}}) {
    for (int i = 0; i < length; ++i) {
      log.steps.declared.push_back(start + 0.5 * i);
      log.bout_steps.push_back(i + 1);
    }
  }
  log.steps.to = 33.2;
  log.last_epoch = 40.0;
  StepFigures figures = step_figures(log, 0.4);
  EXPECT_EQ(figures.total().steps, 8 + 3 + 7);
  EXPECT_EQ(figures.total().bouts, 3);
  EXPECT_EQ(figures.total().confirmed, 8 + 7);  // ten steps, wherever they stand
  EXPECT_EQ(figures.longest_bout, 8);
  EXPECT_DOUBLE_EQ(figures.cadence(), 2.0);
  EXPECT_TRUE(std::isnan(figures.excess()) && std::isnan(figures.latency));

  log.has_reference = true;
  log.steps.reference = {6.0, 6.5, 7.0, 7.5, 50.0};
  figures += step_figures(log, 0.4);
  EXPECT_DOUBLE_EQ(figures.steps_per_minute(), 18 * 60 / 27.2);  // without reference
  EXPECT_DOUBLE_EQ(figures.excess(), (15.0 - 4.0) / 4.0);        // with reference
  EXPECT_EQ(figures.total().steps, 36);
  EXPECT_EQ(figures.latency, 0.4);
  figures += step_figures(log, 0.5);
  EXPECT_TRUE(std::isnan(figures.latency));
}

class StepsCommandTest : public ScratchTest {
 protected:
  void run(const std::string& arguments) {
    CLI::App app;
    add_simulate_command(app);
    add_steps_command(app);
    testing::internal::CaptureStdout();
    try {
      app.parse(arguments);
    } catch (const InputError& error) {
      failure_ = error.what();
    }
    printed_ = testing::internal::GetCapturedStdout();
  }

  // The same walk with its reference steps earlier by `shift_ns`, or without them.
  std::string walk(const std::string& folder, std::int64_t shift_ns) {
    const std::string simulated = path("simulated.csv");
    if (!std::filesystem::exists(simulated)) {
      run("simulate walk --seed 5 --carry pocket --out " + simulated);
    }
    std::filesystem::create_directory(path(folder));
    const std::string name = path(folder + "/walk.csv");
    EventLogReader reader(simulated);
    EventLogWriter writer(name);
    writer.comment("activity: " + std::string(shift_ns > 0 ? "walk" : "unknown"));
    for (EventRow row; reader.next(row);) {
      auto* step = std::get_if<StepRow>(&row);
      if (step != nullptr && shift_ns == 0) continue;
      if (step != nullptr) step->time_ns -= shift_ns;
      writer.write(row);
    }
    writer.close();
    return name + " ";
  }

  nlohmann::json json() const { return nlohmann::json::parse(read_file(path("steps.json"))); }

  std::string printed_, failure_;
};

TEST_F(StepsCommandTest, LatencyBelongsToTheFolder) {
  const std::string logs = walk("a", 50'000'000) + walk("b", 150'000'000) + walk("bare", 0);
  run("steps " + logs + "--json " + path("steps.json"));
  const auto folders = json()["groups"];
  ASSERT_EQ(folders.size(), 3U);
  EXPECT_NEAR(folders[1].at("latency").get<double>() - folders[0].at("latency").get<double>(), 0.1,
              1e-6);
  EXPECT_EQ(folders[0].at("f1"), folders[1].at("f1"));
  EXPECT_GT(folders[0].at("f1"), 0.95);
  EXPECT_TRUE(folders[0].at("steps_per_minute").is_null());
  EXPECT_TRUE(folders[2].at("f1").is_null() && folders[2].at("reference").is_null());
  const double reference = folders[0].at("reference"), seconds = folders[0].at("seconds");
  EXPECT_NEAR(folders[2].at("steps_per_minute"), 60.0 * reference / seconds, 3.0);
  EXPECT_NE(printed_.find("b (1)"), std::string::npos);

  run("steps " + logs + "--summary --by activity --json " + path("steps.json"));
  const auto activities = json()["groups"];
  ASSERT_EQ(activities.size(), 2U);
  EXPECT_EQ(activities[0].at("name"), "walk");
  EXPECT_TRUE(activities[0].at("latency").is_null());
  EXPECT_EQ(activities[0].at("f1"), folders[0].at("f1"));
  EXPECT_EQ(printed_.find("walk.csv"), std::string::npos);
}

TEST_F(StepsCommandTest, ScoresTellWhyEachStepWasDeclared) {
  run("steps " + walk("good", 50'000'000) + "--json " + path("steps.json") + " --scores " +
      path("scores.csv"));
  const std::vector<double> times = json()["logs"][0]["step_times"];
  std::vector<double> references;  // s
  std::optional<std::int64_t> start_ns;
  EventLogReader reader(path("good/walk.csv"));
  for (EventRow row; reader.next(row);) {
    const auto* sensor = std::get_if<SensorRow>(&row);
    if (sensor != nullptr && !start_ns) start_ns = sensor->event.timestamp;
    const auto* step = std::get_if<StepRow>(&row);
    if (step != nullptr) {
      references.push_back(1e-9 * static_cast<double>(step->time_ns - start_ns.value()));
    }
  }

  // A step: a hit in a window of 18 whose strongest sample but the newest exceeds 0.5 m/s^2, an
  // open gate, and six calls without a step before it.
  std::deque<double> window;
  int pause = 0, epochs = 0;
  std::vector<double> declared, all_times;
  std::vector<bool> marked;
  std::istringstream lines(read_file(path("scores.csv")));
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::vector<std::string_view> row;
    for (FieldSplitter split(line); !split.at_end();) row.push_back(split.next());
    ASSERT_EQ(row.size(), 11U);
    const auto set = [&](std::size_t i) { return read_number<int>("flag", row[i]) != 0; };
    all_times.push_back(read_number<double>("time_s", row[1]));
    marked.push_back(set(10));
    window.push_back(read_number<double>("acc", row[2]));
    if (window.size() > 18) window.pop_front();
    EXPECT_EQ(row[4].empty() && row[5].empty(), ++epochs <= 18);
    const bool strong = *std::max_element(window.begin(), window.end() - 1) > 0.5;
    const bool step = (set(6) || set(7)) && strong && set(8) && pause == 0;
    pause = step ? 6 : std::max(pause - 1, 0);
    EXPECT_EQ(set(9), step) << line;
    if (step) declared.push_back(all_times.back());
  }
  ASSERT_EQ(declared.size(), times.size());
  for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(declared[i], times[i], 1e-6);

  EXPECT_EQ(std::ranges::count(marked, true), std::ssize(references));
  for (const double reference : references) {
    const auto nearest = std::ranges::min_element(
        all_times, {}, [=](double time) { return std::abs(time - reference); });
    EXPECT_TRUE(marked[static_cast<std::size_t>(nearest - all_times.begin())]) << reference;
  }
}

TEST_F(StepsCommandTest, LogsKnowNothingOfOneAnother) {
  const std::string good = walk("good", 50'000'000);
  run("steps " + good + "--scores " + path("alone.csv"));
  const std::string alone = read_file(path("alone.csv"));
  ASSERT_FALSE(alone.empty());

  // The bad one leaves an event behind that would pair with the first ones of the good one.
  EventLogReader reader(path("good/walk.csv"));
  EventRow first;
  while (reader.next(first) && !std::holds_alternative<SensorRow>(first)) {
  }
  std::get<SensorRow>(first).event.values[2] += 50.0;
  EventLogWriter writer(path("bad.csv"));
  writer.write(first);
  writer.close();
  std::ofstream(path("bad.csv"), std::ios::app) << "S,1,5,x,1,2\n";
  const std::string bad = path("bad.csv") + " ";
  testing::internal::CaptureStderr();
  run("steps " + bad + good + path("none.csv") + " " + good + bad + "--json " + path("steps.json") +
      " --scores " + path("scores.csv"));
  EXPECT_NE(failure_.find("bad.csv:2: field v0"), std::string::npos) << failure_;
  std::istringstream reported(testing::internal::GetCapturedStderr());
  for (const std::string named : {"bad.csv:2: field v0", "none.csv"}) {
    std::string line;
    std::getline(reported, line);
    EXPECT_TRUE(line.starts_with("zuvdr: ") && line.find(named) != line.npos) << line;
  }
  EXPECT_EQ(reported.peek(), EOF);
  ASSERT_EQ(json()["logs"].size(), 2U);
  EXPECT_EQ(json()["logs"][0]["step_times"], json()["logs"][1]["step_times"]);
  const std::string rows = alone.substr(alone.find('\n') + 1);
  EXPECT_TRUE(read_file(path("scores.csv")) == alone + rows);
}

}  // namespace
}  // namespace zuvdr::tools
