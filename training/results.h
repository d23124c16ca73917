// What the detector did under trained networks: figures of data sets, as a table and as JSON.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/evaluation/steps.h"
#include "training/corpus.h"

namespace zuvdr::training {

// By set_name.
using FiguresBySet = std::map<std::string, tools::StepFigures>;

// Detections of one detector.
class Results {
 public:
  void add(const Sample& sample, tools::WalkLog walk);

  FiguresBySet figures() const;

  // An entry for every log, under the latency of its set.
  nlohmann::ordered_json logs() const;

 private:
  struct Entry {
    std::vector<const Sample*> samples;
    std::vector<tools::WalkLog> walks;
  };
  std::map<std::string, Entry> entries_;
};

void print(const FiguresBySet& figures);
// Mean, least and greatest of several trainings; confirmed steps of all together.
void print_spread(const std::vector<FiguresBySet>& trainings);
nlohmann::ordered_json to_json(const FiguresBySet& figures);

// For files that people read.
double rounded(double value, int decimals);

}  // namespace zuvdr::training
