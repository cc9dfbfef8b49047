// How long the packing of many files takes, for lists and maxima that are hard in different ways.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#include "backint/backup/saveset_packing.h"
#include "backint/base/run_records.h"

namespace {

struct Case {
  const char* name;
  std::int32_t maximumMb;
  std::function<std::int32_t(std::size_t)> size;  // of the file with that number
  std::size_t copies = 1;                         // how often each file stands in the list
};

double Seconds(const Case& packing, std::size_t count, std::size_t& savesets) {
  std::vector<FileRecord> files;
  files.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t number = i / packing.copies;
    files.push_back({"D:\\oracle\\C11\\sapdata\\file" + std::to_string(number), packing.size(number)});
  }
  const auto start = std::chrono::steady_clock::now();
  savesets = PackSavesets(std::move(files), packing.maximumMb).size();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

int main() {
  const RunRecords records;  // without defaults: the trace is off
  std::mt19937 random(1);
  const auto upTo50000 = [&](std::size_t) { return static_cast<std::int32_t>(random() % 50001); };
  const auto distinct = [](std::size_t number) { return static_cast<std::int32_t>(number + 1); };
  const auto aboveHalf = [](std::size_t number) { return static_cast<std::int32_t>(1000000 + number); };
  const auto seven = [](std::size_t) { return std::int32_t{7}; };
  const auto zero = [](std::size_t) { return std::int32_t{0}; };
  const Case cases[] = {
      {"random sizes, maximum 50000", 50000, upTo50000},
      {"random sizes, maximum 100", 100, upTo50000},
      {"distinct sizes, maximum 50000", 50000, distinct},
      {"distinct sizes, maximum 2000000000", 2000000000, distinct},
      {"distinct sizes, maximum 0", 0, distinct},
      {"distinct sizes above half of the maximum", 1999999, aboveHalf},
      {"equal sizes, maximum 50000", 50000, seven},
      {"equal sizes, maximum 10", 10, seven},
      {"sizes of 0, maximum 50000", 50000, zero},
      {"sizes of 0, maximum 0", 0, zero},
      {"every file twice, distinct sizes, maximum 0", 0, distinct, 2},
      {"every file twice, distinct sizes, maximum 2000000", 2000000, distinct, 2},
      {"one file over and over, maximum 50000", 50000, seven, 1000000},
  };
  int slow = 0;
  for (const auto& [count, limit] :
       {std::pair{std::size_t{100000}, 1.0}, std::pair{std::size_t{1000000}, 10.0}}) {
    std::printf("%zu files:\n", count);
    for (const Case& packing : cases) {
      std::size_t savesets = 0;
      const double seconds = Seconds(packing, count, savesets);
      std::printf("  %7.3f s  %7zu savesets  %s\n", seconds, savesets, packing.name);
      slow += seconds > limit ? 1 : 0;
    }
  }
  std::printf("%d of these took longer than 1 s for 100000 files or 10 s for 1000000.\n", slow);
  return slow == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
