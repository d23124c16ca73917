#include "tools/plot/plot.h"

#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <numbers>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/plot/text.h"

namespace zuvdr::tools {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class PlotTest : public testing::Test {
 protected:
  ~PlotTest() override { std::filesystem::remove(path_); }

  std::string plotted(const std::vector<NamedTrack>& tracks) {
    OutputFile picture(path_);
    plot_tracks(tracks, title_, picture);
    return content_of(path_);
  }

  static std::string content_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string title_ = "A <trip> & back";

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
  std::vector<double> numbers;
  std::size_t at = svg.find("<path class=\"" + css_class + "\"");
  if (at == std::string::npos) return numbers;
  for (at = svg.find(" d=\"", at) + 4; svg[at] != '"';) {
    char* end = nullptr;
    const double number = std::strtod(&svg[at], &end);
    if (end != &svg[at]) numbers.push_back(number);
    at = std::max(at + 1, static_cast<std::size_t>(end - svg.data()));
  }
  return numbers;
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

void move(TrackRow& row, double azimuth, double metres) {
  GeographicLib::Geodesic::WGS84().Direct(row.latitude, row.longitude, azimuth, metres,
                                          row.latitude, row.longitude);
}

// 12 km to the north-east
std::vector<TrackRow> long_trip() {
  std::vector<TrackRow> rows;
  for (int i = 0; i < 600; ++i) rows.push_back(row_at(i, 45, 20.0 * i));
  return rows;
}

struct Rectangle {
  double left, top, right, bottom;
  bool overlaps(const Rectangle& other) const {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }
};

// Of the texts of a class at 13 px in DejaVu Sans, where the widest labels have 6.8 px a letter.
std::vector<Rectangle> boxes_of(const std::string& svg, const std::string& css_class) {
  const std::regex text("<text class=\"" + css_class +
                        "\" x=\"([0-9.]+)\" y=\"([0-9.]+)\" text-anchor=\"(.*?)\">(.*?)</text>");
  std::vector<Rectangle> boxes;
  for (std::sregex_iterator i(svg.begin(), svg.end(), text), end; i != end; ++i) {
    const double width = 6.8 * static_cast<double>((*i)[4].length());
    const double left = std::stod((*i)[1]) - ((*i)[3] == "end"      ? width
                                              : (*i)[3] == "middle" ? 0.5 * width
                                                                    : 0.0);
    const double baseline = std::stod((*i)[2]);
    boxes.push_back({left, baseline - 10.0, left + width, baseline + 3.0});
  }
  return boxes;
}

Rectangle rectangle_of(const std::string& svg, const std::string& start) {
  std::smatch match;
  const std::regex place(start + " x=\"(.*?)\" y=\"(.*?)\" width=\"(.*?)\" height=\"(.*?)\"");
  if (!std::regex_search(svg, match, place)) return {kNaN, kNaN, kNaN, kNaN};
  const double left = std::stod(match[1]);
  const double top = std::stod(match[2]);
  return {left, top, left + std::stod(match[3]), top + std::stod(match[4])};
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
  EXPECT_EQ(numbers_of(svg, "fix").size(), 3U * (40 - 13 - 1)) << "all others with a fix";

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
  std::vector<NamedTrack> tracks;
  for (const char* name : {"first run", "b", "c", "d", "e", "f", "g", "last run"}) {
    tracks.push_back({name, {row_at(0, 0, 0), row_at(1, 0, 50)}});
  }
  const std::string svg = plotted(tracks);
  const std::regex style("class=\"fused\" style=\"(stroke: [^\"]+)\"");
  std::multiset<std::string> styles;
  for (std::sregex_iterator i(svg.begin(), svg.end(), style), end; i != end; ++i) {
    styles.insert((*i)[1]);
  }
  EXPECT_EQ(styles.size(), 16U) << "eight lines, eight samples in the legend";
  for (const std::string& one : styles) EXPECT_EQ(styles.count(one), 2U) << one;
  EXPECT_TRUE(has(svg, ">first run<") && has(svg, ">last run<"));
}

TEST_F(PlotTest, InsetOfALongTripShowsWhereTheFusedTrackIsFarthestFromTheTruth) {
  std::vector<TrackRow> rows = long_trip();
  move(rows[304], 0, 25.0);
  move(rows[305], 90, 40.0);
  move(rows[500], 90, 90.0);
  rows[500].status = 0;             // not fused
  rows[100].fix_latitude += 0.002;  // a bad fix that was seen through
  const std::string svg = plotted({{"t", rows}});
  const Rectangle frame = rectangle_of(svg, "class=\"frame\"");
  const std::vector<double> line = numbers_of(svg, "fused status1");
  EXPECT_NEAR((0.5 * (frame.left + frame.right) - line[0]) / (line[line.size() - 2] - line[0]),
              305.0 / 599.0, 0.005);
  EXPECT_TRUE(has(svg, ">fused track farthest from truth: 40.0 m</text>"));
  const std::vector<double> off = numbers_of(svg, "worst");
  ASSERT_EQ(off.size(), 4U);
  const std::string inset = svg.substr(svg.find("class=\"plate"));
  const std::vector<double> bar = numbers_of(inset, "rule scale");
  std::smatch metres;
  ASSERT_TRUE(std::regex_search(inset, metres, std::regex(">([0-9]+) m</text>")));
  EXPECT_NEAR(std::hypot(off[2] - off[0], off[3] - off[1]) / (bar[3] - bar[0]),
              40.0 / std::stod(metres[1]), 0.02);

  for (TrackRow& row : rows) row.truth_latitude = kNaN;
  EXPECT_FALSE(has(plotted({{"t", rows}}), "class=\"frame\"")) << "not without truth";
}

TEST_F(PlotTest, NothingIsWrittenOverAnotherInAWideFont) {
  // Every 40 m a stretch without fixes, where labels are half a kilometre wide.
  std::vector<TrackRow> rows;
  for (int i = 0; i < 200; ++i) {
    const double slow = std::clamp(i, 80, 128) - 80;  // 5 m/s, else 20 m/s
    rows.push_back(row_at(i, 60, 20.0 * i - 15.0 * slow, i / 50));
    if (i >= 80 && i < 128 && i % 8 < 6) rows.back().sample = 1;
    if (i % 8 == 5) move(rows.back(), 0, 10.0);
    rows.back().fix_accepted = i > 10;
  }
  const std::string svg = plotted({{"t", rows}});
  std::vector<Rectangle> boxes = boxes_of(svg, "halo");
  EXPECT_EQ(boxes.size(), 8U) << "start, end and six stretches";
  boxes.push_back(rectangle_of(svg, "<rect class=\"inset\""));
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    EXPECT_TRUE(boxes[i].left >= 0.0 && boxes[i].right <= 900.0) << i;
    for (std::size_t k = 0; k < i; ++k) EXPECT_FALSE(boxes[i].overlaps(boxes[k])) << i << ' ' << k;
  }
  // Title of the inset above its map, both inside the box.
  const std::regex title(
      "class=\"inset\" x.*\n<text .* y=\"([0-9.]+)\".*\n<rect class=\"inset\" x=.* "
      "y=\"([0-9.]+)\"");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(svg, match, title));
  EXPECT_GT(std::stod(match[2]), std::stod(match[1]) + 4.0);

