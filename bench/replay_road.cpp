// The replay of a log, from file to file, as zuvdr replay does it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "bench/journey.h"
#include "bench/roads.h"
#include "tools/evaluation/replay.h"
#include "tools/logs/event_log.h"
#include "tools/logs/track.h"

namespace zuvdr::bench {
namespace {

// An event that the engine pairs and does not use.
void write_auxiliary(tools::EventLogWriter& log, std::int64_t time, std::int32_t type) {
  SensorData event{};
  event.type = type;
  event.timestamp = time;
  event.values[0] = 20.125;
  log.write(tools::SensorRow{event});
}

tools::TruthRow truth_of(const GpsData& fix) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  return {fix.time_ns,  fix.latitude,          fix.longitude,
          fix.altitude, {kNone, kNone, kNone}, {kNone, kNone, kNone}};
}

// Walking with the vehicle's side running, but for the drive at its start; magnetometer at 10 Hz,
// pressure at 5 Hz, truth with every fix.
class ReplayRoad : public Road {
 public:
  explicit ReplayRoad(int minutes) : seconds_(60 * minutes) {
    std::string name = std::filesystem::temp_directory_path() / "zuvdr-bench-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = name;
    Journey journey;
    tools::EventLogWriter log(folder_ / "log.csv");
    int written = 0;
    const auto write = [&](const Stretch& stretch) {
      for (int i = 0; i < stretch.seconds && written < seconds_; ++i, ++written) {
        const Second second = journey.next(stretch.motion);
        for (std::size_t k = 0; k < second.events.size(); ++k) {
          log.write(tools::SensorRow{second.events[k]});
          const std::int64_t time = second.events[k].timestamp;
          if (k % 5 == 4) write_auxiliary(log, time, ZUVDR_SENSOR_MAGNETOMETER_UNCALIBRATED);
          if (k % 10 == 9) write_auxiliary(log, time, ZUVDR_SENSOR_PRESSURE);
        }
        log.write(truth_of(second.fix));
        log.write(tools::FixRow{second.fix, 0});
      }
    };
    for (const Stretch& stretch : kVehicleStart) write(stretch);
    write({Motion::kWalking, seconds_});
    log.close();
  }
  ~ReplayRoad() override { std::filesystem::remove_all(folder_); }

  void prepare() override { rows_ = 0; }
  void run() override {
    tools::EventLogReader log(folder_ / "log.csv");
    const auto track = tools::TrackWriter::open(folder_ / "track.csv");
    tools::Replay replay([&](const tools::TrackRow& row) {
      track->write(row);
      ++rows_;
      last_ = row;
    });
    tools::EventRow row;
    while (log.next(row)) replay.play(row);
    replay.finish(0);
    track->close();
  }
  std::string fault() const override {
    if (rows_ != seconds_) return "the track does not have all rows";
    return last_.pdr_flag == 1 && (last_.car_flag & ZUVDR_CAR_POSITION_SET) != 0
               ? ""
               : "not both sides have run";
  }

 private:
  const int seconds_;
  std::filesystem::path folder_;
  int rows_ = 0;
  tools::TrackRow last_{};
};

}  // namespace

void add_replay_road(std::vector<NamedRoad>& roads, int minutes) {
  roads.push_back({"replay, minute of log", minutes,
                   [minutes] { return std::make_unique<ReplayRoad>(minutes); }, 1});
}

}  // namespace zuvdr::bench
