#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>

#include "tests/tools/program.h"

namespace zuvdr::tools {
namespace {

// Fixes, 10 s apart.
std::string fixes(int count) {
  std::string rows;
  for (int i = 1; i <= count; ++i) {
    rows += "G," + std::to_string(10 * i) + "000000000,1,2,3,0,1,1,1,5,5,5,0,0,0,1,0,0\n";
  }
  return rows;
}

TEST_F(ProgramTest, EveryMistakeIsAnsweredInOneLine) {
  file("log.csv", fixes(3));
  file("empty.csv", "# span_s: 1 2\n");
  file("sensor.csv", "S,1,5,0,0,9.8\nP,x\n");
  ASSERT_EQ(run("replay log.csv --out track.csv").status, 0);
  const std::string seed = "simulate walk --out new.csv --seed ";
  const std::string no_seed =
      " is not a whole number from 0 to 18446744073709551615 ("
      "zuvdr simulate --help tells more)";
  const std::string no_folder = ": cannot open: No such file or directory";
  const std::string full = "standard output: cannot write: No space left on device";
  const std::string closed = "standard output: cannot write: Bad file descriptor";
  const struct {
    std::string arguments;
    int status;
    std::string answer;
  } cases[] = {
      {"", 1, "A subcommand is required (zuvdr --help tells more)"},
      {"nonsense 2>/dev/full", 1, ""},
      {"nonsense 2>&-", 1, ""},
      {"repaly log.csv", 1, "unknown command repaly; did you mean replay?"},
      {"draw log.csv", 1, "unknown command draw"},
      {"replay log.csv --lenent", 1, "unknown option --lenent; did you mean --lenient?"},
      {"replay log.csv --without gap", 1,
       "--without: gap is no care of the host (zuvdr replay --help tells more)"},
      {"replay log.csv --bare --without gaps", 1,
       "--bare excludes --without (zuvdr replay --help tells more)"},
      {"replay log.csv --fix-clock-offset nan", 1,
       "--fix-clock-offset: not -10 to 10 (zuvdr replay --help tells more)"},
      {"replay", 1, "LOG is required (zuvdr replay --help tells more)"},
      {seed + "-1", 1, "--seed: -1" + no_seed},
      {seed + "1.5", 1, "--seed: 1.5" + no_seed},
      {seed + "18446744073709551616", 1, "--seed: 18446744073709551616" + no_seed},
      {"replay - --plot log.csv <log.csv", 1, "log.csv: would overwrite standard input"},
      {"replay log.csv --out same.csv >same.csv", 1, "same.csv: the same file as standard output"},
      {"check log.csv >>log.csv", 1, "standard output: would overwrite the input log.csv"},
      {"check - - <log.csv", 1, "standard input: named twice"},
      {"simulate drive --out new.csv --mounting 1,2,3,", 1,
       "--mounting: 1,2,3, is neither flat, upright, landscape nor ROLL,PITCH,YAW in degrees ("
       "zuvdr simulate --help tells more)"},
      {"simulate drive --out new.csv --gap 9,1 --gap 8,0", 1,
       "--gap: 8,0 is not BEGIN,LENGTH: seconds and metres up to 86400, only BEGIN may be 0 ("
       "zuvdr simulate --help tells more)"},
      {"simulate walk --out new.csv --begin 4000", 1,
       "no rows are left by --begin, --gap and --silence (zuvdr simulate --help tells more)"},
      {"steps log.csv --json x --scores x", 1, "x: the same file as the output x"},
      {"replay log.csv --out new.csv --plot none/new.svg", 1, "none/new.svg" + no_folder},
      {"replay log.csv --plot new.svg --out - --out none/t.csv", 1, "none/t.csv" + no_folder},
      {"plot track.csv --out track.csv", 1, "track.csv: would overwrite the input track.csv"},
      {"--help >/dev/full", 1, full},
      {"replay log.csv >/dev/full", 1, full},
      {"check log.csv >/dev/full", 1, full},
      {"steps log.csv --json new.json >/dev/full", 1, full},
      {"steps log.csv --json /dev/full", 1, "/dev/full: cannot write: No space left on device"},
      {"simulate walk --out - >/dev/full", 1, full},
      {"simulate handling --format gnss-logger --out - >/dev/full", 1, full},
      {"simulate handling --format sensor-logger --out - >/dev/full", 1, full},
      {"convert log.csv --out none/new.zip", 1, "none/new.zip" + no_folder},
      {"--version >&-", 1, closed},
      {"replay log.csv --out closed.csv >&-", 1, closed},
      {"replay empty.csv --out track.csv", 2, "empty.csv: no rows"},
      {"steps empty.csv --json track.csv --scores new", 2, "empty.csv: no rows"},
      {"plot - --out new.svg </dev/null", 2, "standard input: no rows"},
      {"replay sensor.csv --plot new.svg", 2,
       "new.svg: nothing to plot, the track has no positions\n"
       "zuvdr: sensor.csv:2: field time_ns: not an integer ('x')"},
  };
  const std::string track = read_file(path("track.csv"));
  for (const auto& [arguments, status, answer] : cases) {
    const Result result = run(arguments);
    EXPECT_EQ(result.status, status) << arguments;
    EXPECT_EQ(result.err, answer.empty() ? "" : "zuvdr: " + answer + "\n") << arguments;
    EXPECT_TRUE(result.out.empty() || !answer.ends_with(no_folder)) << arguments;
  }
  EXPECT_EQ(read_file(path("track.csv")), track);
  EXPECT_EQ(read_file(path("closed.csv")), track) << "the summary must not get into the track";
  for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
    const std::string name = entry.path().filename();
    EXPECT_FALSE(name.starts_with("new") || name.ends_with(".part")) << name;
  }
}

TEST_F(ProgramTest, SimulatesNothingForACommandThatMakesNoSense) {
  for (const std::string arguments : {"fly",
                                      "walk --tunnel 20",
                                      "walk --mounting flat",
                                      "drive --carry hand",
                                      "drive --mounting 1,2",
                                      "walk --cadence nan",
                                      "drive --latitude -5",
                                      "drive --walker 3",
                                      "walk --road rough",
                                      "handling --carry pocket",
                                      "handling --mounting flat",
                                      "walk --carry hat",
                                      "drive --road icy",
                                      "walk --idle diesel",
                                      "walk --mounting-yaw 9",
                                      "drive --jitter 0.2",
                                      "drive --late 1.1",
                                      "drive --batch 0",
                                      "drive --jump-every 9",
                                      "drive --fix-delay -1",
                                      "drive --fix-clock nan",
                                      "drive --gap 1,2,3",
                                      "drive --jump 1,2",
                                      "drive --silence -1,2",
                                      "walk --motion-only --jump 1,2,3",
                                      "walk --format gpx"}) {
    EXPECT_EQ(run("simulate " + arguments + " --out log").status, 1) << arguments;
    EXPECT_FALSE(std::filesystem::exists(path("log"))) << arguments;
  }
}

TEST_F(ProgramTest, SeedsAreDecimal) {
  const std::string command = "simulate handling --out - --seed ";
  EXPECT_TRUE(run(command + "08 --walker 010").out == run(command + "8 --walker 10").out);
}

TEST_F(ProgramTest, AMountedPhoneIsTurnedInTheCar) {
  const std::string command = "simulate drive --motion-only --out - ";
  EXPECT_TRUE(run(command + "--mounting landscape --mounting-yaw 40").out ==
              run(command + "--mounting -80,0,-50").out);
}

TEST_F(ProgramTest, LogsAreWrittenInTheFormatOfTheirNameOrOfTheOption) {
  file("log.csv", "P,5\nS,1,5,0,0,9.8\n" + fixes(3));
  const std::string left_out = "zuvdr: left out 1 row of steps\n";
  const struct {
    std::string arguments;
    std::string begin, err;
  } cases[] = {{"new.csv", "P,5\nS,1,5,0,0,9.8\n", ""},
               {"new.csv.gz", "\x1F\x8B", ""},
               {"new.txt", "# Version: ", left_out},
               {"new.txt.gz", "\x1F\x8B", left_out},
               {"new.zip", "PK\x03\x04", left_out},
               {"new.txt --format event-log", "P,5\n", ""},
               {"new --format gnss-logger", "# Version: ", left_out},
               {"new --format sensor-logger", "PK\x03\x04", left_out},
               {"- --format sensor-logger", "PK\x03\x04", left_out}};
  for (const auto& [arguments, begin, err] : cases) {
    const Result result = run("convert log.csv --out " + arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    EXPECT_EQ(result.err, err) << arguments;
    const std::string name = arguments.substr(0, arguments.find(' '));
    const std::string written = name == "-" ? result.out : read_file(path(name));
    EXPECT_TRUE(written.starts_with(begin)) << arguments;
  }
}

TEST_F(ProgramTest, SkippedRowsAreNamed) {
  std::string bad;
  for (int i = 0; i < 12; ++i) bad += "P,x\n";
  file("log.csv", fixes(3) + bad);
  file("bad.csv", bad);
  const auto skipped = [](const std::string& log, int first) {
    std::string lines;
    for (int number = first; number < first + 10; ++number) {
      lines += "zuvdr: skipped " + log + ":" + std::to_string(number) +
               ": field time_ns: not an integer ('x')\n";
    }
    return lines + "zuvdr: ... and 2 more\n";
  };
  for (const std::string command : {"replay", "steps", "check", "assess"}) {
    EXPECT_EQ(run(command + " --lenient log.csv").err, skipped("log.csv", 4));
    EXPECT_EQ(run(command + " --lenient bad.csv").err,
              skipped("bad.csv", 1) + "zuvdr: bad.csv: no rows but 12 malformed\n");
  }
}

TEST_F(ProgramTest, ATrackOnStandardOutputCanBeFollowed) {
  file("log.csv", fixes(3));
  // The log does not end before the first rows of the track have been seen, or 10 s are over.
  const std::string log =
      "(cat log.csv; for i in $(seq 100); do test $(wc -l <out) -gt 1 && touch seen && break; "
      "sleep 0.1; done) | ";
  EXPECT_EQ(run("replay - --out -", log).status, 0);
  EXPECT_TRUE(std::filesystem::exists(path("seen")));
}

TEST_F(ProgramTest, HelpFitsATerminalAndHasTheExitStatus) {
  for (const std::string command :
       {"", "replay", "simulate", "steps", "plot", "check", "assess", "convert"}) {
    const std::string help = run(command + " --help").out;
    EXPECT_NE(help.find("\nExit status: 0"), std::string::npos) << command;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100U) << line;
  }
}

}  // namespace
}  // namespace zuvdr::tools
