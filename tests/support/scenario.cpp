#include "support/scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <regex>
#include <sstream>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "platform/tree.h"

namespace {

namespace fs = std::filesystem;

Lines SplitLines(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

Lines FileLines(const fs::path& path) {
  return fs::is_regular_file(path) ? SplitLines(support::ReadWholeFile(path)) : Lines();
}

// The lines of a text file of this system, without what stands in front of their line feeds on Windows.
Lines WithSystemEnds(Lines lines) {
  for (std::string& line : lines) {
    if (fs::path::preferred_separator == '\\' && !line.empty() && line.back() == '\r') {
      line.pop_back();
    }
  }
  return lines;
}

// The name that the program proposes for a saveset holds the time.
std::string WithoutTime(const std::string& text) {
  static const std::regex proposed("ABC_{3}[0-9]{10}");
  return text.find("ABC_") == std::string::npos ? text : std::regex_replace(text, proposed, "ABC___<TIME>");
}

// A trace line without process, time and line number.
std::string Message(const std::string& line) {
  static const std::regex head("^KVB:\\([0-9]+\\): [0-9]{6}: *([^:]*):\\( *[0-9]+\\):: ");
  std::smatch parts;
  if (!std::regex_search(line, parts, head)) {
    return "| " + line;
  }
  return parts[1].str() + ": " + WithoutTime(parts.suffix().str());
}

Lines Messages(Lines lines) {
  for (std::string& line : lines) {
    const bool ended = line.ends_with('\r');
    line = Message(line.substr(0, line.size() - (ended ? 1 : 0)) + (ended ? "" : "<no CR LF>"));
  }
  return lines;
}

std::string Described(const fs::path& path, bool bare) {
  const fs::file_status status = fs::symlink_status(path);
  if (status.type() == fs::file_type::symlink) {
    return "link to " + fs::read_symlink(path).string();
  }
  const bool directory = status.type() == fs::file_type::directory;
  const std::string content =
      directory ? "directory" : std::to_string(std::hash<std::string>()(support::ReadWholeFile(path)));
  return directory && bare ? content
                           : content + ' ' + std::to_string(static_cast<unsigned>(status.permissions())) +
                                 ' ' + std::to_string(fs::last_write_time(path).time_since_epoch().count());
}

}  // namespace

Scenario::Scenario() {
  for (const char* name : {"home/saptrace", "oracle/Database", "sapbackup", "saparch", "data", "out"}) {
    fs::create_directories(Path(name));
  }
  environment = {{"BI_CALLER", "BRBACKUP"}, {"BI_BACKUP", "FULL"},    {"BI_REQUEST", "NEW"},
                 {"ORACLE_HOME", "oracle"}, {"SAPDATA_HOME", "home"}, {"SAPBACKUP", "sapbackup"},
                 {"SAPARCH", "saparch"},    {"ORACLE_SID", "ABC"},    {"SCRIPT", "script.txt"},
                 {"PATH", ToolsFolder()}};
  // A look for leaks takes longer than most tools run: it is for the tests that work in their own process.
  environment["ASAN_OPTIONS"] = "detect_leaks=0";
  for (const char* name : {"TEMP", "TMP", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name)) {
      environment[name] = value;
    }
  }
  parameters = {"KORVO_SERVER=srv",
                "KORVO_JOB=job",
                "KORVO_POOL=pool",
                "XFR=xfr",
                "XFR_COM_INTERFACE=xfr_com_interface",
                "KORVO_RAW_UTIL=raw"};
}

Scenario::~Scenario() {
  const char* kept = std::getenv("KEEP_FAILED");
  if (kept != nullptr && std::string(kept) == "1" && testing::Test::HasFailure()) {
    directory_.Keep();
    std::cout << "The directory of this run is kept: " << Directory() << "\n";
  }
}

std::string Scenario::ToolsFolder() {
  return (fs::path(platform::ProgramDirectory()).parent_path() / "scripted").string();
}

fs::path Scenario::Path(const std::string& name) const {
  std::string native = name;
  std::replace(native.begin(), native.end(), '\\', '/');
  return fs::path(directory_.Path()) / native;
}

