// What a backup with the embedded server costs, beside `tar | zstd -3 -T2` and then `sync`, on the same files
// in the same minutes: one file of 2 GiB of programs and libraries, and 10,000 files of 8 KiB. Medians of
// three rounds, of the times on the clock and of the processors' times, since other work on the machine
// changes the first. `large` or `small` as an argument: that alone.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 3;
constexpr std::uint64_t kLargeSize = std::uint64_t{2} << 30;
constexpr std::size_t kPage = 8192;
constexpr std::size_t kSmallFiles = 10'000;

struct Row {
  std::string title;
  std::string beside;
  double aim;
};

const std::vector<Row> kRows = {{"large, nothing known", "large", 1.0},
                                {"large, unchanged", "large", 0.25},
                                {"large, 1 % of the pages changed", "large", 0.4},
                                {"small, nothing known", "small", 2.0},
                                {"small, unchanged", "small", 1.0}};

class Bench {
 public:
  // `only`: what is measured; empty: everything.
  Bench(const fs::path& programs, std::string only)
      : programs_(programs), home_(programs.parent_path() / "save_bench"), only_(std::move(only)) {}

  bool Run() {
    MakeFiles();
    for (int round = 0; round < kRounds; ++round) {
      for (const std::string name : {"large", "small"}) {
        if (Takes(name)) {
          Compare(name);
        }
      }
      for (const std::string server : {"plain", "encrypted"}) {
        if (!MakeServer(server) || (Takes("large") && !SaveLarge(server)) ||
            (Takes("small") && !SaveSmall(server))) {
          std::printf("a backup failed: see %s\n", Path("console").c_str());
          return false;
        }
      }
    }
    Print();
    fs::remove_all(home_);
    return true;
  }

