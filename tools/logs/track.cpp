#include "tools/logs/track.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <deque>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "ZuVDR.h"
#include "tools/logs/colours.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/output_file.h"
#include "tools/logs/text_fields.h"

namespace zuvdr::tools {
namespace {

// A bit of the car flag word, written under its own name and not read back: the word has it.
struct CarFlag {
  int bit;
};

struct Column {
  const char* name;
  std::variant<std::int64_t TrackRow::*, int TrackRow::*, double TrackRow::*, bool TrackRow::*,
               CarFlag>
      member;
};

constexpr std::array kColumns{
    Column{"time_ns", &TrackRow::time_ns},
    Column{"output_time_ns", &TrackRow::output_time_ns},
    Column{"status", &TrackRow::status},
    Column{"latitude", &TrackRow::latitude},
    Column{"longitude", &TrackRow::longitude},
    Column{"car_flag", &TrackRow::car_flag},
    Column{"position_set", CarFlag{ZUVDR_CAR_POSITION_SET}},
    Column{"attitude_converged", CarFlag{ZUVDR_CAR_ATTITUDE_CONVERGED}},
    Column{"aligned", CarFlag{ZUVDR_CAR_ALIGNED}},
    Column{"vehicle_mode", CarFlag{ZUVDR_CAR_VEHICLE_MODE}},
    Column{"motion_reset", CarFlag{ZUVDR_CAR_MOTION_RESET}},
    Column{"pdr_flag", &TrackRow::pdr_flag},
    Column{"bout_steps", &TrackRow::bout_steps},
    Column{"total_steps", &TrackRow::total_steps},
    Column{"fix_latitude", &TrackRow::fix_latitude},
    Column{"fix_longitude", &TrackRow::fix_longitude},
    Column{"sample", &TrackRow::sample},
    Column{"fix_accepted", &TrackRow::fix_accepted},
    Column{"truth_latitude", &TrackRow::truth_latitude},
    Column{"truth_longitude", &TrackRow::truth_longitude},
};

// Calls f with the row's value in the column.
template <typename F>
void visit_value(const TrackRow& row, const Column& column, F f) {
  std::visit(
      [&](auto member) {
        if constexpr (std::is_same_v<decltype(member), CarFlag>) {
          f((row.car_flag & member.bit) != 0);
        } else {
          f(row.*member);
        }
      },
      column.member);
}

class CsvTrackWriter : public TrackWriter {
 public:
  explicit CsvTrackWriter(const std::string& path) : file_(path) {
    std::string header;
    for (const Column& column : kColumns) {
      if (!header.empty()) header += ',';
      header += column.name;
    }
    file_.write(header + '\n');
  }

  void write(const TrackRow& row) override {
    line_.clear();
    for (const Column& column : kColumns) {
      visit_value(row, column, [this](auto value) { append(value); });
    }
    line_.back() = '\n';
    file_.write(line_);
    file_.flush();
  }

  void close() override { file_.close(); }

 private:
  template <typename Value>
  void append(Value value) {
    if constexpr (std::is_same_v<Value, bool>) {
      line_ += value ? '1' : '0';
    } else if (!(std::is_floating_point_v<Value> && std::isnan(static_cast<double>(value)))) {
      fmt::format_to(std::back_inserter(line_), "{}", value);
    }
    line_ += ',';
  }

  OutputFile file_;
  std::string line_;
};

using Json = nlohmann::ordered_json;

using LonLat = std::array<double, 2>;

std::optional<LonLat> position(double longitude, double latitude) {
  if (!std::isfinite(longitude) || !std::isfinite(latitude)) return std::nullopt;
  return LonLat{longitude, latitude};
}

// One Point for each row, styled by status, and behind them the three lines. Colours and sizes are
// those of the simplestyle convention, which common map viewers follow. The lines make it keep all
// places, up to 48 bytes a row.
class GeoJsonTrackWriter : public TrackWriter {
 public:
  explicit GeoJsonTrackWriter(const std::string& path) : file_(path) {
    file_.write("{\"type\":\"FeatureCollection\",\"features\":[");
  }

  void write(const TrackRow& row) override {
    Json properties;
    for (const Column& column : kColumns) {
      visit_value(row, column, [&](auto value) { properties[column.name] = value; });
    }
    properties["marker-size"] = "small";
    properties["marker-color"] = status_colour(row.status);

    Json geometry;  // null: a feature without a place
    if (const auto place = position(row.longitude, row.latitude)) {
      geometry = {{"type", "Point"}, {"coordinates", *place}};
      fused_.push_back(*place);
    }
    if (const auto place = position(row.fix_longitude, row.fix_latitude);
        place && row.sample == 0) {
      fixes_.push_back(*place);
    }
    if (const auto place = position(row.truth_longitude, row.truth_latitude)) {
      truth_.push_back(*place);
    }
    put_feature(std::move(geometry), std::move(properties));
  }

