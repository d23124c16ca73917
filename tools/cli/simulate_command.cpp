#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "tools/cli/commands.h"
#include "tools/cli/log_output.h"
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

const std::map<std::string, Idle> kIdles = {{"petrol", Idle::kPetrol}, {"diesel", Idle::kDiesel}};

// Leaning back a little, as holders hold them.
const std::map<std::string, Mounting> kMountings = {
    {"flat", {0, 0, 0}}, {"upright", {0, 75, 0}}, {"landscape", {-80, 0, -90}}};

// Exactly so many finite numbers between commas; throws FieldError.
template <std::size_t count>
std::array<double, count> parse_numbers(const std::string& text) {
  std::array<double, count> numbers;
  FieldSplitter fields(text);
  for (double& number : numbers) {
    number = fields.next_number<double>("number");
    if (!std::isfinite(number)) fail_field("number", "not finite", text);
  }
  if (!fields.at_end()) fail_field("number", "one too many", text);
  return numbers;
}

Mounting parse_mounting(const std::string& text) {
  if (const auto named = kMountings.find(text); named != kMountings.end()) return named->second;
  try {
    const auto [roll, pitch, yaw] = parse_numbers<3>(text);
    return {roll, pitch, yaw};
  } catch (const FieldError&) {
    throw CLI::ValidationError(
        "--mounting", fmt::format("{} is neither flat, upright, landscape nor ROLL,PITCH,YAW in "
                                  "degrees",
                                  text));
  }
}

constexpr double kLongestTrip = 86400.0;  // s

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

constexpr char kDelivery[] = "Delivery";
constexpr char kGap[] = "BEGIN,LENGTH";
constexpr char kJump[] = "BEGIN,LENGTH,METRES";

// Fields of an interval, as many as it has members: the first from 0 on, the others above 0.
template <class Interval, std::size_t count>
CLI::Option* add_intervals(CLI::App& command, const char* name, const char* form,
                           std::vector<Interval>& intervals, const char* description) {
  const auto parse = [&intervals, name, form](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      try {
        const std::array<double, count> numbers = parse_numbers<count>(text);
        for (std::size_t i = 0; i < count; ++i) {
          const bool inside = i == 0 ? numbers[i] >= 0.0 : numbers[i] > 0.0;
          if (!inside || numbers[i] > kLongestTrip) fail_field("number", "out of range", text);
        }
        intervals.push_back(
            std::apply([](auto... number) { return Interval{number...}; }, numbers));
      } catch (const FieldError&) {
        throw CLI::ValidationError(
            name, fmt::format("{} is not {}: seconds and metres up to {}, only BEGIN may be 0",
                              text, form, kLongestTrip));
      }
    }
  };
  return command.add_option_function<std::vector<std::string>>(name, parse, description)
      ->type_name(form)
      ->allow_extra_args(false)
      ->group(kDelivery);
}

// Returns those that concern fixes alone.
std::vector<const CLI::Option*> add_delivery_options(CLI::App& command, DeliveryOptions& options) {
  const auto add = [&command](const char* name, double& value, const char* description) {
    return command.add_option(name, value, description)->group(kDelivery);
  };
  add_intervals<Gap, 2>(command, "--gap", kGap, options.gaps,
                        "no sensor events, fixes go on: seconds of the log; repeatable");
  add_intervals<Gap, 2>(command, "--silence", kGap, options.silences,
                        "neither sensor events nor fixes; repeatable");
  add("--doubled", options.doubled, "share of sensor events that come twice")
      ->check(between(0.0, 1.0))
      ->capture_default_str();
  add("--late", options.late, "share of sensor events that come up to 1 s late")
      ->check(between(0.0, 1.0))
      ->capture_default_str();
  add("--batch", options.batch, "each sensor's events come together so often, s")
      ->check(between(0.01, 1.0));
  return {add("--fix-delay", options.fix_delay, "of all fixes, s on top of the latency")
              ->check(between(0.0, 5.0))
              ->capture_default_str(),
          add("--fix-clock", options.fix_clock, "stamps of fixes ahead of the sensors' clock, s")
              ->check(between(-1.0, 1.0))
              ->capture_default_str(),
          add_intervals<Jump, 3>(command, "--jump", kJump, options.jumps,
                                 "fixes aside, with good accuracies; repeatable"),
          add("--jump-every", options.jump_interval,
              "about so often, s, fixes 20 to 200 m aside for 3 to 8 s")
              ->check(between(10.0, kLongestTrip))};
}

