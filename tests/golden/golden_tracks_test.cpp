// The engine's answers to the logs of this folder against the tracks beside them (README.md).
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tests/host/trace_rows.h"

namespace zuvdr::tests {
namespace {

using Strings = std::vector<std::string>;

constexpr double kPosition = 1e-9;   // degrees
constexpr double kRelative = 1e-6;   // of variances and the walker's speed
constexpr double kLogLine = 1.5e-6;  // one unit of the last decimal, and rounding

Strings split(const std::string& text, char separator) {
  Strings parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

Strings unpacked_lines(const std::string& path) {
  std::string text;
  char block[4096];
  const gzFile file = gzopen(path.c_str(), "rb");
  if (file == nullptr) return {};
  for (int n = 0; (n = gzread(file, block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(n));
  }
  gzclose(file);
  return split(text, '\n');
}

// 0 for the same number, also when it is infinite or NaN; infinite when only one of them is.
double difference(const std::string& expected, const std::string& got) {
  const double x = std::strtod(expected.c_str(), nullptr);
  const double y = std::strtod(got.c_str(), nullptr);
  if (x == y || (std::isnan(x) && std::isnan(y))) return 0.0;
  return std::isfinite(x - y) ? std::fabs(x - y) : std::numeric_limits<double>::infinity();
}

// The largest difference of the log line's decimals; infinite when anything else differs.
double log_difference(const std::string& expected, const std::string& got) {
  const Strings x = split(expected, ' '), y = split(got, ' ');
  if (x.size() != y.size()) return std::numeric_limits<double>::infinity();
  double largest = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (x[i] == y[i]) continue;
    const bool integer = x[i].find_first_of(".n") == std::string::npos;  // not "nan", not "inf"
    largest = std::max(largest,
                       integer ? std::numeric_limits<double>::infinity() : difference(x[i], y[i]));
  }
  return largest;
}

struct Column {
  int rows_that_differ = 0;
  std::size_t first = 0;
  double largest = 0.0;

  void compare(std::string_view name, std::size_t row, const std::string& x, const std::string& y) {
    double d = name == "log" ? log_difference(x, y) : difference(x, y);
    double tolerance = name == "log" ? kLogLine : 0.0;
    if (name == "lat" || name == "lon") tolerance = kPosition;
    if (name == "walker_speed" || name.find("_P") != std::string_view::npos) {
      tolerance = kRelative;
      if (d > 0.0 && std::isfinite(d)) d /= std::fabs(std::strtod(x.c_str(), nullptr));
    }
    largest = std::max(largest, d);
    if (!(d > tolerance)) return;
    if (rows_that_differ++ == 0) first = row;
  }
};

// A log, and whether a host without care plays it.
class GoldenTrack : public testing::TestWithParam<std::tuple<const char*, bool>> {};

TEST_P(GoldenTrack, IsWhatTheEngineAnswers) {
  const auto [log, through_host] = GetParam();
  const std::string path = std::string(ZUVDR_GOLDEN) + '/' + log;
  const Strings expected = unpacked_lines(path + ".track.csv.gz");
  Strings got;
  trace_rows(
      path + ".csv.gz", [&got](const std::string& line) { got.push_back(line); }, through_host);
  ASSERT_EQ(got.size(), expected.size()) << "rows of " << log;
  ASSERT_GT(got.size(), 100U);
  ASSERT_EQ(got[0], expected[0]);
  const Strings names = split(got[0], ',');
  std::vector<Column> columns(names.size());
  for (std::size_t row = 1; row < got.size(); ++row) {
    const Strings x = split(expected[row], ','), y = split(got[row], ',');
    ASSERT_EQ(x.size(), names.size()) << "row " << row;
    ASSERT_EQ(y.size(), names.size()) << "row " << row;
    for (std::size_t c = 0; c < names.size(); ++c) columns[c].compare(names[c], row, x[c], y[c]);
  }
  for (std::size_t c = 0; c < names.size(); ++c) {
    const Column& column = columns[c];
    if (column.rows_that_differ == 0) continue;
    ADD_FAILURE() << log << ", " << names[c] << ": " << column.rows_that_differ << " of "
                  << got.size() - 1 << " rows differ, by up to " << column.largest
                  << (names[c].find("_P") == std::string::npos ? "" : " of the value")
                  << "; first row " << column.first << ": expected "
                  << split(expected[column.first], ',')[c] << ", got "
                  << split(got[column.first], ',')[c];
  }
}
INSTANTIATE_TEST_SUITE_P(Logs, GoldenTrack,
                         testing::Combine(testing::Values("drive", "walk", "mixed", "meridian",
                                                          "bad-input"),
                                          testing::Bool()),
                         [](const auto& tested) {
                           std::string name = std::get<0>(tested.param);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name + (std::get<1>(tested.param) ? "_by_a_host" : "");
                         });

}  // namespace
}  // namespace zuvdr::tests
