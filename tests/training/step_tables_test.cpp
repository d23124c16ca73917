// The shipped networks on logs of simulated walkers that they were not trained on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "pdr/step_state_machine.h"
#include "tools/evaluation/steps.h"
#include "tools/logs/event_log.h"

namespace zuvdr::tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kRefresh =
    "\nTables trained anew? ZUVDR_REFRESH_FIGURES=1 step_tables_test writes figures.json.";

Json present_figures(const std::filesystem::path& folder) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".gz") paths.push_back(entry.path().string());
  }
  std::ranges::sort(paths);
  Json json;
  for (const std::string& path : paths) {
    EventLogReader reader(path);
    const WalkLog log = read_walk(reader, path);
    // Of each log alone: the band-pass delays a slow walk by more than a quick one.
    const double latency = median_latency(std::span(&log.steps, 1));
    const StepFigures figures = step_figures(log, latency);
    Json& entry = json[std::filesystem::path(log.path).filename().string()];
    if (log.has_reference) {
      entry["f1"] = std::round(figures.agreement.f1() * 1e4) / 1e4;
      entry["declared"] = figures.agreement.declared;
    } else {
      entry["declared"] = figures.total().steps;
      entry["longest_bout"] = figures.longest_bout;
      entry["confirmed"] = figures.total().confirmed;
    }
  }
  return json;
}

TEST(StepTablesTest, DoNoWorseThanWhenTheyWereTrained) {
  const std::filesystem::path folder = ZUVDR_SIMULATED_STEPS;
  const Json present = present_figures(folder);
  for (const auto& [log, figures] : present.items()) {
    EXPECT_EQ(figures.value("confirmed", 0), 0) << log << ": nobody walks";
  }
  if (std::getenv("ZUVDR_REFRESH_FIGURES") != nullptr) {
    std::ofstream out(folder / "figures.json");
    out << present.dump(2) << '\n';
    ASSERT_TRUE(out.flush());
    GTEST_SKIP() << "figures.json has been written";
  }
  const Json recorded = Json::parse(std::ifstream(folder / "figures.json"));
  ASSERT_EQ(present.size(), recorded.size());
  for (const auto& [log, then] : recorded.items()) {
    const Json& now = present.at(log);
    // Another compiler's last digits may move a step or two across a threshold.
    EXPECT_NEAR(now.at("declared").get<double>(), then.at("declared").get<double>(), 2.0)
        << log << kRefresh;
    EXPECT_EQ(now.contains("f1"), then.contains("f1")) << log;
    if (then.contains("f1")) {
      EXPECT_GE(now.value("f1", 0.0), then.at("f1").get<double>() - 0.01) << log << kRefresh;
    } else {
      EXPECT_LE(now.value("longest_bout", 0), then.at("longest_bout").get<int>() + 1)
          << log << kRefresh;
    }
  }
}

TEST(StepTablesTest, NoStepComesOfANan) {
  sns_oem_step_detector_inst_state state{};
  state.sample_count = kStepWindow;
  std::ranges::fill(state.acc_window, std::numeric_limits<float>::quiet_NaN());
  float silence[3] = {};
  sns_oem_step_detector_StateMachine(0, silence, silence, &state);
  EXPECT_GE(state.acc_score, kAccScoreThreshold);
}

}  // namespace
}  // namespace zuvdr::tools
