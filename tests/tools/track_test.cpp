#include "tools/logs/track.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/scratch.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

// Raw, converged, dead-reckoned without truth, and a solution that is lost. No two integers of the
// first row that could be confused are the same.
const std::string kCsv =
    "time_ns,output_time_ns,status,latitude,longitude,car_flag,position_set,attitude_converged,"
    "aligned,vehicle_mode,motion_reset,pdr_flag,bout_steps,total_steps,fix_latitude,fix_longitude,"
    "sample,fix_accepted,truth_latitude,truth_longitude\n"
    "1000235778570,1000235778571,6,42.3369333333333,108.9103783333333,17,1,0,0,0,1,7,3,20,"
    "42.3369333333333,108.9103783333333,0,1,42.333333333333336,108.9\n"
    "1001235778570,1000239999771,1,0.30000000000000004,1e-07,2,0,1,0,0,0,1,0,0,42.34,108.91,0,1,"
    "42.1,108.95\n"
    "1002235778570,1001239999771,2,42.25,108.25,4,0,0,1,0,0,0,0,0,42.34,108.91,5,0,,\n"
    "9223372036854775807,-1,0,,,8,0,0,0,1,0,0,-1,0,42.36,108.93,0,0,42.2,109\n";

class TrackTest : public ScratchTest {
 protected:
  std::string written(const std::string& name) const {
    const auto writer = TrackWriter::open(path(name));
    for (const TrackRow& row : rows_) writer->write(row);
    writer->close();
    return read_file(path(name));
  }

  const std::vector<TrackRow> rows_ = read_track_csv(file("rows.csv", kCsv));
};

TEST_F(TrackTest, CsvKeepsEveryDigitAndFindsColumnsByName) {
  const TrackRow& row = rows_.at(0);
  EXPECT_EQ(row.output_time_ns, 1000235778571);
  EXPECT_EQ((std::vector{row.status, row.car_flag, row.pdr_flag, row.bout_steps, row.total_steps,
                         row.sample}),
            (std::vector{6, 17, 7, 3, 20, 0}));
  EXPECT_TRUE(row.fix_accepted);
  EXPECT_EQ(rows_.at(1).latitude, 0.1 + 0.2);
  EXPECT_TRUE(std::isnan(rows_.at(2).truth_latitude));
  EXPECT_EQ(written("track.csv"), kCsv);

  // A foreign column in front, the first of ours last.
  std::string shuffled = "\xEF\xBB\xBF";
  std::istringstream lines(kCsv);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t comma = line.find(',');
    shuffled += "foreign" + line.substr(comma) + "," + line.substr(0, comma) + "\r\n";
  }
  const std::vector<TrackRow> found = read_track_csv(file("shuffled.csv", shuffled));
  ASSERT_EQ(found.size(), rows_.size());
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    EXPECT_EQ(found[i].time_ns, rows_[i].time_ns);
    EXPECT_EQ(found[i].sample, rows_[i].sample);
  }
}

TEST_F(TrackTest, MalformedCsvIsNamedByFileLineAndField) {
  const auto replaced = [](const std::string& what, const std::string& by) {
    std::string text = kCsv;
    return text.replace(text.find(what), what.size(), by);
  };
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {replaced("fix_latitude", "fix_lat"), ":1: field fix_latitude: no such column"},
      {replaced("1001235778570", "noon"), ":3: field time_ns: not an integer ('noon')"},
      {replaced("108.95\n", "108.95,7\n"), ":3: field 21: one too many ('7')"},
      {replaced(",108.95\n", "\n"), ":3: field truth_longitude: missing"},
      {replaced("42.25", "42.25N"), ":4: field latitude: not a number ('42.25N')"},
      {replaced(",pdr_flag", ",car_flag"), ":1: field car_flag: twice in the header"},
      {kCsv.substr(0, kCsv.find('\n')), ": no rows"},
      {"", ": no rows"},
  };
  for (const auto& [text, message] : cases) {
    const std::string csv = file("bad.csv", text);
    try {
      read_track_csv(csv);
      ADD_FAILURE() << "no error; expected " << message;
    } catch (const InputError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(csv + message)) << error.what();
    }
  }
  EXPECT_THROW(TrackWriter::open(path("track.txt")), OutputError);
}

TEST_F(TrackTest, GeoJsonHasPointsAndLines) {
  using Json = nlohmann::json;
  const Json document = Json::parse(written("track.geojson"));
  EXPECT_EQ(document.at("type"), "FeatureCollection");
  const Json& features = document.at("features");
  ASSERT_EQ(features.size(), rows_.size() + 3);
  for (const Json& feature : features) EXPECT_EQ(feature.at("type"), "Feature");

  EXPECT_EQ(features[1].at("geometry"),
            (Json{{"type", "Point"}, {"coordinates", {1e-7, 0.1 + 0.2}}}));
  const Json& properties = features[1].at("properties");
  EXPECT_EQ(properties.at("time_ns"), 1001235778570);
  EXPECT_EQ(properties.at("attitude_converged"), true);
  EXPECT_TRUE(features[2].at("properties").at("truth_latitude").is_null());
  EXPECT_TRUE(features[3].at("geometry").is_null());  // its position is not finite

  // Longitude first; without fixes that the host declared absent and places that are not known.
  const std::map<std::string, Json> lines{
      {"fused", {{108.9103783333333, 42.3369333333333}, {1e-7, 0.1 + 0.2}, {108.25, 42.25}}},
      {"fixes", {{108.9103783333333, 42.3369333333333}, {108.91, 42.34}, {108.93, 42.36}}},
      {"truth", {{108.9, 42.0 + 1.0 / 3.0}, {108.95, 42.1}, {109.0, 42.2}}}};
  for (std::size_t i = rows_.size(); i < features.size(); ++i) {
    EXPECT_EQ(features[i].at("geometry").at("type"), "LineString");
    EXPECT_EQ(features[i].at("geometry").at("coordinates"),
              lines.at(features[i].at("properties").at("name").get<std::string>()));
  }

  // A line needs two positions.
  for (const std::size_t count : {0U, 1U, 2U}) {
    const auto writer = TrackWriter::open(path("short.json"));
    for (std::size_t i = 0; i < count; ++i) writer->write(rows_[i]);
    writer->close();
    EXPECT_EQ(Json::parse(read_file(path("short.json"))).at("features").size(),
              count < 2 ? count : count + 3);
  }
}

}  // namespace
}  // namespace zuvdr::tools
