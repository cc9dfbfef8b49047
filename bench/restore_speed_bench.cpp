// What a restore with the embedded server costs, beside `zstd -d | tar -x` and then `sync`, of the same files
// in the same minutes: one file of 2 GiB of programs and libraries, 10,000 files of 8 KiB over their targets,
// and the version before the last of ten, of which each has 1 % of its pages changed. Medians of three
// rounds, in seconds.
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
constexpr int kGenerations = 10;
constexpr std::uint64_t kLargeSize = std::uint64_t{2} << 30;
constexpr std::size_t kPage = 8192;
constexpr std::size_t kSmallFiles = 10'000;

class Bench {
 public:
  explicit Bench(const fs::path& programs)
      : programs_(programs), home_(programs.parent_path() / "restore_speed_bench") {}

  bool Run() {
    MakeFiles();
    bool good = true;
    for (const std::string server : {"plain", "encrypted"}) {
      good = good && MakeServer(server) && SaveAll();
      for (int round = 0; good && round < kRounds; ++round) {
        good = RestoreAll(server);
      }
      if (good) {
        Print(server);
      }
    }
    std::printf("%s", good ? "" : ("something failed: see " + Path("console") + "\n").c_str());
    if (good) {
      fs::remove_all(home_);
    }
    return good;
  }

 private:
  [[nodiscard]] std::string Path(const std::string& name) const { return (home_ / name).string(); }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
  }

  bool Do(const std::string& command, double* seconds = nullptr) const {
    Write("command", "cd '" + home_.string() + "'\n{ " + command + "; } >console 2>&1\n");
    const auto start = std::chrono::steady_clock::now();
    const bool good = std::system(("bash '" + Path("command") + "'").c_str()) == 0;
    if (seconds != nullptr) {
      *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    return good;
  }

  void MakeFiles() const {
    fs::remove_all(home_);
    for (const char* directory : {"saptrace", "small", "out"}) {
      fs::create_directories(home_ / directory);
    }
    Do("find /usr/lib /usr/bin -type f -size +16k -print0 2>/dev/null | sort -z | xargs -0 cat 2>/dev/null | "
       "head -c " +
       std::to_string(kLargeSize) + " >large");
    std::ifstream large(Path("large"), std::ios::binary);
    std::string page(kPage, '\0');
    for (std::size_t i = 0; i < kSmallFiles; ++i) {
      large.seekg(static_cast<std::streamoff>(i * kPage * 13));
      large.read(page.data(), static_cast<std::streamsize>(page.size()));
      Write("small/f" + std::to_string(i), page);
    }
    for (const std::string name : {"large", "small"}) {
      Do("name=" + name + "; tar -cf - $name | zstd -q -3 -T2 -f -o $name.tar.zst");
    }
  }

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
    return server == "plain" || Do(Environment() + programs_.string() + "/korvo init --encrypt encrypted");
  }

  [[nodiscard]] std::string Environment() const {
    return "PATH='" + programs_.string() + "':$PATH KORVO_CONFIG='" + Path("korvo.ini") +
           "' BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_SID=BEN ORACLE_HOME=. SAPDATA_HOME=. "
           "SAPBACKUP=. SAPARCH=. ";
  }

  // `lines` gets id and name of each item, as a restore takes them.
  bool Save(const std::string& list, std::string& lines) const {
    Write("in", list);
    fs::remove(home_ / "out.lis");
    if (!Do(Environment() + "backint -u ben -f backup -p par -i in -o ./out.lis")) {
      return false;
    }
    lines.clear();
    std::ifstream result(Path("out.lis"));
    for (std::string line; std::getline(result, line);) {
      lines += line.substr(std::string("#SAVED ").size()) + "\n";
    }
    return true;
  }

  bool SaveAll() {
    std::string list;
    for (std::size_t i = 0; i < kSmallFiles; ++i) {
      list += Path("small/f" + std::to_string(i)) + "\n";
    }
    bool saved = Save(list, lines_["small"]) && Do("cp large first");
    for (int generation = 1; saved && generation <= kGenerations; ++generation) {
      const std::string name = generation == 1                  ? "large"
                               : generation == kGenerations - 1 ? "generation"
                                                                : "other";
      saved = Save(Path("large") + "\n", lines_[name]);
      if (generation == kGenerations - 1) {
        saved = saved && Do("cp large ninth");
      }
      ChangePages();
    }
    return saved && Do("sync");
  }

  void ChangePages() {
    std::fstream file(Path("large"), std::ios::binary | std::ios::in | std::ios::out);
    const auto pages = static_cast<std::size_t>(fs::file_size(home_ / "large")) / kPage;
    for (std::size_t i = 0; i < pages / 100; ++i) {
      file.seekp(static_cast<std::streamoff>(random_() % pages * kPage + 100));
      const std::uint64_t change = random_();
      file.write(reinterpret_cast<const char*>(&change), sizeof change);
    }
  }

  // Every round does all of them, one after the other, so that a slow minute meets all alike.
  bool RestoreAll(const std::string& server) {
    return Take("tar large", "rm -f out/large", "zstd -q -d -c large.tar.zst | tar -xf - -C out; sync") &&
           Do("rm -f out/large") && Restore(server, "large", "out", "cmp out/large first") &&
           Do("rm -f out/large") && Restore(server, "generation", "out", "cmp out/large ninth") &&
           Take("tar small", "true", "zstd -q -d -c small.tar.zst | tar -xf -; sync") &&
           Restore(server, "small", "", "zstd -q -d -c small.tar.zst | tar -df -");
  }

  bool Take(const std::string& row, const std::string& before, const std::string& command) {
    double time = 0;
    const bool done = Do(before + "; sync") && Do(command, &time);
    times_[row].push_back(time);
    return done;
  }

  bool Restore(const std::string& server, const std::string& row, const std::string& destination,
               const std::string& check) {
    std::string list;
    std::size_t begin = 0;
    const std::string& lines = lines_[row];
    for (std::size_t end = lines.find('\n'); end != std::string::npos; end = lines.find('\n', begin)) {
      list += lines.substr(begin, end - begin) + (destination.empty() ? "" : " " + Path(destination)) + "\n";
      begin = end + 1;
    }
    Write("in", list);
    fs::remove(home_ / "out.lis");
    return Take(server + " " + row, "true",
                Environment() + "backint -u ben -f restore -p par -i in -o ./out.lis") &&
           Do(check);
  }

  double Median(const std::string& row) {
    std::vector<double>& times = times_[row];
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
  }

  void PrintRow(const std::string& row, const std::string& beside, double aim) {
    const double ours = Median(row);
    const double other = Median(beside);
    std::printf("%-22s %6.2f  beside %-16s %6.2f  ratio %5.2f  aim %.2f\n", row.c_str(), ours, beside.c_str(),
                other, ours / other, aim);
  }

  void Print(const std::string& server) {
    PrintRow(server + " large", "tar large", 0.7);
    PrintRow(server + " generation", server + " large", 1.5);
    PrintRow(server + " small", "tar small", 1.0);
    times_["tar large"].clear();
    times_["tar small"].clear();
  }

  fs::path programs_;
  fs::path home_;
  std::mt19937_64 random_{1};
  std::map<std::string, std::string> lines_;
  std::map<std::string, std::vector<double>> times_;
};

}  // namespace

int main(int /*argc*/, char** argv) {
  return Bench(fs::canonical(argv[0]).parent_path()).Run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