 private:
  [[nodiscard]] bool Takes(const std::string& name) const { return only_.empty() || only_ == name; }
  [[nodiscard]] std::string Path(const std::string& name) const { return (home_ / name).string(); }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }

  // `seconds` may be none.
  bool Measure(const std::string& command, double* seconds) const {
    Write("command", "cd '" + home_.string() + "'\n{ " + command + "; } >console 2>&1\n");
    const auto start = std::chrono::steady_clock::now();
    const int status = std::system(("bash '" + Path("command") + "'").c_str());
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (seconds != nullptr) {
      *seconds = time.count();
    }
    return status == 0;
  }

  void MakeFiles() const {
    fs::remove_all(home_);
    fs::create_directories(home_ / "saptrace");
    fs::create_directories(home_ / "small");
    Measure(
        "find /usr/lib /usr/bin -type f -size +16k -print0 2>/dev/null | sort -z | xargs -0 cat 2>/dev/null "
        "| "
        "head -c " +
            std::to_string(kLargeSize) + " >large",
        nullptr);
    if (fs::file_size(home_ / "large") < kLargeSize) {
      std::printf("only %.0f MB of programs and libraries are here\n",
                  static_cast<double>(fs::file_size(home_ / "large")) / 1e6);
    }
    std::ifstream large(Path("large"), std::ios::binary);
    std::string page(kPage, '\0');
    std::string list;
    for (std::size_t i = 0; i < kSmallFiles; ++i) {
      const std::string name = "small/f" + std::to_string(i);
      large.seekg(static_cast<std::streamoff>(i * kPage * 13));
      large.read(page.data(), static_cast<std::streamsize>(page.size()));
      Write(name, page);
      list += Path(name) + "\n";
    }
    Write("small.in", list);
    Write("large.in", Path("large") + "\n");
  }

  void Compare(const std::string& name) {
    double time = 0;
    Measure("sync; cat " + name + " " + name + "/* >/dev/null 2>&1; true", nullptr);
    Measure("tar -cf - " + name + " | zstd -q -3 -T2 -f -o compared; sync", &time);
    times_["tar"][name].push_back(time);
    compared_[name] = fs::file_size(home_ / "compared");
    fs::remove(home_ / "compared");
  }

  // An empty repository.
  bool MakeServer(const std::string& server) const {
    for (const char* name : {"repository", "secret", "key"}) {
      fs::remove_all(home_ / name);
    }
    std::string section = "[" + server + "]\nrepository=" + Path("repository") + "\n";
    if (server == "encrypted") {
      section += "secret_file=" + Path("secret") + "\nkey_file=" + Path("key") + "\n";
    }
    Write("korvo.ini", section);
    Write("par", "KORVO_SERVER=" + server +
                     "\nKORVO_JOB=bench\nKORVO_POOL=bench\nXFR=xfr\nXFR_COM_INTERFACE=xfr_com_interface\n"
                     "KORVO_RAW_UTIL=none\nBI_TRACE_LEVEL=0\n");
    return server == "plain" ||
           Measure(Environment() + programs_.string() + "/korvo init --encrypt encrypted", nullptr);
  }

  [[nodiscard]] std::string Environment() const {
    return "PATH='" + programs_.string() + "':$PATH KORVO_CONFIG='" + Path("korvo.ini") +
           "' BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_SID=BEN ORACLE_HOME=. SAPDATA_HOME=. "
           "SAPBACKUP=. SAPARCH=. ";
  }

  bool Save(const std::string& server, const std::string& name, const std::string& title) {
    fs::remove(home_ / "out");
    Measure("sync", nullptr);
    double time = 0;
    const bool saved =
        Measure(Environment() + "backint -u ben -f backup -p par -i " + name + ".in -o ./out", &time);
    times_[server][title].push_back(time);
    return saved;
  }

  [[nodiscard]] std::uint64_t Stored() const {
    std::uint64_t bytes = 0;
    // There is nothing before the first backup.
    std::error_code none;
    for (const auto& entry : fs::recursive_directory_iterator(home_ / "repository" / "packs", none)) {
      bytes += entry.is_regular_file() ? entry.file_size() : 0;
    }
    return bytes;
  }

  bool SaveLarge(const std::string& server) {
    bool saved = Save(server, "large", kRows[0].title);
    const std::uint64_t first = Stored();
    stored_[server]["large"] = first;
    saved = saved && Save(server, "large", kRows[1].title);
    const std::uint64_t second = Stored();
    ChangePages();
    saved = saved && Save(server, "large", kRows[2].title);
    written_[server] = {second - first, Stored() - second};
    return saved;
  }

  bool SaveSmall(const std::string& server) {
    const std::uint64_t before = Stored();
    const bool saved = Save(server, "small", kRows[3].title);
    stored_[server]["small"] = Stored() - before;
    return saved && Save(server, "small", kRows[4].title);
  }

  void ChangePages() {
    std::fstream file(Path("large"), std::ios::binary | std::ios::in | std::ios::out);
    const std::size_t pages = static_cast<std::size_t>(fs::file_size(home_ / "large")) / kPage;
    for (std::size_t i = 0; i < pages / 100; ++i) {
      file.seekp(static_cast<std::streamoff>(random_() % pages * kPage + 100));
      const std::uint64_t change = random_();
      file.write(reinterpret_cast<const char*>(&change), sizeof change);
    }
  }

  static double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

  void Print() {
    for (const std::string server : {"plain", "encrypted"}) {
      std::printf("%s:\n%-34s %8s %8s %6s %5s\n", server.c_str(), "", "s", "tar|zstd", "ratio", "aim");
      for (const Row& row : kRows) {
        if (!Takes(row.beside)) {
          continue;
        }
        const double ours = Median(times_[server][row.title]);
        const double other = Median(times_["tar"][row.beside]);
        std::printf("%-34s %8.2f %8.2f %6.2f %5.2f\n", row.title.c_str(), ours, other, ours / other, row.aim);
      }
      for (const std::string name : {"large", "small"}) {
        if (!Takes(name)) {
          continue;
        }
        std::printf("%-34s %8.1f %8.1f %6.3f %5.2f\n", ("MB stored of " + name).c_str(),
                    static_cast<double>(stored_[server][name]) / 1e6,
                    static_cast<double>(compared_[name]) / 1e6,
                    static_cast<double>(stored_[server][name]) / static_cast<double>(compared_[name]), 1.05);
      }
      std::printf("KB written of what was unchanged: %.1f; with 1 %% changed: %.1f\n\n",
                  static_cast<double>(written_[server].first) / 1e3,
                  static_cast<double>(written_[server].second) / 1e3);
    }
  }

  fs::path programs_;
  fs::path home_;
  std::string only_;
  std::mt19937_64 random_{1};
  std::map<std::string, std::map<std::string, std::vector<double>>> times_;
  std::map<std::string, std::uint64_t> compared_;
  std::map<std::string, std::map<std::string, std::uint64_t>> stored_;
  std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> written_;
};

}  // namespace

int main(int argc, char** argv) {
  return Bench(fs::absolute(argv[0]).parent_path(), argc > 1 ? argv[1] : "").Run() ? EXIT_SUCCESS
                                                                                   : EXIT_FAILURE;
}
