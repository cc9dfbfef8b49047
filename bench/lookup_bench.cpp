// Measures how long 1,000 look-ups take in the newest saveset of a large repository: of names that are there,
// and of names that are not. Each time with a connection of its own, as a mover has it.
//
//   lookup_bench SERVER ITEMS_OF_A_SAVESET
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/store.h"

namespace {

using store::Status;

void Check(const Status& status) {
  if (!status) {
    std::fprintf(stderr, "%s\n", status.Message().c_str());
    std::exit(EXIT_FAILURE);
  }
}

// The median of five rounds, in milliseconds. The names are those that large_repository gives, with `suffix`
// at the end.
double TimeLookups(const store::ServerConfig& config, std::uint64_t items, const std::string& suffix) {
  std::vector<double> times;
  for (int round = 0; round < 5; ++round) {
    const auto start = std::chrono::steady_clock::now();
    std::unique_ptr<store::Store> repository;
    Check(store::Store::Open(config, store::Store::Access::kRead, repository));
    std::vector<std::string> names;
    Check(repository->ListSavesets("BEN", "", names));
    store::Saveset saveset;
    Check(repository->FindSaveset(names.front(), saveset));
    std::optional<store::Item> item;
    for (std::uint64_t i = 0; i < 1000; ++i) {
      const std::uint64_t number = i % items + 1;
      Check(repository->Rows().FindItem(saveset,
                                        "/oracle/BEN/sapdata" + std::to_string(number % 20) + "/undo_" +
                                            std::to_string(number) + "/undo.data" + std::to_string(number) +
                                            suffix,
                                        item));
      if (item.has_value() != suffix.empty()) {
        Check(Status::Failed("a name was found, or not, as it should not be"));
      }
    }
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  if (argc != 3) {
    std::fprintf(stderr, "usage: lookup_bench SERVER ITEMS_OF_A_SAVESET\n");
    return 2;
  }
  store::ServerConfig config;
  Check(ReadServerConfig(argv[1], config));
  const std::uint64_t items = std::strtoull(argv[2], nullptr, 10);
  std::printf("there\t%.3f\tms\n", TimeLookups(config, items, ""));
  std::printf("not there\t%.3f\tms\n", TimeLookups(config, items, "x"));
  return EXIT_SUCCESS;
}
