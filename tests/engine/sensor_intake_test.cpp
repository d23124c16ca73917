#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/engine/engine_feed.h"

namespace {

using namespace zuvdr::test;

int type_of(char letter) {
  return letter == 'A' ? 1 : letter == 'G' ? 16 : letter == 'M' ? 14 : 6;
}

// Feeds events such as "G100 A140.000001" (sensor and time in ms) to a fresh engine and tells what
// it made of them: the epochs, then the events still queued by sensor.
std::string paired(const std::string& text) {
  Reset();
  std::istringstream stream(text);
  std::vector<std::string> names;
  std::vector<std::int64_t> times;
  int epochs = 0;
  for (std::string name; stream >> name;) {
    const std::string time = name.substr(1);
    const std::int64_t t = time == "min"   ? kFirstTime
                           : time == "max" ? kLastTime
                                           : std::llround(std::stod(time) * 1e6);
    names.push_back(name);
    times.push_back(t);
    epochs += engine().DataSort(event(type_of(name[0]), t, {static_cast<double>(names.size())}));
  }
  EXPECT_EQ(engine().epoch_queue.size(), static_cast<std::size_t>(epochs)) << text;
  const auto name = [&](double value) { return names.at(static_cast<std::size_t>(value) - 1); };
  std::string result;
  for (const SensorEpoch& e : engine().epoch_queue) {
    result += ' ' + name(e.gyr[0]) + '+' + name(e.acc[0]);
    EXPECT_EQ(e.time_ns, times.at(static_cast<std::size_t>(e.gyr[0]) - 1)) << text;
    if (e.match_mask & 2) result += '+' + name(e.mag[0]);
    if (e.match_mask & 4) result += '+' + name(e.pres[0]);
    EXPECT_TRUE(e.match_mask & 2 || e.mag[0] == 0.0f) << text;
    EXPECT_TRUE(e.match_mask & 4 || e.pres[0] == 0.0f) << text;
  }
  result += " |";
  for (const auto* queue :
       {&engine().acc_queue, &engine().gyr_queue, &engine().mag_queue, &engine().pres_queue}) {
    for (const SensorData& e : *queue) result += ' ' + name(e.values[0]);
  }
  return result.substr(1);
}

TEST(SensorIntake, EventsNearAGyroscopeEventMakeAnEpoch) {
  const std::pair<const char*, const char*> cases[] = {
      {"G100 A140", "G100+A140 |"},
      {"G100 A140.000001", "| A140.000001"},
      {"A100 G140", "G140+A100 |"},
      {"A100 G140.000001", "| G140.000001"},
      {"A100 A110 G109", "G109+A110 |"},
      {"A100 A118 G109", "G109+A100 | A118"},
      {"A100 A117.999999 G109", "G109+A117.999999 |"},
      {"A100 A110 A120 G119", "G119+A110 | A120"},  // a third is not looked at
      {"A100 A110 A200 G205", "G205+A200 |"},
      {"G100 G120 A200 G201", "G201+A200 |"},
      {"G100 G110 A105", "G100+A105 | G110"},
      {"G100 G110 A105 A106", "G100+A105 G110+A106 |"},
      {"A100 A200 A300", "| A100 A200 A300"},
      {"M160 A200 G200", "G200+A200+M160 |"},
      {"M159.999999 A200 G200", "G200+A200 |"},
      {"M240 A200 G200", "G200+A200+M240 |"},
      {"M300 A200 G200", "G200+A200 | M300"},
      {"M100 M195 A200 G200", "G200+A200+M195 |"},
      {"M190 M201 A200 G200", "G200+A200+M201 |"},
      {"M190 M210 A200 G200", "G200+A200+M190 | M210"},
      // A pressure event is only taken when another one stands behind it.
      {"P195 A200 G200", "G200+A200 | P195"},
      {"P195 P199 A200 G200", "G200+A200+P199 |"},
      {"P195 P205 A200 G200", "G200+A200+P195 | P205"},
      {"P100 P195 A200 G200", "G200+A200 | P195"},
      {"P300 P400 A200 G200", "G200+A200 | P300 P400"},
      {"P200 P225 M200 A200 G200", "G200+A200+M200+P200 | P225"},
      // The ends of the clock are far apart, not near.
      {"Amin Gmax", "| Gmax"},
      {"Gmin Amax", "| Amax"},
      {"A-1 Gmax", "| Gmax"},
      {"G-1 Amax", "| Amax"},
      {"A-1 Amax G-2", "G-2+A-1 | Amax"},
      {"Mmax Pmax Amin Gmin", "Gmin+Amin | Mmax Pmax"},
      {"Mmin Pmin Amax Gmax", "Gmax+Amax |"},
  };
  for (const auto& [events, result] : cases) EXPECT_EQ(paired(events), result) << events;
}

TEST(SensorIntake, ValuesAreNarrowedToFloatAndOtherTypesIgnored) {
  Reset();
  SensorData acc = event(1, kSecond), gyr = event(16, kSecond);
  for (int i = 0; i < 6; ++i) acc.values[i] = gyr.values[5 - i] = 0.1 + i;
  EXPECT_EQ(UpdateLocationbySensorEvent(acc), 0);
  EXPECT_EQ(engine().acc_queue.front().type, 0);
  EXPECT_EQ(isSensorEventBufferFull(), 1);
  EXPECT_EQ(UpdateLocationbySensorEvent(gyr), 1) << "queued: it lies after the fix time";
  EXPECT_EQ(isSensorEventBufferFull(), 0);
  for (const int type : {0, 2, 4, 15, 17, -1, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(UpdateLocationbySensorEvent(event(type, kSecond)), 0);
  }
  EXPECT_EQ(engine().match_mask, 1) << "left as the last known event left it";
  ASSERT_EQ(engine().epoch_queue.size(), 1u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(engine().epoch_queue[0].acc[i], static_cast<float>(0.1 + i));
    EXPECT_EQ(engine().epoch_queue[0].gyr[5 - i], static_cast<float>(0.1 + i));
  }
  EXPECT_EQ(engine().epoch_queue[0].time_ns, kSecond);
}

}  // namespace