void Scenario::UseServer() { UseServerWith("repository=" + Path("repository").string() + "\n"); }

void Scenario::UseServerWith(const std::string& settings) {
  support::WriteForOwner(Path("korvo.ini").string(), "[srv]\n" + settings);
  environment["KORVO_CONFIG"] = Path("korvo.ini").string();
  environment["PATH"] = platform::ProgramDirectory();
}

Lines Scenario::Look(const std::string& name, bool bare) const {
  Lines lines = {Described(Path(name), bare)};
  for (const auto& entry : fs::recursive_directory_iterator(Path(name))) {
    lines.push_back(entry.path().lexically_relative(Path(name)).generic_string() + ": " +
                    Described(entry.path(), bare));
  }
  std::sort(lines.begin() + 1, lines.end());
  return lines;
}

void Scenario::SetAge(const std::string& name, int days) const {
  std::string why;
  platform::Entry entry;
  const bool read = platform::ReadEntry(Path(name).string(), entry, why);
  entry.facts.modified.seconds -= days * 86400LL;
  // The library does this for directories on one system only.
  if (fs::is_directory(Path(name))) {
    EXPECT_TRUE(read && platform::SetDirectoryFacts(Path(name).string(), entry.facts, why)) << why;
  } else {
    fs::last_write_time(Path(name), fs::file_time_type::clock::now() - std::chrono::hours(days * 24));
  }
}

void Scenario::WriteText(const std::string& name, const std::string& text) const {
  fs::create_directories(Path(name).parent_path());
  support::WriteWholeFile(Path(name), text);
}

Lines Scenario::ReadText(const std::string& name) const { return WithSystemEnds(FileLines(Path(name))); }

Lines Scenario::NewLines(const std::string& name) {
  Lines lines = FileLines(Path(name));
  std::size_t& seen = seen_[name];
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(seen, lines.size())));
  seen += lines.size();
  return lines;
}

bool Scenario::Await(const std::string& name, const std::string& text) const {
  const std::string path = Path(name).string();
  const auto there = [&] {
    return fs::exists(path) && support::ReadWholeFile(path).find(text) != std::string::npos;
  };
  for (int i = 0; i < 6000 && !there(); ++i) {
    platform::SleepMilliseconds(10);
  }
  return there();
}

bool Scenario::MoverIsGone() const {
  const std::string path = Path("script.txt.mover").string();
  for (int i = 0; i < 500 && platform::FileClaim::TryClaim(path, 0) == nullptr; ++i) {
    platform::SleepMilliseconds(10);
  }
  return platform::FileClaim::TryClaim(path, 0) != nullptr;
}

Lines Scenario::CallerOptions(const Lines& more) {
  Lines options = {"-u", "sap", "-p", "par.txt", "-i", "in.lis", "-o", "out\\result.lis"};
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

Outcome Scenario::Run(const Lines& arguments, const std::string& standardInput) {
  WriteText("par.txt", Join(parameters));
  WriteText("script.txt", script);
  support::ProgramRun run =
      support::RunProgram(program, arguments, environment, Directory(), standardInput, meanwhile);
  Outcome outcome;
  outcome.exitStatus = run.exitStatus;
  outcome.out = run.out;
  outcome.err = run.err;
  outcome.result = WithSystemEnds(NewLines("out\\result.lis"));
  for (std::string* text : {&outcome.out, &outcome.err}) {
    text->erase(std::remove(text->begin(), text->end(), '\r'), text->end());
  }
  outcome.calls = NewLines("script.txt.calls");
  for (std::string& line : outcome.calls) {
    line = WithoutTime(line);
  }
  const auto sid = environment.find("ORACLE_SID");
  const std::string tail = "_" + (sid == environment.end() ? "" : sid->second) + ".log";
  outcome.trace = Messages(NewLines("backint"));  // where lines go before the paths are known
  const Lines trace = Messages(NewLines("home\\saptrace\\backint" + tail));
  outcome.trace.insert(outcome.trace.end(), trace.begin(), trace.end());
  outcome.moverTrace = Messages(NewLines("home\\saptrace\\xfr" + tail));
  return outcome;
}

std::string Join(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + '\n';
  }
  return text;
}
