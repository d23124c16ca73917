// Walks with their figures, and groups of them.
#pragma once

#include <string>
#include <vector>

#include "tools/evaluation/steps.h"

namespace zuvdr::tools {

// Of the log; "." for the one that the program runs in.
std::string folder_of(const WalkLog& log);

struct EvaluatedWalk {
  WalkLog log;
  StepFigures figures;
};

// Each log under the median latency of those of its folder that have a reference.
std::vector<EvaluatedWalk> evaluate(std::vector<WalkLog> logs);

struct WalkGroup {
  std::string name;  // the folder, or the text of the header
  std::vector<const EvaluatedWalk*> walks;
  StepFigures figures;
};

// In the order in which they begin. `by`: folder, subject, position or activity.
std::vector<WalkGroup> grouped(const std::vector<EvaluatedWalk>& walks, const std::string& by);

}  // namespace zuvdr::tools
