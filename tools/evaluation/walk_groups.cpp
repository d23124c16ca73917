#include "tools/evaluation/walk_groups.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

namespace zuvdr::tools {
namespace {

std::string group_name(const WalkLog& log, const std::string& by) {
  if (by == "folder") return folder_of(log);
  return by == "subject" ? log.subject : by == "position" ? log.position : log.activity;
}

}  // namespace

std::string folder_of(const WalkLog& log) {
  const std::string folder =
      std::filesystem::path(log.path).parent_path().lexically_normal().string();
  return folder.empty() ? "." : folder;
}

std::vector<EvaluatedWalk> evaluate(std::vector<WalkLog> logs) {
  std::map<std::string, std::vector<StepSeries>> referenced;
  for (const WalkLog& log : logs) {
    if (log.has_reference) referenced[folder_of(log)].push_back(log.steps);
  }
  std::map<std::string, double> latencies;
  for (const auto& [folder, series] : referenced) latencies[folder] = median_latency(series);
  std::vector<EvaluatedWalk> walks;
  for (WalkLog& log : logs) {
    const StepFigures figures = step_figures(log, latencies[folder_of(log)]);
    walks.push_back({std::move(log), figures});
  }
  return walks;
}

std::vector<WalkGroup> grouped(const std::vector<EvaluatedWalk>& walks, const std::string& by) {
  std::vector<WalkGroup> groups;
  for (const EvaluatedWalk& walk : walks) {
    const std::string name = group_name(walk.log, by);
    auto known = std::ranges::find(groups, name, &WalkGroup::name);
    if (known == groups.end()) known = groups.insert(known, {name, {}, {}});
    known->walks.push_back(&walk);
    known->figures += walk.figures;
  }
  return groups;
}

}  // namespace zuvdr::tools
