#include "tools/logs/track.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>
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

// A file or standard output. Flushed after every row: a reader can follow a running replay.
class Sink {
 public:
  explicit Sink(const std::string& path) : name_(path == "-" ? "standard output" : path) {
    if (path == "-") {
      stream_ = &std::cout;
      return;
    }
    errno = 0;
    file_.open(path, std::ios::binary | std::ios::trunc);
    if (!file_) throw TrackError(fmt::format("{}: cannot open: {}", name_, std::strerror(errno)));
  }

  void put(std::string_view text) {
    put_part(text);
    stream_->flush();
    check();
  }

  // Without flushing.
  void put_part(std::string_view text) {
    errno = 0;
    stream_->write(text.data(), static_cast<std::streamsize>(text.size()));
    check();
  }

 private:
  void check() const {
    if (!*stream_)
      throw TrackError(fmt::format("{}: cannot write: {}", name_, std::strerror(errno)));
  }

  std::string name_;
  std::ofstream file_;
  std::ostream* stream_ = &file_;
};

class CsvTrackWriter : public TrackWriter {
 public:
  explicit CsvTrackWriter(const std::string& path) : sink_(path) {
    std::string header;
    for (const Column& column : kColumns) {
      if (!header.empty()) header += ',';
      header += column.name;
    }
    sink_.put(header + '\n');
  }

  void write(const TrackRow& row) override {
    line_.clear();
    for (const Column& column : kColumns) {
      visit_value(row, column, [this](auto value) { append(value); });
    }
    line_.back() = '\n';
    sink_.put(line_);
  }

  void close() override {}

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

  Sink sink_;
  std::string line_;
};

using Json = nlohmann::ordered_json;

using Position = std::array<double, 2>;  // longitude, latitude

std::optional<Position> position(double longitude, double latitude) {
  if (!std::isfinite(longitude) || !std::isfinite(latitude)) return std::nullopt;
  return Position{longitude, latitude};
}

// One Point for each row, styled by status, and behind them the three lines. Colours and sizes are
// those of the simplestyle convention, which common map viewers follow. The lines make it keep all
// places, up to 48 bytes a row.
class GeoJsonTrackWriter : public TrackWriter {
 public:
  explicit GeoJsonTrackWriter(const std::string& path) : sink_(path) {
    sink_.put("{\"type\":\"FeatureCollection\",\"features\":[");
  }

  ~GeoJsonTrackWriter() override {
    try {
      close();
    } catch (const TrackError&) {
      // The exception that unwinds the stack tells the reason.
    }
  }
  GeoJsonTrackWriter(const GeoJsonTrackWriter&) = delete;
  GeoJsonTrackWriter& operator=(const GeoJsonTrackWriter&) = delete;

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
    if (std::exchange(closed_, true)) return;
    put_line("truth", kTruthColour, truth_);
    put_line("fixes", kFixColour, fixes_);
    put_line("fused", kTrackColours[0], fused_);
    sink_.put("\n]}\n");
  }

 private:
  void put_feature(Json geometry, Json properties) {
    const Json feature{{"type", "Feature"},
                       {"geometry", std::move(geometry)},
                       {"properties", std::move(properties)}};
    sink_.put((std::exchange(first_, false) ? "\n" : ",\n") + feature.dump());
  }

  // A line needs two positions. Place by place: a document of a long one would be many times its
  // size.
  void put_line(const char* name, const char* colour, const std::deque<Position>& places) {
    if (places.size() < 2) return;
    sink_.put_part(
        ",\n{\"type\":\"Feature\",\"geometry\":{\"type\":\"LineString\",\"coordinates\":[");
    for (std::size_t i = 0; i < places.size(); ++i) {
      sink_.put_part((i == 0 ? "" : ",") + Json(places[i]).dump());
    }
    const Json properties{{"name", name}, {"stroke", colour}, {"stroke-width", 2}};
    sink_.put("]},\"properties\":" + properties.dump() + "}");
  }

  Sink sink_;
  std::deque<Position> fused_;
  std::deque<Position> fixes_;  // healthy ones
  std::deque<Position> truth_;
  bool first_ = true;
  bool closed_ = false;
};

// Where the columns of one file stand; nullptr for columns of other names.
std::vector<const Column*> read_header(std::string_view line) {
  std::vector<const Column*> order;
  for (FieldSplitter split(line); !split.at_end();) {
    const std::string_view name = split.next();
    const auto* column = std::find_if(kColumns.begin(), kColumns.end(),
                                      [&](const Column& known) { return name == known.name; });
    order.push_back(column == kColumns.end() ? nullptr : column);
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
  if (path == "-" || path.ends_with(".csv")) return std::make_unique<CsvTrackWriter>(path);
  if (path.ends_with(".geojson") || path.ends_with(".json")) {
    return std::make_unique<GeoJsonTrackWriter>(path);
  }
  throw TrackError(fmt::format("{}: a track ends in .csv, .geojson or .json", path));
}

std::vector<TrackRow> read_track_csv(const std::string& path) {
  errno = 0;
  std::ifstream file(path);
  if (!file) throw TrackError(fmt::format("{}: cannot open: {}", path, std::strerror(errno)));
  std::vector<TrackRow> rows;
  std::vector<const Column*> order;
  std::string line;
  for (std::int64_t number = 1; std::getline(file, line); ++number) {
    try {
      if (number == 1) {
        order = read_header(line);
      } else if (!trim(line).empty()) {
        rows.push_back(read_row(order, line));
      }
    } catch (const FieldError& error) {
      throw TrackError(fmt::format("{}:{}: {}", path, number, error.what));
    }
  }
  if (file.bad()) throw TrackError(fmt::format("{}: cannot read: {}", path, std::strerror(errno)));
  if (order.empty()) throw TrackError(fmt::format("{}: empty", path));
  return rows;
}

}  // namespace zuvdr::tools