void run(const SimulationOptions& options, const LogOutput& out) {
  const auto writer = out.create();
  const std::vector<EventRow> rows = simulate(options);
  if (rows.empty()) throw CLI::ValidationError("no rows are left by --begin, --gap and --silence");
  const bool truth = out.log_format() == LogFormat::kEventLog;
  for (const std::string& line : describe(options, truth)) writer->comment(line);
  for (const EventRow& row : rows) writer->write(row);
  writer->close();
  print_left_out(*writer);
}

}  // namespace

void add_simulate_command(CLI::App& app) {
  struct Arguments {
    SimulationOptions options;
    std::string scenario;
    std::string mounting = "upright";
    std::string carry = "hand";
    double mounting_yaw = 0.0;
    std::string road = "smooth";
    std::string idle = "petrol";
    double jitter = 0.0;
    LogOutput out;
  };
  const auto arguments = std::make_shared<Arguments>();
  SimulationOptions& options = arguments->options;
  RouteOptions& route = options.route;

  CLI::App* command = app.add_subcommand("simulate", "Write the log of a simulated journey");
  command
      ->add_option("scenario", arguments->scenario,
                   "drive, walk, mixed (drive, walk, drive) or handling (of a phone, nobody walks)")
      ->required()
      ->type_name("SCENARIO")
      ->check(CLI::IsMember(kScenarios).description(""));
  add_log_output(*command, "--out", arguments->out);
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
  const CLI::Option* mounting_yaw =
      command
          ->add_option("--mounting-yaw", arguments->mounting_yaw,
                       "the phone as mounted, turned clockwise in the car, degrees")
          ->check(between(-360.0, 360.0))
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
  const CLI::Option* idle =
      command
          ->add_option("--idle", arguments->idle,
                       "of the engine at a standstill: petrol, or diesel, which shakes the car")
          ->check(CLI::IsMember(kIdles).description(""))
          ->capture_default_str();
  command
      ->add_option("--begin", options.begin, "of the log, s into the journey; a drive moves at 80")
      ->check(between(0.0, kLongestTrip))
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
  const CLI::Option* jitter =
      command
          ->add_option("--jitter", arguments->jitter,
                       "most that sensor stamps deviate, s; up to 45 % of the interval, by default "
                       "1 ms and 20 %")
          ->check(between(0.0, 0.1));
  command->add_option("--latency", options.latency, "mean delay of a fix, s")
      ->check(between(0.0, 0.4))
      ->capture_default_str();
  command->add_option("--latitude", options.latitude, "of the start, degrees north")
      ->check(between(0.5, 80.0))
      ->capture_default_str();
  command->add_option("--longitude", options.longitude, "of the start, degrees east")
      ->check(between(0.5, 179.5))
      ->capture_default_str();

  const std::vector<const CLI::Option*> of_fixes = add_delivery_options(*command, options.delivery);

  command->footer(std::string(kFormatsHelp) + R"(
Exit status: 0 done; 1 wrong usage, or the log could not be written.

Examples:
  zuvdr simulate drive --tunnel 90 --seed 7 --out drive.csv.gz
  zuvdr simulate drive --seed 7 --out drive.zip)");
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
      for (const CLI::Option* of_car : {mounting, mounting_yaw, road, idle}) {
        refuse(of_car, "there is no car");
      }
    }
    if (!has_walk(scenario)) {
      refuse(carry, "nobody walks");
      refuse(cadence, "nobody walks");
    }
    if (scenario == Scenario::kDrive) refuse(walker, "nobody walks");
    if (given.options.motion_only) {
      for (const CLI::Option* option : of_fixes) refuse(option, "there are no fixes");
    }
    given.options.route.idle = kIdles.at(given.idle);
    given.options.route.car_mounting = parse_mounting(given.mounting);
    given.options.route.car_mounting.yaw += given.mounting_yaw;
    if (jitter->count() > 0) given.options.jitter = given.jitter;
    run(given.options, given.out);
  });
}

}  // namespace zuvdr::tools
