// Measures what a line of the data mover costs with the trace off, in jobs of more and more items, and how
// many allocations of memory the search for its item needs. The mover prints the same number of lines in each
// job, so that its start always counts the same. Prints a name, a value and a unit on each line.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "backint/base/run_records.h"
#include "backint/server/xfr_run.h"
#include "platform/platform.h"

namespace {

std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

constexpr std::size_t kLines = 100'000;

struct Case {
  const char* title;
  std::string destination;
  std::function<std::string(std::size_t)> item;      // the name of an item, by its number
  std::function<std::string(std::size_t)> reported;  // the path of that item in the mover's line
};

double Microseconds(std::chrono::steady_clock::time_point start) {
  const auto time = std::chrono::steady_clock::now() - start;
  return std::chrono::duration<double, std::micro>(time).count() / static_cast<double>(kLines);
}

// This program is also the mover of these runs: it prints a file.
int PrintLines(const char* path) {
  std::ios::sync_with_stdio(false);
  std::cerr << std::ifstream(path, std::ios::binary).rdbuf();
  return EXIT_SUCCESS;
}

// False if not every line confirmed an item.
bool Measure(const Case& of, std::size_t count, const std::string& directory, const std::string& program) {
  const std::string file = directory + "/lines";
  ItemList items;
  for (std::size_t i = 0; i < count; ++i) {
    items.Push(of.item(i));
  }
  {
    std::ofstream lines(file, std::ios::binary);
    for (std::size_t i = 0; i < kLines; ++i) {
      lines << "-3108 Item processed successfully [" << of.reported(i % count) << "]\n";
    }
    lines << "3007 Operation successful\n";
  }
  Server().szXfrPath = program;
  Params().szXfrTraceFile = directory + "/mover";
  XfrJob job(XfrJob::Kind::kRestore, false, {items, "", ItemReading::End::kWhole}, of.destination);
  const auto start = std::chrono::steady_clock::now();
  const XfrRun done = RunXfr(program + " -b \"" + file + '"', job);
  const double time = Microseconds(start);

  const std::string line = "-3108 Item processed successfully [" + of.reported(count / 2) + "]";
  const std::string path = of.reported(count / 2);
  const std::size_t before = allocations;
  const bool found = job.matcher.FindConfirmed(line) && !job.matcher.MatchPath(path).empty();
  const std::size_t asked = allocations - before;
  std::printf("a line, %s, %zu items\t%.3f\tus\n", of.title, count, time);
  std::printf("pieces of memory of a line, %s, %zu items\t%zu\t\n", of.title, count, asked);
  return done.result == RunResult::kSuccess && done.confirmed.Count() == kLines && found;
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
  const auto text = [](std::size_t n) { return std::to_string(1000000 + n); };
  const auto archive = [&](std::size_t n) { return "D:\\oracle\\C11\\oraarch\\C11arch" + text(n) + ".dbf"; };
  const auto system = [&](std::size_t n) { return "/oracle/C11/oraarch/C11arch" + text(n) + ".dbf"; };
  const auto lengths = [&](std::size_t n) { return archive(n) + std::string(n % 50, 'x'); };
  const auto moved = [&](std::size_t n) { return "E:\\back\\C11arch" + text(n) + ".dbf"; };
  const auto one = [](std::size_t) { return std::string("D:\\data\\alert.log"); };
  const Case cases[] = {{"names with a drive letter", "", archive, archive},
                        {"names of 50 lengths", "", lengths, lengths},
                        {"names with a slash in front", "", system, system},
                        {"a destination", "E:\\back", archive, moved},
                        {"one item over and over", "", one, one}};
  bool good = true;
  for (const Case& of : cases) {
    for (const std::size_t count : {100U, 1'000U, 10'000U, 100'000U}) {
      good = Measure(of, count, directory, argv[0]) && good;
    }
  }
  std::filesystem::remove_all(directory);
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
