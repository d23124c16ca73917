#include "tools/plot/plot.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <regex>
#include <string>
#include <vector>

namespace zuvdr::tools {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class PlotTest : public testing::Test {
 protected:
  ~PlotTest() override { std::filesystem::remove(path_); }

  std::string plotted(const std::vector<NamedTrack>& tracks) {
    plot_tracks(tracks, "A <trip> & back", path_);
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const std::string path_ =
      (std::filesystem::path(testing::TempDir()) /
       (std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + ".svg"))
          .string();
};

// `metres` along the geodesic with the given azimuth from a point in a mid-latitude town.
TrackRow row_at(int second, double azimuth, double metres, int status = 1) {
  TrackRow row{};
  GeographicLib::Geodesic::WGS84().Direct(36.0, 120.0, azimuth, metres, row.latitude,
                                          row.longitude);
  row.time_ns = (1000 + second) * std::int64_t{1'000'000'000};
  row.output_time_ns = row.time_ns;
  row.status = status;
  row.fix_latitude = row.latitude;
  row.fix_longitude = row.longitude;
  row.fix_accepted = true;
  row.truth_latitude = row.latitude;
  row.truth_longitude = row.longitude;
  return row;
}

std::vector<double> numbers_of(const std::string& svg, const std::string& css_class) {
  const std::regex path("<path class=\"" + css_class + "\"[^>]* d=\"([^\"]*)\"");
  std::smatch match;
  std::vector<double> numbers;
  if (!std::regex_search(svg, match, path)) return numbers;
  const std::string data = match[1];
  const std::regex number("[0-9.]+");
  for (std::sregex_iterator i(data.begin(), data.end(), number), end; i != end; ++i) {
    numbers.push_back(std::stod(i->str()));
  }
  return numbers;
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(PlotTest, MapIsTrueToScaleNorthUpAndTheScaleBarAgrees) {
  // 400 m to the north, then back and 400 m to the east.
  const std::string svg =
      plotted({{"t", {row_at(0, 0, 400), row_at(5, 0, 0), row_at(10, 90, 400)}}});
  const std::vector<double> line = numbers_of(svg, "fused status1");
  ASSERT_EQ(line.size(), 6U);
  const double up = line[3] - line[1];
  const double right = line[4] - line[2];
  EXPECT_NEAR(line[0], line[2], 0.2);
  EXPECT_NEAR(line[3], line[5], 0.2);
  EXPECT_GT(up, 100.0);
  EXPECT_NEAR(up, right, 0.2);

  const std::vector<double> bar = numbers_of(svg, "rule scale");  // M left y v6 H right v-6
  ASSERT_GE(bar.size(), 4U);
  std::smatch label;
  ASSERT_TRUE(std::regex_search(svg, label, std::regex(">([0-9]+) m</text>")));
  EXPECT_NEAR((bar[3] - bar[0]) / right, std::stod(label[1]) / 400.0, 1e-3);
}

TEST_F(PlotTest, OnlyWhatOccursIsDrawnAndNamed) {
  std::vector<TrackRow> rows;
  for (int i = 0; i < 40; ++i) rows.push_back(row_at(i, 45, 10.0 * i, i < 10 ? 0 : 1));
  std::string svg = plotted({{"t", rows}});
  EXPECT_TRUE(has(svg, "A &lt;trip&gt; &amp; back"));
  for (const char* there : {"class=\"truth\"", "class=\"fix\"", "status0\" d", "status1\" d",
                            ">start<", ">end<", ">truth<", ">raw fix<"}) {
    EXPECT_TRUE(has(svg, there)) << there;
  }
  for (const char* absent : {"class=\"outage\"", "class=\"refused\"", "status2\" d", "status3\" d",
                             "no fixes", "NaN", "nan", "not accepted"}) {
    EXPECT_FALSE(has(svg, absent)) << absent;
  }

  for (int i = 20; i < 33; ++i) {
    TrackRow& row = rows[static_cast<std::size_t>(i)];
    row.status = 2;
    row.sample = 1;
    // 3 m beside the truth at the end
    GeographicLib::Geodesic::WGS84().Direct(row.truth_latitude, row.truth_longitude, 135, 3.0,
                                            row.latitude, row.longitude);
  }
  rows[5].fix_accepted = false;
  svg = plotted({{"t", rows}});
  for (const char* there : {"class=\"outage\"", "class=\"refused\"", "status2\" d",
                            "12 s without fixes, 3.0 m off at the end"}) {
    EXPECT_TRUE(has(svg, there)) << there;
  }
  EXPECT_EQ(numbers_of(svg, "refused").size(), 3U) << "one dot";

  for (TrackRow& row : rows) row.truth_latitude = row.truth_longitude = kNaN;
  svg = plotted({{"t", rows}});
  EXPECT_FALSE(has(svg, "class=\"truth\""));
  EXPECT_TRUE(has(svg, "12 s without fixes</text>"));
}

TEST_F(PlotTest, LinesBreakWhereRowsOrPositionsAreMissing) {
  std::vector<TrackRow> rows;
  for (int i = 0; i < 30; ++i) rows.push_back(row_at(i < 15 ? i : i + 60, 45, 10.0 * i));
  rows[7].latitude = kNaN;
  const std::string svg = plotted({{"t", rows}});
  std::smatch match;
  ASSERT_TRUE(std::regex_search(svg, match, std::regex("class=\"fused status1\" d=\"([^\"]*)\"")));
  const std::string data = match[1];
  EXPECT_EQ(std::count(data.begin(), data.end(), 'M'), 3);
}

TEST_F(PlotTest, SeveralTracksAreToldApartByName) {
  const std::vector<TrackRow> one{row_at(0, 0, 0), row_at(1, 0, 50)};
  const std::vector<TrackRow> two{row_at(0, 90, 0), row_at(1, 90, 50)};
  const std::string svg = plotted({{"first run", one}, {"second run", two}});
  const std::regex stroke("class=\"fused\" style=\"stroke: (#[0-9a-f]+)\"");
  std::vector<std::string> colours;
  for (std::sregex_iterator i(svg.begin(), svg.end(), stroke), end; i != end; ++i) {
    colours.push_back((*i)[1]);
  }
  ASSERT_EQ(colours.size(), 4U) << "two lines, two samples in the legend";
  EXPECT_NE(colours[0], colours[1]);
  EXPECT_TRUE(has(svg, ">first run<") && has(svg, ">second run<"));
}

TEST_F(PlotTest, InsetOfALongTripShowsWhereTheFixesAreWorst) {
  // 12 km to the north-east; for ten seconds in the middle of the way the fixes lie 40 m to the
  // north.
  std::vector<TrackRow> rows;
  for (int i = 0; i < 600; ++i) {
    TrackRow row = row_at(i, 45, 20.0 * i);
    if (i >= 300 && i < 310) row.fix_latitude += 40.0 / 111e3;
    rows.push_back(row);
  }
  const std::string svg = plotted({{"t", rows}});
  std::smatch frame;
  ASSERT_TRUE(std::regex_search(
      svg, frame, std::regex("class=\"frame\" x=\"([0-9.]+)\" y=\"[0-9.]+\" width=\"([0-9.]+)\"")));
  const double middle = std::stod(frame[1]) + 0.5 * std::stod(frame[2]);
  const std::vector<double> line = numbers_of(svg, "fused status1");
  EXPECT_NEAR((middle - line[0]) / (line[2] - line[0]), 305.0 / 599.0, 0.01);

  for (TrackRow& row : rows) row.truth_latitude = kNaN;
  EXPECT_FALSE(has(plotted({{"t", rows}}), "class=\"frame\"")) << "not without truth";
}

TEST_F(PlotTest, NothingToDrawOrNowhereToWriteIsAnError) {
  TrackRow row = row_at(0, 0, 0);
  row.latitude = row.truth_latitude = kNaN;
  EXPECT_THROW(plot_track({}, path_), PlotError);
  EXPECT_THROW(plot_track({row}, path_), PlotError);
  EXPECT_THROW(plot_track({row_at(0, 0, 0)}, path_ + "/no/such.svg"), PlotError);
  EXPECT_NO_THROW(plot_track({row_at(0, 0, 0)}, path_)) << "a single position is a picture";
}

}  // namespace
}  // namespace zuvdr::tools