  void close() override {
    put_line("truth", kTruthColour, truth_);
    put_line("fixes", kFixColour, fixes_);
    put_line("fused", kTrackColours[0], fused_);
    file_.write("\n]}\n");
    file_.close();
  }

 private:
  void put_feature(Json geometry, Json properties) {
    const Json feature{{"type", "Feature"},
                       {"geometry", std::move(geometry)},
                       {"properties", std::move(properties)}};
    file_.write((std::exchange(first_, false) ? "\n" : ",\n") + feature.dump());
  }

  // A line needs two positions. Place by place: a document of a long one would be many times its
  // size.
  void put_line(const char* name, const char* colour, const std::deque<LonLat>& places) {
    if (places.size() < 2) return;
    file_.write(",\n{\"type\":\"Feature\",\"geometry\":{\"type\":\"LineString\",\"coordinates\":[");
    for (std::size_t i = 0; i < places.size(); ++i) {
      file_.write((i == 0 ? "" : ",") + Json(places[i]).dump());
    }
    const Json properties{{"name", name}, {"stroke", colour}, {"stroke-width", 2}};
    file_.write("]},\"properties\":" + properties.dump() + "}");
  }

  OutputFile file_;
  std::deque<LonLat> fused_;
  std::deque<LonLat> fixes_;  // healthy ones
  std::deque<LonLat> truth_;
  bool first_ = true;
};

// Where the columns of one file stand; nullptr for columns of other names.
std::vector<const Column*> read_header(std::string_view line) {
  std::vector<const Column*> order;
  for (FieldSplitter split(line); !split.at_end();) {
    const std::string_view name = split.next();
    const auto* column = std::find_if(kColumns.begin(), kColumns.end(),
                                      [&](const Column& known) { return name == known.name; });
    order.push_back(column == kColumns.end() ? nullptr : column);
    if (order.back() != nullptr && std::count(order.begin(), order.end(), order.back()) > 1) {
      fail_field(name, "twice in the header", line);
    }
  }
  for (const Column& column : kColumns) {
    const bool derived = std::holds_alternative<CarFlag>(column.member);
    if (!derived && std::find(order.begin(), order.end(), &column) == order.end()) {
      fail_field(column.name, "no such column in the header", line);
    }
  }
  return order;
}

void read_value(TrackRow& row, const Column& column, std::string_view text) {
  std::visit(
      [&](auto member) {
        if constexpr (std::is_same_v<decltype(member), double TrackRow::*>) {
          row.*member = text.empty() ? std::numeric_limits<double>::quiet_NaN()
                                     : read_number<double>(column.name, text);
        } else if constexpr (std::is_same_v<decltype(member), bool TrackRow::*>) {
          row.*member = read_number<int>(column.name, text) != 0;
        } else if constexpr (!std::is_same_v<decltype(member), CarFlag>) {
          row.*member = read_number<std::decay_t<decltype(row.*member)>>(column.name, text);
        }
      },
      column.member);
}

TrackRow read_row(const std::vector<const Column*>& order, std::string_view line) {
  TrackRow row{};
  FieldSplitter split(line);
  for (const Column* column : order) {
    const char* name = column != nullptr ? column->name : "of an unknown column";
    if (split.at_end()) fail_field(name, "missing", {});
    const std::string_view text = split.next();
    if (column != nullptr) read_value(row, *column, text);
  }
  if (!split.at_end()) fail_field(std::to_string(order.size() + 1), "one too many", split.next());
  return row;
}

}  // namespace

std::unique_ptr<TrackWriter> TrackWriter::open(const std::string& path) {
  if (is_standard_output(path) || path.ends_with(".csv"))
    return std::make_unique<CsvTrackWriter>(path);
  if (path.ends_with(".geojson") || path.ends_with(".json")) {
    return std::make_unique<GeoJsonTrackWriter>(path);
  }
  throw OutputError(fmt::format("{}: a track ends in .csv, .geojson or .json", path));
}

std::vector<TrackRow> read_track_csv(const std::string& path) {
  LineReader lines(path);
  std::vector<TrackRow> rows;
  std::vector<const Column*> order;
  for (std::string_view line; lines.next(line);) {
    try {
      if (lines.too_long()) fail_field("line", "too long", line);
      if (lines.number() == 1) {
        order = read_header(line);
      } else if (!line.empty()) {
        rows.push_back(read_row(order, line));
      }
    } catch (const FieldError& error) {
      throw InputError(lines.described(error));
    }
  }
  if (rows.empty()) throw InputError(fmt::format("{}: no rows", lines.name()));
  return rows;
}

}  // namespace zuvdr::tools