  // The legend: samples of 24 px, then words. Letters are up to 0.64 wide, in bold 0.72.
  title_ = std::string(300, 'n');
  for (const auto& tracks : std::vector<std::vector<NamedTrack>>{
           {{"t", rows}}, {{"one", rows}, {std::string(200, 'n'), rows}, {"three", rows}}}) {
    const std::string picture = plotted(tracks);
    const std::regex entry(
        "<path class=\"(?!rule|north)[^>]* d=\"M([0-9.]+) ([0-9.]+)[^>]*/>\n"
        "<text class=\"\" x=\"([0-9.]+)\"[^>]*>(.*?)</text>");
    double right = 0.0;
    double line = 0.0;
    int entries = 0;
    for (std::sregex_iterator i(picture.begin(), picture.end(), entry), end; i != end; ++i) {
      const bool same_line = std::abs(std::stod((*i)[2]) - line) < 5.0;
      EXPECT_TRUE(!same_line || std::stod((*i)[1]) > right + 3.0);
      line = std::stod((*i)[2]);
      const std::string name = (*i)[4];
      right = std::stod((*i)[3]) + (name[0] == 'n' ? 8.3 : 7.4) * static_cast<double>(name.size());
      EXPECT_LT(right, 900.0);
      ++entries;
    }
    EXPECT_EQ(entries, tracks.size() == 1 ? 8 : 7);
    std::smatch heading;
    ASSERT_TRUE(std::regex_search(picture, heading, std::regex("class=\"title\".*>(n+)")));
    EXPECT_LT(20.0 + 0.72 * 19.0 * static_cast<double>(heading[1].length()), 860.0);
  }
}

