#include "support/postgres_server.h"

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/data_file.h"

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrograms = "/usr/lib/postgresql";
constexpr const char* kUser = "postgres";  // of the package; the server does not run as root

std::string FolderOfPrograms() {
  fs::path newest;
  std::error_code none;
  for (const fs::directory_entry& entry : fs::directory_iterator(kPrograms, none)) {
    if (fs::exists(entry.path() / "bin" / "initdb") && entry.path() > newest) {
      newest = entry.path();
    }
  }
  if (newest.empty()) {
    throw std::runtime_error("PostgreSQL's programs are missing: install the package postgresql");
  }
  return newest / "bin";
}

// Gives the rest of this process to the server's user, if it is root's.
void BecomeUser() {
  const passwd* user = getuid() == 0 ? getpwnam(kUser) : nullptr;
  if (user != nullptr && (setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)) {
    _exit(126);
  }
}

pid_t StartProgram(std::vector<std::string> words, const std::string& log) {
  std::vector<char*> arguments;
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    dup2(null, 0);
    dup2(output, 1);
    dup2(output, 2);
    for (int number = 1; number < 32; ++number) {
      signal(number, SIG_DFL);
    }
    setpgid(0, 0);
    BecomeUser();
    // However this program ends.
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  return child;
}

void Own(const fs::path& path) {
  const passwd* user = getuid() == 0 ? getpwnam(kUser) : nullptr;
  if (user != nullptr && lchown(path.c_str(), user->pw_uid, user->pw_gid) != 0) {
    throw std::runtime_error("cannot give " + path.string() + " away");
  }
}

// Empty databases take longer to make than to copy.
fs::path Template() {
  const fs::path made = fs::path(platform::ProgramDirectory()).parent_path() / "postgres-template";
  if (fs::exists(made)) {
    return made;
  }
  const TemporaryDirectory work;
  const std::string data = work.File("data");
  Own(work.Path());
  const pid_t child = StartProgram({FolderOfPrograms() + "/initdb", "-D", data, "-U", "korvo", "--auth=trust",
                                    "-E", "UTF8", "--locale=C", "--no-sync", "--wal-segsize=1"},
                                   work.File("log"));
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) {
    throw std::runtime_error("initdb failed: " + ReadWholeFile(work.File("log")));
  }
  // Several test programs may be first.
  const fs::path copy = made.string() + "." + std::to_string(getpid());
  fs::copy(data, copy, fs::copy_options::recursive);
  std::error_code taken;
  fs::rename(copy, made, taken);
  if (taken) {
    fs::remove_all(copy);
  }
  return made;
}

}  // namespace

PostgresServer& PostgresServer::OfThisProgram() {
  static PostgresServer server;
  return server;
}

std::string PostgresServer::UrlIn(const std::string& directory) {
  return "postgresql://korvo@/postgres?host=" + directory;
}

PostgresServer::PostgresServer() {
  const fs::path data = directory_.File("data");
  fs::copy(Template(), data, fs::copy_options::recursive);
  Own(directory_.Path());
  Own(data);
  chmod(data.c_str(), 0700);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(data)) {
    Own(entry.path());
  }
  Start();
}

PostgresServer::~PostgresServer() { Crash(); }

void PostgresServer::Start() {
  signal(SIGCHLD, SIG_DFL);
  const std::string log = directory_.File("log");
  process_ = StartProgram(
      {FolderOfPrograms() + "/postgres", "-D", directory_.File("data"), "-k", Sockets(), "-c",
       "listen_addresses=", "-c", "fsync=off", "-c", "max_connections=60", "-c", "shared_buffers=16MB"},
      log);
  for (int tries = 0; !IsReady(); ++tries) {
    if (tries == 3000 || waitpid(process_, nullptr, WNOHANG) == process_) {
      process_ = 0;
      throw std::runtime_error("PostgreSQL did not start: " + ReadWholeFile(log));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// The server's own note says when it lets others in.
bool PostgresServer::IsReady() const {
  constexpr int kLineOfState = 8;
  std::ifstream file(directory_.File("data") + "/postmaster.pid");
  std::string line;
  int number = 0;
  while (number < kLineOfState && std::getline(file, line)) {
    ++number;
  }
  return number == kLineOfState && line.starts_with("ready");
}

void PostgresServer::Crash() {
  if (process_ != 0) {
    kill(process_, SIGQUIT);
    waitpid(process_, nullptr, 0);
    process_ = 0;
    fs::remove(directory_.File("data") + "/postmaster.pid");
  }
}

}  // namespace support
