#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <system_error>

#include "tools/cli/commands.h"
#include "tools/logs/text_fields.h"
#include "tools/simulation/simulation.h"

namespace zuvdr::tools {
namespace {

const std::map<std::string, Scenario> kScenarios = {{"drive", Scenario::kDrive},
                                                    {"walk", Scenario::kWalk},
                                                    {"mixed", Scenario::kMixed},
                                                    {"handling", Scenario::kHandling}};

const std::map<std::string, Carry> kCarries = {
    {"hand", Carry::kHand}, {"pocket", Carry::kPocket}, {"waist", Carry::kWaist},
    {"back", Carry::kBack}, {"swing", Carry::kSwing},   {"jacket", Carry::kJacket}};

const std::map<std::string, Road> kRoads = {{"smooth", Road::kSmooth}, {"rough", Road::kRough}};

// Leaning back a little, as holders hold them.
const std::map<std::string, Mounting> kMountings = {
    {"flat", {0, 0, 0}}, {"upright", {0, 75, 0}}, {"landscape", {-80, 0, -90}}};

Mounting parse_mounting(const std::string& text) {
  if (const auto named = kMountings.find(text); named != kMountings.end()) return named->second;
  try {
    double angles[3];
    FieldSplitter fields(text);
    for (double& angle : angles) {
      angle = fields.next_number<double>("angle");
      if (!std::isfinite(angle)) fail_field("angle", "not finite", text);
    }
    if (!fields.at_end()) fail_field("4", "one too many", text);
    return {angles[0], angles[1], angles[2]};
  } catch (const FieldError&) {
    throw CLI::ValidationError(
        "--mounting", fmt::format("{} is neither flat, upright, landscape nor ROLL,PITCH,YAW in "
                                  "degrees",
                                  text));
  }
}

// CLI::Range lets NaN pass.
CLI::Validator between(double low, double high) {
  return {[=](std::string& text) {
            double value = 0.0;
            const bool inside =
                CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
            return inside ? std::string() : fmt::format("{} is not {} to {}", text, low, high);
          },
          fmt::format("{} to {}", low, high)};
}

// CLI::Number takes signs, fractions and other bases.
CLI::Validator whole_number() {
  return {[](std::string& text) {
            std::uint64_t value = 0;
            const char* const end = text.data() + text.size();
            const auto [behind, error] = std::from_chars(text.data(), end, value);
            if (error != std::errc{} || behind != end) {
              return fmt::format("{} is not a whole number from 0 to {}", text,
                                 std::numeric_limits<std::uint64_t>::max());
            }
            text = std::to_string(value);  // without zeros in front, which make it octal
            return std::string();
          },
          ""};
}

void run(const SimulationOptions& options, const std::string& path) {
  EventLogWriter writer(path);
  for (const std::string& line : describe(options)) writer.comment(line);
  for (const EventRow& row : simulate(options)) writer.write(row);
  writer.close();
}

}  // namespace

void add_simulate_command(CLI::App& app) {
  struct Arguments {
    SimulationOptions options;
    std::string scenario;
    std::string mounting = "upright";
    std::string carry = "hand";
    std::string road = "smooth";
    std::string out;
  };
  const auto arguments = std::make_shared<Arguments>();
  SimulationOptions& options = arguments->options;
  RouteOptions& route = options.route;

  CLI::App* command = app.add_subcommand("simulate", "Write an event log of a simulated journey");
  command
      ->add_option("scenario", arguments->scenario,
                   "drive, walk, mixed (drive, walk, drive) or handling (of a phone, nobody walks)")
      ->required()
      ->type_name("SCENARIO")
      ->check(CLI::IsMember(kScenarios).description(""));
  command->add_option("--out", arguments->out, "the log; gzip when it ends in .gz, - for stdout")
      ->required()
      ->type_name("LOG");
  command->add_option("--seed", route.seed, "of everything random")
      ->transform(whole_number())
      ->capture_default_str();
  const CLI::Option* tunnel =
      command->add_option("--tunnel", route.tunnel, "time in the tunnel of a drive, s; 0: none")
          ->check(between(0.0, 1800.0))
          ->capture_default_str();
  const CLI::Option* mounting =
      command
          ->add_option("--mounting", arguments->mounting,
                       "how the phone lies in the car: flat, upright, landscape or ROLL,PITCH,YAW "
                       "in degrees")
          ->capture_default_str();
  const CLI::Option* carry =
      command
          ->add_option("--carry", arguments->carry,
                       "where the walker has the phone: hand, pocket, waist, back, "
                       "swing (hand of a swinging arm) or jacket")
          ->check(CLI::IsMember(kCarries).description(""))
          ->capture_default_str();
  const CLI::Option* cadence = command->add_option("--cadence", route.cadence, "steps per second")
                                   ->check(between(1.0, 3.0))
                                   ->capture_default_str();
  const CLI::Option* walker =
      command
          ->add_option("--walker", route.walker,
                       "who walks or handles the phone: 0 the average, any other number a person")
          ->transform(whole_number())
          ->capture_default_str();
  const CLI::Option* road =
      command->add_option("--road", arguments->road, "under the car: smooth or rough")
          ->check(CLI::IsMember(kRoads).description(""))
          ->capture_default_str();
  command->add_flag("--motion-only", options.motion_only,
                    "accelerometer, gyroscope and steps, nothing else");
  command->add_option("--rate", options.rate, "of accelerometer and gyroscope, Hz")
      ->check(between(5.0, 500.0))
      ->capture_default_str();
  command->add_option("--magnetometer-rate", options.magnetometer_rate, "Hz")
      ->check(between(0.5, 100.0))
      ->capture_default_str();
  command->add_option("--pressure-rate", options.pressure_rate, "Hz")
      ->check(between(0.5, 100.0))
      ->capture_default_str();
  command->add_option("--latency", options.latency, "mean delay of a fix, s")
      ->check(between(0.0, 0.4))
      ->capture_default_str();
  command->add_option("--latitude", options.latitude, "of the start, degrees north")
      ->check(between(0.5, 80.0))
      ->capture_default_str();
  command->add_option("--longitude", options.longitude, "of the start, degrees east")
      ->check(between(0.5, 179.5))
      ->capture_default_str();

  command->footer(R"(Exit status: 0 done; 1 wrong usage, or the log could not be written.

Example:
  zuvdr simulate drive --tunnel 90 --seed 7 --out drive.csv.gz)");
  command->callback([=] {
    Arguments& given = *arguments;
    const Scenario scenario = kScenarios.at(given.scenario);
    given.options.route.scenario = scenario;
    given.options.route.carry = kCarries.at(given.carry);
    given.options.route.road = kRoads.at(given.road);
    const auto refuse = [](const CLI::Option* option, const char* reason) {
      if (option->count() > 0) throw CLI::ValidationError(option->get_name(), reason);
    };
    if (scenario != Scenario::kDrive) refuse(tunnel, "only a drive has a tunnel");
    if (!has_car(scenario)) {
      refuse(mounting, "there is no car");
      refuse(road, "there is no car");
    }
    if (!has_walk(scenario)) {
      refuse(carry, "nobody walks");
      refuse(cadence, "nobody walks");
    }
    if (scenario == Scenario::kDrive) refuse(walker, "nobody walks");
    given.options.route.car_mounting = parse_mounting(given.mounting);
    run(given.options, given.out);
  });
}

}  // namespace zuvdr::tools