TEST_F(PlotTest, LongTracksMakeSmallPicturesWithinAPixel) {
  // 8 km to the east and 9600 waves of 80 m: on the map 804 and 8 pixels.
  std::vector<TrackRow> rows;
  for (int i = 0; i <= 96'000; ++i) {
    rows.push_back(row_at(i, 90, 8040.0 * i / 96'000.0));
    move(rows.back(), 0, 40.0 * std::sin(i * std::numbers::pi / 5.0));
  }
  const std::string svg = plotted({{"t", rows}});
  EXPECT_LT(svg.size(), 500'000U) << "of 3.7 MB";
  const std::vector<double> line = numbers_of(svg, "fused status1");
  std::array<std::set<int>, 2> reached;  // lower and upper edge, by pixel from the left
  for (std::size_t i = 0; i + 1 < line.size(); i += 2) {
    const double height = line[i + 1] - line[1];
    if (std::abs(height) > 3.0) reached[height > 0.0 ? 0 : 1].insert(static_cast<int>(line[i]));
    EXPECT_LT(std::abs(height), 5.0);
  }
  for (const std::set<int>& edge : reached) EXPECT_GT(edge.size(), 800U);
}

TEST_F(PlotTest, TrackThatHasNoPositionAtItsEndsDoesNotStartOrEndThere) {
  std::vector<TrackRow> rows = long_trip();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i < 20 || i >= 500) rows[i].latitude = kNaN;
  }
  const std::string svg = plotted({{"t", rows}});
  EXPECT_TRUE(has(svg, ">first position, 20 s after the start<"));
  EXPECT_TRUE(has(svg, ">last position, 100 s before the end<"));
  EXPECT_FALSE(has(svg, ">start<") || has(svg, ">end<") || has(svg, "class=\"ink end\""));
}

TEST_F(PlotTest, FewWildPositionsDoNotShrinkTheTripAndAreCounted) {
  const std::regex scale("text-anchor=\"middle\">([0-9]+ k?m)</text>\n</svg>");
  std::smatch label;
  for (const std::size_t at : {0U, 300U, 599U}) {
    for (const Place& wild : {Place{0, 0}, Place{45, 120}, Place{-36.37, -60}, Place{100, 0}}) {
      std::vector<TrackRow> rows = long_trip();
      rows[at].latitude = wild.latitude;
      rows[at].longitude = wild.longitude;
      std::string svg = plotted({{"t", rows}});
      ASSERT_TRUE(std::regex_search(svg, label, scale));
      EXPECT_EQ(label[1], "2 km") << "of 8.5 km on 544 px";
      EXPECT_TRUE(has(svg, "; 1 position lies outside the map<"));
      rows[at].truth_latitude = wild.latitude;
      svg = plotted({{"t", rows}});
      EXPECT_TRUE(has(svg, "; 2 positions lie outside the map<"));
      EXPECT_TRUE(has(svg, ">9 min 59 s, 12 km; ")) << "the leap is no way";
    }
  }
  // Neither a short drive after a long stop nor two towns are mistakes.
  std::vector<TrackRow> drive;
  for (int i = 0; i < 600; ++i) drive.push_back(row_at(i, 45, i < 580 ? 0.0 : 20.0 * (i - 579)));
  EXPECT_FALSE(has(plotted({{"t", drive}}), "outside the map"));
  std::vector<TrackRow> towns = long_trip();
  for (std::size_t i = 300; i < 600; ++i) move(towns[i], 0, 1e6);
  EXPECT_FALSE(has(plotted({{"t", towns}}), "outside the map"));
}

TEST_F(PlotTest, NamesAreEscapedWhereverTheyStand) {
  const std::string name = "<a b=\"c\">&'\x01\xC3\xBC\xFF\xED\xA0\x80\xC0\xAF";
  const std::string expected = "&lt;a b=&quot;c&quot;&gt;&amp;&apos;\uFFFD\u00FC\uFFFD\uFFFD\uFFFD";
  title_ = name;
  const std::vector<TrackRow> rows{row_at(0, 0, 0), row_at(1, 0, 50)};
  const std::string svg = plotted({{name, rows}, {"two", rows}});
  for (const std::string& place :
       {"<title>" + expected + "</title>", "text-anchor=\"start\">" + expected + "</text>\n<path",
        "text-anchor=\"start\">" + expected + "</text>\n<path class=\"fused\""}) {
    EXPECT_TRUE(has(svg, place)) << place;
  }
  EXPECT_FALSE(has(svg, "<a") || has(svg, "\x01") || has(svg, "\xFF"));
}

TEST_F(PlotTest, LengthsAreInPlainNumbers) {
  const std::vector<std::pair<double, std::string>> lengths{
      {0.0, "0 m"},  {0.05, "0.05 m"},    {5.0, "5 m"},    {284.4, "284 m"}, {999.8, "1 km"},
      {1e3, "1 km"}, {6623.0, "6.62 km"}, {2e5, "200 km"}, {2e6, "2000 km"}, {12742e3, "12742 km"}};
  for (const auto& [metres, text] : lengths) EXPECT_EQ(length_text(metres), text);
}

TEST_F(PlotTest, StatusHasTheSameColourInPicturesAndForMapViewers) {
  const std::string svg = plotted({{"t", long_trip()}});
  for (int status = 0; status < 4; ++status) {
    const std::string path = path_ + ".geojson";
    const auto writer = TrackWriter::open(path);
    writer->write(row_at(0, 0, 0, status));
    writer->close();
    const std::string json = content_of(path);
    std::filesystem::remove(path);
    std::smatch colour;
    ASSERT_TRUE(std::regex_search(json, colour, std::regex("\"marker-color\":\"(#......)\"")));
    EXPECT_TRUE(has(svg, "status" + std::to_string(status) + " { stroke: " + colour.str(1)));
  }
}

TEST_F(PlotTest, NothingToDrawIsAnError) {
  std::vector<NamedTrack> tracks(1);
  EXPECT_THROW(plotted(tracks), PlotError);
  tracks[0].rows = {row_at(0, 0, 0)};
  EXPECT_NO_THROW(plotted(tracks)) << "a single position is a picture";
  tracks[0].rows[0].latitude = tracks[0].rows[0].truth_latitude = kNaN;
  EXPECT_THROW(plotted(tracks), PlotError);
}

}  // namespace
}  // namespace zuvdr::tools
