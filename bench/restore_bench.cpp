// A restore of many lines over many backups in random order, with the embedded server: one job for each
// backup, and a time in proportion to the lines. The trace is off.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBackups = 50;
constexpr std::size_t kFilesPerBackup = 200;

struct Place {
  fs::path directory;
  fs::path programs;
  [[nodiscard]] std::string Path(const std::string& name) const { return (directory / name).string(); }
};

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::size_t CountLines(const std::string& path, const std::string& text) {
  std::size_t count = 0;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    count += line.find(text) != std::string::npos ? 1U : 0U;
  }
  return count;
}

// The exit status of one run.
int RunBackint(const Place& place, const std::string& function, const std::string& input,
               const std::string& output) {
  const std::string home = place.directory.string();
  const std::string command =
      "cd '" + home + "' && PATH='" + place.programs.string() + "':$PATH KORVO_CONFIG='" +
      place.Path("korvo.ini") +
      "' BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_SID=BEN ORACLE_HOME=. "
      "SAPDATA_HOME=. SAPBACKUP=. SAPARCH=. backint -u ben -f " +
      function + " -p par -i " + input + " -o ./" + output + " >console 2>&1";
  return std::system(command.c_str());
}

void SetUp(const Place& place) {
  fs::create_directories(place.directory / "saptrace");
  fs::create_directories(place.directory / "data");
  Write(place.Path("korvo.ini"), "[DEFAULT]\nrepository=" + place.Path("repository") + "\n");
  Write(
      place.Path("par"),
      "KORVO_SERVER=bench\nKORVO_JOB=bench\nKORVO_POOL=bench\nXFR=xfr\nXFR_COM_INTERFACE=xfr_com_interface\n"
      "KORVO_RAW_UTIL=none\nBI_TRACE_LEVEL=0\n");
}

// Saves the files of one backup; adds its restore lines.
bool Save(const Place& place, std::size_t backup, std::vector<std::string>& lines) {
  std::string list;
  for (std::size_t i = 0; i < kFilesPerBackup; ++i) {
    const std::string name = place.Path("data/f" + std::to_string(backup * kFilesPerBackup + i) + ".dbf");
    Write(name, name + std::string(1000, 'x'));
    list += name + "\n";
  }
  Write(place.Path("in"), list);
  fs::remove(place.Path("out"));
  if (RunBackint(place, "backup", "in", "out") != 0) {
    return false;
  }
  std::ifstream result(place.Path("out"));
  for (std::string line; std::getline(result, line);) {
    constexpr std::size_t kKeyword = 7;  // "#SAVED "
    lines.push_back(line.substr(kKeyword));
  }
  return true;
}

// Restores the first `count` lines; false if any is not restored or a backup took more than one job.
bool Measure(const Place& place, const std::vector<std::string>& lines, std::size_t count) {
  std::string list;
  for (std::size_t i = 0; i < count; ++i) {
    list += lines[i] + "\n";
  }
  Write(place.Path("in"), list);
  fs::remove(place.Path("out"));
  fs::remove(place.Path("saptrace/xfr_BEN.log"));
  const auto start = std::chrono::steady_clock::now();
  const int status = RunBackint(place, "restore", "in", "out");
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  // Every status line stands twice in the mover's trace.
  const std::size_t jobs = CountLines(place.Path("saptrace/xfr_BEN.log"), "3007 Operation successful") / 2;
  const std::size_t restored = CountLines(place.Path("out"), "#RESTORED ");
  std::printf("%6zu lines: %6.2f s, %5.2f ms a line, %zu jobs, %zu restored\n", count, time.count(),
              time.count() * 1000 / static_cast<double>(count), jobs, restored);
  return status == 0 && jobs == kBackups && restored == count;
}

}  // namespace

int main(int /*argc*/, char** argv) {
  const fs::path programs = fs::absolute(argv[0]).parent_path();
  const Place place{programs.parent_path() / "restore_bench", programs};
  fs::remove_all(place.directory);
  SetUp(place);
  std::vector<std::string> lines;
  for (std::size_t backup = 0; backup < kBackups; ++backup) {
    if (!Save(place, backup, lines)) {
      std::printf("a backup failed: see %s\n", place.Path("console").c_str());
      return EXIT_FAILURE;
    }
  }
  std::shuffle(lines.begin(), lines.end(), std::mt19937(1));
  bool good = true;
  for (const std::size_t count : {std::size_t{2500}, std::size_t{5000}, std::size_t{10000}}) {
    good = Measure(place, lines, count) && good;
  }
  fs::remove_all(place.directory);
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}
