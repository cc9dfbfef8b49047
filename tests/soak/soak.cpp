// Backs up, restores, kills, deletes and rebuilds at random, and holds the store against a plain model of
// what must be there. Prints its seed and figures; a seed makes the same steps again.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "soak/world.h"

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "Usage: soak MINUTES SEED [encrypt]\n");
    return 2;
  }
  const auto end = std::chrono::steady_clock::now() +
                   std::chrono::seconds(static_cast<long>(60 * std::strtod(argv[1], nullptr)));
  const auto seed = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
  const bool encrypt = argc == 4 && std::string(argv[3]) == "encrypt";
  std::printf("seed %u%s\n", seed, encrypt ? ", encrypted" : "");
  World world(seed, encrypt);
  int steps = 0;
  for (; std::chrono::steady_clock::now() < end && world.Counted().wrong == 0; ++steps) {
    world.Step();
  }
  world.CompareAll();
  const Figures& figures = world.Counted();
  std::printf("%d steps: %d backups, %d restores, %d inquiries, %d kills, %d savesets expired, %d rebuilds\n",
              steps, figures.backups, figures.restores, figures.inquiries, figures.kills, figures.expired,
              figures.rebuilds);
  std::printf("%ld files saved, %ld restored and compared, %d wrong\n", figures.saved, figures.compared,
              figures.wrong);
  return figures.wrong == 0 ? 0 : 1;
}
