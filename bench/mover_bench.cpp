// What a line of the data mover costs with the trace off, in jobs of more and more items of which the mover
// confirms every one. The cost of a line must not grow with the number of items.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "backint/base/run_records.h"
#include "backint/server/xfr_run.h"
#include "platform/platform.h"

namespace {

constexpr double kMostGrowth = 3;  // memory that no longer fits the processor's caches is slower

struct Case {
  const char* title;
  std::string destination;
  std::function<std::string(const std::string&)> item;      // for a number as text
  std::function<std::string(const std::string&)> reported;  // its path in the mover's line
};

double Microseconds(std::chrono::steady_clock::time_point start, std::size_t lines) {
  const auto time = std::chrono::steady_clock::now() - start;
  return std::chrono::duration<double, std::micro>(time).count() / static_cast<double>(lines);
}

// The mover of these runs is this program: it prints a file.
int PrintLines(const char* path) {
  std::ios::sync_with_stdio(false);
  std::cerr << std::ifstream(path, std::ios::binary).rdbuf();
  return EXIT_SUCCESS;
}

// Microseconds for each line of a whole run; negative if not every line confirmed an item.
double TimeRun(const Case& of, std::size_t count, const std::string& directory, const std::string& program) {
  const std::string file = directory + "/lines";
  ItemList items;
  {
    std::ofstream lines(file, std::ios::binary);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string number = std::to_string(1000000 + i);
      items.Push(of.item(number));
      lines << "-3108 Item processed successfully [" << of.reported(number) << "]\n";
    }
    lines << "3007 Operation successful\n";
  }
  Server().szXfrPath = program;
  Params().szXfrTraceFile = directory + "/mover";
  const auto building = std::chrono::steady_clock::now();
  XfrJob job(XfrJob::Kind::kRestore, false, {items, "", ItemReading::End::kWhole}, of.destination);
  const double build = Microseconds(building, count);
  const auto start = std::chrono::steady_clock::now();
  const XfrRun done = RunXfr(program + " -b \"" + file + '"', job);
  const double run = Microseconds(start, count);
  const auto looking = std::chrono::steady_clock::now();
  std::size_t found = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string path = of.reported(std::to_string(1000000 + i));
    found += job.matcher.FindConfirmed("-3108 Item processed successfully [" + path + "]") ? 1U : 0U;
    found += job.matcher.MatchPath(path).size();
  }
  std::printf("  %7zu items: %6.2f us a line, of that looking up %5.2f; index %5.2f an item\n", count, run,
              Microseconds(looking, count), build);
  return done.result == RunResult::kSuccess && found >= count && done.confirmed.Count() == count ? run : -1;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  if (argc > 2) {
    return PrintLines(argv[2]);
  }
  const RunRecords records;
  const std::string directory =
      platform::TemporaryDirectory() + "/mover_bench_" + std::to_string(platform::ProcessId());
  std::filesystem::create_directory(directory);
  const auto archive = [](const std::string& n) { return "D:\\oracle\\C11\\oraarch\\C11arch" + n + ".dbf"; };
  const auto system = [](const std::string& n) { return "/oracle/C11/oraarch/C11arch" + n + ".dbf"; };
  const auto upper = [](const std::string& n) { return "d:\\ORACLE\\c11\\ORAARCH\\c11ARCH" + n + ".DBF"; };
  const auto bare = [](const std::string& n) { return "C11arch" + n + ".dbf"; };
  const auto moved = [](const std::string& n) { return "E:\\back\\C11arch" + n + ".dbf"; };
  const auto varied = [](const std::string& n) { return "D:\\data" + n + "\\alert.log"; };
  const auto one = [](const std::string&) { return std::string("D:\\data\\alert.log"); };
  const auto oneMoved = [](const std::string&) { return std::string("E:\\back\\alert.log"); };
  const Case cases[] = {{"names with a drive letter", "", archive, upper},
                        {"names that begin with a slash", "", system, system},
                        {"bare names, reported with their directory", "", bare, archive},
                        {"a destination", "E:\\back", archive, moved},
                        {"a destination, one last component", "E:\\back", varied, oneMoved},
                        {"one item over and over", "", one, one}};
  int bad = 0;
  for (const Case& of : cases) {
    std::printf("%s:\n", of.title);
    const double few = TimeRun(of, 2000, directory, argv[0]);
    for (const std::size_t count : {std::size_t{20000}, std::size_t{100000}}) {
      const double many = TimeRun(of, count, directory, argv[0]);
      bad += few < 0 || many < 0 || many > kMostGrowth * few ? 1 : 0;
    }
  }
  std::filesystem::remove_all(directory);
  std::printf("%d of these cost more than %.0f times what a line of 2000 items costs, or failed.\n", bad,
              kMostGrowth);
  return bad == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
