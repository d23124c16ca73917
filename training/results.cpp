#include "training/results.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>
#include <utility>

namespace zuvdr::training {
namespace {

using Json = nlohmann::ordered_json;

// One over the median time between two reference steps of the part that counts, 1/s.
double cadence_of(const Recording& recording) {
  std::vector<double> intervals;
  const tools::StepSeries& steps = recording.steps;
  for (std::size_t i = 1; i < steps.reference.size(); ++i) {
    const double before = steps.reference[i - 1], now = steps.reference[i];
    if (steps.counts(before) && steps.counts(now)) intervals.push_back(now - before);
  }
  if (intervals.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
  std::ranges::nth_element(intervals, middle);
  return 1.0 / *middle;
}

std::string spread(const std::vector<double>& values, double scale) {
  const auto [least, greatest] = std::ranges::minmax(values);
  const double mean =
      std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
  return fmt::format("{:.4g} ({:.4g} to {:.4g})", scale * mean, scale * least, scale * greatest);
}

}  // namespace

double rounded(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::round(value * scale) / scale;
}

void Results::add(const Sample& sample, tools::WalkLog walk) {
  Entry& entry = entries_[set_name(sample.recording)];
  entry.samples.push_back(&sample);
  entry.walks.push_back(std::move(walk));
}

FiguresBySet Results::figures() const {
  FiguresBySet figures;
  for (const auto& [name, entry] : entries_) {
    figures[name] = tools::step_figures(entry.walks);
  }
  return figures;
}

Json Results::logs() const {
  Json json = Json::array();
  for (const auto& [name, entry] : entries_) {
    const double latency = tools::step_figures(entry.walks).latency;
    for (std::size_t i = 0; i < entry.samples.size(); ++i) {
      const Recording& recording = entry.samples[i]->recording;
      const tools::StepFigures figures = tools::step_figures(entry.walks[i], latency);
      Json& log = json.emplace_back();
      log["set"] = recording.set;
      log["log"] = recording.name;
      log["walker"] = recording.walker;
      log["position"] = recording.position;
      log["activity"] = recording.activity;
      if (recording.walking()) {
        log["cadence"] = cadence_of(recording);
        log["reference"] = figures.agreement.reference;
        log["declared"] = figures.agreement.declared;
        log["matched"] = figures.agreement.matched;
      } else {
        log["minutes"] = figures.total().seconds / 60.0;
        log["steps"] = figures.total().steps;
        log["longest_bout"] = figures.longest_bout;
        log["confirmed"] = figures.total().confirmed;
      }
    }
  }
  return json;
}

void print(const FiguresBySet& all) {
  fmt::print("{:<24} {:>4} {:>7} {:>7} {:>7} {:>7} {:>7} {:>7} {:>7} {:>9} {:>5} {:>7}\n", "set",
             "logs", "minutes", "F1", "recall", "precis.", "count%", "total%", "latency",
             "confirmed", "bout", "per min");
  for (const auto& [name, figures] : all) {
    const tools::StepAgreement& agreement = figures.agreement;
    const double total =
        100.0 *
        (static_cast<double>(agreement.declared) / static_cast<double>(agreement.reference) - 1.0);
    fmt::print(
        "{:<24} {:>4} {:>7.1f} {:>7.4f} {:>7.4f} {:>7.4f} {:>7.2f} {:>7.2f} {:>7.3f} {:>9} "
        "{:>5} {:>7.1f}\n",
        name, figures.total().logs, figures.total().seconds / 60.0, agreement.f1(),
        agreement.recall(), agreement.precision(), 100.0 * figures.count_error(), total,
        figures.latency, figures.total().confirmed, figures.longest_bout,
        figures.steps_per_minute());
  }
  std::fflush(stdout);
}

void print_spread(const std::vector<FiguresBySet>& trainings) {
  fmt::print("{:<24} {:<28} {:<28} {:<28} {}\n", "set", "F1", "count error, %",
             "steps a minute, nobody walks", "confirmed, in all");
  for (const auto& [name, first] : trainings.front()) {
    std::vector<double> f1, count_error, rate;
    std::int64_t confirmed = 0;
    for (const FiguresBySet& training : trainings) {
      const tools::StepFigures& figures = training.at(name);
      f1.push_back(figures.agreement.f1());
      count_error.push_back(figures.count_error());
      rate.push_back(figures.steps_per_minute());
      confirmed += figures.total().confirmed;
    }
    const bool walking = first.agreement.reference > 0;
    fmt::print("{:<24} {:<28} {:<28} {:<28} {}\n", name, walking ? spread(f1, 1.0) : "",
               walking ? spread(count_error, 100.0) : "", walking ? "" : spread(rate, 1.0),
               walking ? "" : fmt::format("{}", confirmed));
  }
  std::fflush(stdout);
}

Json to_json(const FiguresBySet& all) {
  Json json;
  for (const auto& [name, figures] : all) {
    Json& set = json[name];
    set["logs"] = figures.total().logs;
    if (figures.agreement.reference > 0) {
      set["steps"] = figures.agreement.reference;
      set["f1"] = rounded(figures.agreement.f1(), 4);
      set["count_error"] = rounded(figures.count_error(), 4);
    } else {
      set["confirmed"] = figures.total().confirmed;
      set["longest_bout"] = figures.longest_bout;
      set["steps_per_minute"] = rounded(figures.steps_per_minute(), 1);
    }
  }
  return json;
}

}  // namespace zuvdr::training
