#include "tools/logs/event_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "tests/tools/scratch.h"
#include "tools/logs/line_reader.h"
#include "tools/logs/output_file.h"

namespace zuvdr::tools {
namespace {

// Numbers have their fewest digits, as the writer gives them.
const std::string kLog =
    "# span_s: 1.5 20\n"
    "S,1,10,0.1,-2,3e-05\n"
    "S,6,11,1013.25\n"
    "S,16,11,0.25,0,0\n"
    "S,16,12,0.25,0,0,0,-0.5\n"
    "G,1000235778570,42.336933333,2,3,0.1,5,6,7,8,9,10,11,12,13,14,15,1\n"
    "T,1000,42.336933333,116.336933333,123.456789\n"
    "T,1001,1,2,3,4.33693333,5.33693333,6.33693333\n"
    "T,1002,1,2,3,4,5,6,7.33693333,8.33693333,9.33693333\n"
    "P,77\n";

using EventLogTest = ScratchTest;

std::vector<EventRow> read_all(const std::string& path, bool lenient = false) {
  EventLogReader reader(path, lenient);
  std::vector<EventRow> rows;
  for (EventRow row; reader.next(row);) rows.push_back(row);
  return rows;
}

std::string write_all(const std::string& path, const std::vector<EventRow>& rows) {
  EventLogWriter writer(path);
  writer.comment("span_s: 1.5 20");
  for (const EventRow& row : rows) writer.write(row);
  writer.close();
  return path;
}

std::string error_of(const std::string& path, bool lenient = false) {
  try {
    read_all(path, lenient);
  } catch (const InputError& error) {
    return error.what();
  }
  return "no error";
}

TEST_F(EventLogTest, MalformedRowIsNamedByFileLineAndField) {
  const std::string fix = "G,1000,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15";
  const struct {
    std::string row;
    const char* message;
  } cases[] = {
      {"X,1", "field kind: not one of S, G, T, P ('X')"},
      {"\x01\x02,\xFF", "field kind: not one of S, G, T, P ('?\?')"},
      {"S,1,12.5,1,2,3", "field timestamp_ns: not an integer ('12.5')"},
      {"S,1,9223372036854775808,1", "field timestamp_ns: out of range ('9223372036854775808')"},
      {"S,1,100,1,,3", "field v1: empty ('')"},
      {"S,1,100,1,2,3 4", "field v2: not a number ('3 4')"},
      {"S,1,100,0x10,2,3", "field v0: not a number ('0x10')"},
      {"S,1,100,1,1e999,3", "field v1: out of range ('1e999')"},
      {"S,1,100,1,2,3,4,5,6,7", "field 10: one too many ('7')"},
      {"S,1,100," + std::string(5000, '1'),
       "field line: too long ('S,1,100,11111111111111111111111111111111...')"},
      {fix, "field sample: missing ('')"},
      {fix + ",0,0", "field 19: one too many ('0')"},
      {"T,1000,1,2,3,4", "field vel_n: missing ('')"},
      {"T,1000,1,2,3,4,5,6,7,8,9,0", "field 12: one too many ('0')"},
      {"P,1,2", "field 3: one too many ('2')"},
      {"T,1000,90.001,2,3", "field latitude: not within -90 to 90 ('90.001')"},
      {"G,1000,-95,2,3,4,5,6,7,8,9,10,11,12,13,14,15,0",
       "field latitude: not within -90 to 90 ('-95')"},
  };
  for (const auto& [row, message] : cases) {
    const std::string log = file("log.csv", "# span_s: 1.5 20\n\nP,1\n" + row + "\nP,2\n");
    EXPECT_EQ(error_of(log), log + ":4: " + message);
    EXPECT_EQ(read_file(write_all(path("rest.csv"), read_all(log, true))),
              "# span_s: 1.5 20\nP,1\nP,2\n")
        << row;
  }
}

TEST_F(EventLogTest, FieldsMeanTheSameToReaderAndWriter) {
  const std::vector<EventRow> rows = read_all(file("log.csv", kLog));
  ASSERT_EQ(rows.size(), 9U);
  const SensorData& event = std::get<SensorRow>(rows[0]).event;
  EXPECT_EQ(event.type, 1);
  EXPECT_EQ(event.timestamp, 10);
  EXPECT_EQ(std::vector(event.values, event.values + 6),
            (std::vector{0.1, -2.0, 3e-5, 0.0, 0.0, 0.0}));
  const auto& [fix, sample] = std::get<FixRow>(rows[4]);
  EXPECT_EQ(fix.time_ns, 1000235778570);
  EXPECT_EQ((std::vector{fix.latitude, fix.longitude, fix.altitude}),
            (std::vector{42.336933333, 2.0, 3.0}));
  const std::vector<float> values{fix.speed,     fix.vel_acc_e, fix.vel_acc_n, fix.vel_acc_u,
                                  fix.pos_acc_e, fix.pos_acc_n, fix.pos_acc_u, fix.vel_e,
                                  fix.vel_n,     fix.vel_u,     fix.speed_acc, fix.bearing};
  EXPECT_EQ(values, (std::vector<float>{0.1F, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
  EXPECT_EQ(sample, 1);
  EXPECT_TRUE(std::isnan(std::get<TruthRow>(rows[5]).velocity[0]));
  EXPECT_TRUE(std::isnan(std::get<TruthRow>(rows[6]).attitude[0]));
  EXPECT_EQ(std::get<TruthRow>(rows[7]).velocity[2], 6.0);
  EXPECT_EQ(std::get<TruthRow>(rows[7]).attitude[0], 7.33693333);

  EXPECT_EQ(read_file(write_all(path("written.csv"), rows)), kLog);
}

TEST_F(EventLogTest, FormOfTheFileDoesNotMatter) {
  const std::vector<EventRow> rows = read_all(file("plain.csv", kLog));
  std::string crlf;
  std::string spaced = "\xEF\xBB\xBF";
  for (int i = 0; i < 64; ++i) spaced += "# no key " + std::to_string(i) + ": 1\n";
  for (const char c : kLog) {
    crlf += c == '\n' ? "\r\n" : std::string(1, c);
    spaced += c == ',' ? " ,\t" : c == '\n' ? " \n\n# note\n" : std::string(1, c);
  }
  const std::string gzip = write_all(path("log.csv.gz"), rows);
  EXPECT_EQ(read_file(gzip).substr(0, 2), "\x1F\x8B");
  const auto middle = rows.begin() + 4;
  const std::string members = read_file(write_all(path("a.gz"), {rows.begin(), middle})) +
                              read_file(write_all(path("b.gz"), {middle, rows.end()}));

  for (const std::string& log :
       {file("crlf.csv", crlf), file("spaced.csv", spaced), gzip,
        file("no_end.csv", kLog.substr(0, kLog.size() - 1)), file("members.csv.gz", members)}) {
    EXPECT_EQ(read_file(write_all(path("again.csv"), read_all(log))), kLog) << log;
    EventLogReader reader(log);
    double last = 0.0;
    for (EventRow row; reader.next(row); last = reader.progress()) {
      ASSERT_GE(reader.progress(), last) << log;
    }
    EXPECT_EQ(reader.progress(), 1.0) << log;
    EXPECT_EQ(reader.header("span_s"), "1.5 20") << log;
    EXPECT_EQ(reader.header("span"), "");
  }
  const int descriptor = open(gzip.c_str(), O_RDONLY);
  ASSERT_EQ(dup2(descriptor, STDIN_FILENO), STDIN_FILENO);
  close(descriptor);
  EXPECT_EQ(read_file(write_all(path("again.csv"), read_all("-"))), kLog);
}

TEST_F(EventLogTest, LinesAreReadWhereverTheyLieAndHoweverLongTheyAre) {
  // Rows of 20 bytes behind a comment that grows byte by byte: whatever is read at a time, it comes
  // to end in each of their bytes.
  constexpr std::int64_t kFirst = 1'000'000'000'000'000;
  constexpr std::int64_t kRows = 10000;
  std::string rows;
  for (std::int64_t i = 0; i < kRows; ++i) rows += "P," + std::to_string(kFirst + i) + "\r\n";
  ASSERT_EQ(rows.size(), 20U * kRows);
  for (std::size_t length = 1; length <= 20; ++length) {
    EventLogReader reader(file("log.csv", std::string(length, '#') + '\n' + rows));
    std::int64_t read = 0;
    for (EventRow row; reader.next(row); ++read) {
      ASSERT_EQ(std::get<StepRow>(row).time_ns, kFirst + read) << length;
    }
    EXPECT_EQ(read, kRows) << length;
  }

  // Any length of a comment, 4096 bytes of a row; the lines behind keep their numbers.
  for (const std::size_t length : {100U, 4096U, 4097U, 65536U, 200000U}) {
    const std::string blanks(length - 3, ' ');
    const std::string log =
        file("long.csv", std::string(length, '#') + "\nP,1" + blanks + "\nP,2\nP,x");
    const bool fits = length <= 4096;
    EXPECT_EQ(error_of(log), log + (fits ? ":4: field time_ns: not an integer ('x')"
                                         : ":2: field line: too long ('P,1')"));
    EXPECT_EQ(read_all(log, true).size(), fits ? 2U : 1U);
    EXPECT_EQ(read_all(file("end.csv", "P,0\nP,1" + blanks), true).size(), fits ? 2U : 1U);
  }
}

TEST_F(EventLogTest, NumbersSurviveWritingAndReading) {
  using Double = std::numeric_limits<double>;
  using Float = std::numeric_limits<float>;
  std::vector<double> doubles{Double::max(),       Double::denorm_min(), Double::infinity(),
                              -Double::infinity(), Double::quiet_NaN(),  -0.0};
  std::vector<float> floats{Float::max(), Float::denorm_min(), Float::quiet_NaN()};
  std::mt19937_64 random(1);
  while (doubles.size() < 3000) {
    const auto value = std::bit_cast<double>(random());
    doubles.push_back(std::isnan(value) ? -0.0 : value);
    floats.push_back(1e-25F * static_cast<float>(random()));
  }
  std::vector<EventRow> rows;
  for (std::size_t i = 0; i < doubles.size(); i += 6) {
    SensorRow sensor{{1, {}, static_cast<std::int64_t>(random())}};
    std::copy_n(&doubles[i], 6, sensor.event.values);
    FixRow row{};
    row.fix.longitude = doubles[i];
    row.fix.vel_e = floats[i];
    row.fix.vel_n = floats[i + 1];
    row.fix.bearing = floats[i + 2];
    rows.insert(rows.end(), {sensor, row});
  }
  const std::vector<EventRow> back = read_all(write_all(path("log.csv"), rows));
  ASSERT_EQ(back.size(), rows.size());
  // Bytes, so that NaN and -0 count as they are.
  for (std::size_t i = 0; i < rows.size(); i += 2) {
    const SensorData& event = std::get<SensorRow>(back[i]).event;
    const GpsData& fix = std::get<FixRow>(back[i + 1]).fix;
    const SensorData& written = std::get<SensorRow>(rows[i]).event;
    ASSERT_EQ(event.type, written.type) << i;
    ASSERT_EQ(std::memcmp(event.values, written.values, sizeof event.values), 0) << i;
    ASSERT_EQ(event.timestamp, written.timestamp) << i;
    ASSERT_EQ(std::memcmp(&fix, &std::get<FixRow>(rows[i + 1]), sizeof fix), 0) << i;
  }
}

TEST_F(EventLogTest, BrokenGzipIsReportedAfterTheRowsBeforeIt) {
  std::mt19937_64 random(2);
  std::vector<EventRow> steps;
  for (int i = 0; i < 20000; ++i) steps.push_back(StepRow{static_cast<std::int64_t>(random())});
  const std::string whole = read_file(write_all(path("whole.csv.gz"), steps));
  for (const std::size_t kept : {whole.size() / 2, whole.size() - 3}) {
    const std::string cut = file("cut.csv.gz", whole.substr(0, kept));
    EventLogReader reader(cut, true);
    std::size_t rows = 0;
    EventRow row;
    try {
      while (reader.next(row)) ++rows;
      ADD_FAILURE() << kept << " bytes read as a whole log";
    } catch (const InputError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(cut + ": gzip stream breaks off after"))
          << error.what();
    }
    // What has been decompressed before the break is not lost, but for a chunk.
    EXPECT_GT(rows + 4000, steps.size() * kept / whole.size());
    EXPECT_EQ(reader.skipped(), 0);
  }
  EXPECT_EQ(
      error_of(file("behind.csv.gz", whole + "P,1\n")),
      path("behind.csv.gz") + ": damaged gzip stream after line 20001: incorrect header check");
  std::string damaged = whole;
  for (std::size_t i = 0; i < 64; ++i) damaged[whole.size() / 2 + i] ^= '\x55';
  EXPECT_NE(error_of(file("damaged.csv.gz", damaged), true).find("damaged gzip stream"),
            std::string::npos);
}

TEST_F(EventLogTest, FilesThatCannotBeUsed) {
  EXPECT_EQ(error_of(path("")), path("") + ": cannot read: Is a directory");
  for (const bool lenient : {false, true}) {
    const std::string empty = file("empty.csv", "# span_s: 1.5 20\n\n");
    EXPECT_EQ(error_of(empty, lenient), empty + ": no rows");
  }
  const std::string bad = file("bad.csv", "P,x\nP,y\n");
  EXPECT_EQ(error_of(bad, true), bad + ": no rows but 2 malformed");
  EXPECT_THROW(EventLogWriter(path("none/log.csv")), OutputError);
  EXPECT_THROW(write_all("/dev/full", std::vector<EventRow>(100000)), OutputError);
}

}  // namespace
}  // namespace zuvdr::tools
