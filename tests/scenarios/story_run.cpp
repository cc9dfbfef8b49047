#include "scenarios/story_run.h"

#include <algorithm>
#include <future>
#include <memory>
#include <numeric>
#include <optional>
#include <regex>
#include <thread>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "scenarios/story.h"
#include "support/database.h"
#include "support/dice.h"
#include "support/object_store.h"
#include "support/switch_peer.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kAsHost = SCENARIO_DATA "/posix/as_host.sh";

class StoryRun {
 public:
  explicit StoryRun(const ScenarioText& story) : story_(story) {}

  // Carries out a section. What fails in it says where it is; a mistake in the story is a failure, too.
  void Carry(const Section& section) {
    const testing::ScopedTrace place(story_.source.c_str(), section.line, Place(section.head));
    try {
      CarryOut(section);
    } catch (const std::exception& mistake) {
      ADD_FAILURE() << mistake.what();
    }
  }

  void Finish() {
    if (outcome_ != nullptr) {
      const testing::ScopedTrace place(story_.source.c_str(), runLine_, Place("run"));
      if (!exitSeen_) {
        EXPECT_EQ(outcome_->exitStatus, 0) << "the story says no other exit status";
      }
      if (!resultSeen_) {
        EXPECT_EQ(Join(outcome_->result), "") << "the story expects no result line";
      }
    }
    exitSeen_ = resultSeen_ = false;
  }

 private:
  std::string Place(const std::string& head) const {
    return "--- " + head + (runs_ == 0 ? " (before the first run)" : " (run " + std::to_string(runs_) + ")");
  }

  void CarryOut(const Section& section) {
    Lines lines;
    for (const std::string& line : section.lines) {
      AddLine(lines, line);
    }
    const bool isMoverTrace = section.head.starts_with("mover trace");
    const std::size_t blank = section.head.find(' ', isMoverTrace ? 6 : 0);
    const std::string word = section.head.substr(0, blank);
    const std::string rest = blank == std::string::npos ? "" : Expand(section.head.substr(blank + 1));
    if (word == "run") {
      Finish();
      ++runs_;
      runLine_ = section.line;
      Run(rest);
    } else if (!Prepare(section.head, lines) && !Surround(word, rest, lines)) {
      Expect(word, rest, lines);
    }
  }

  void AddLine(Lines& lines, std::string line) const {
    static const std::regex numbers("\\{([0-9]+)-([0-9]+)\\}");
    static const std::regex number("\\{n\\}");
    std::smatch range;
    if (!std::regex_search(line, range, numbers, std::regex_constants::match_continuous)) {
      lines.push_back(Expand(line));
      return;
    }
    for (int n = std::stoi(range[1]); n <= std::stoi(range[2]); ++n) {
      lines.push_back(Expand(std::regex_replace(range.suffix().str(), number, std::to_string(n))));
    }
  }

  std::string Expand(const std::string& line) const {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
      const std::size_t end = line[i] == '{' ? line.find('}', i) : std::string::npos;
      if (end == std::string::npos) {
        text += line[i];
        continue;
      }
      text += Meaning(line.substr(i + 1, end - i - 1));
      i = end;
    }
    return text;
  }

  std::string Meaning(const std::string& name) const {
    const std::map<std::string, std::string> meanings = {
        {"NUL", std::string(1, '\0')},
        {"CR", "\r"},
        {"TAB", "\t"},
        {" ", " "},
        {"DIR", scenario_.Directory()},
        {"/", std::string(1, static_cast<char>(fs::path::preferred_separator))}};
    for (const auto& known : {meanings, ids_}) {
      if (const auto meaning = known.find(name); meaning != known.end()) {
        return meaning->second;
      }
    }
    static const std::regex byte("x[0-9A-F]{2}");
    static const std::regex repeated("([0-9]+)\\*([^]*)");
    std::smatch parts;
    if (std::regex_match(name, byte)) {
      return std::string(1, static_cast<char>(std::stoi(name.substr(1), nullptr, 16)));
    }
    if (!std::regex_match(name, parts, repeated)) {
      throw std::runtime_error("unknown macro: {" + name + "}");
    }
    std::string text;
    for (int i = std::stoi(parts[1]); i > 0; --i) {
      text += parts[2];
    }
    return text;
  }

  void MakeFile(const std::string& line) const {
    const std::size_t equals = line.find(" = ");
    const std::size_t random = line.find(" ~ ");
    const std::size_t blank = line.find(' ');
    if (line.back() == '\\') {
      fs::create_directories(scenario_.Path(line));
    } else if (equals != std::string::npos) {
      scenario_.WriteText(line.substr(0, equals), line.substr(equals + 3) + "\n");
    } else if (random != std::string::npos) {
      Dice dice(1);
      std::string bytes(std::stoull(line.substr(random + 3)), '\0');
      std::generate(bytes.begin(), bytes.end(), [&dice] { return static_cast<char>(dice.Below(256)); });
      scenario_.WriteText(line.substr(0, random), bytes);
    } else {
      scenario_.WriteText(line.substr(0, blank), "x");
      if (blank != std::string::npos) {
        MakeHole(scenario_.Path(line.substr(0, blank)), std::stoull(line.substr(blank)));
      }
    }
  }

  // As large as need be: the library's own operation ends at some gibibytes on one system.
  static void MakeHole(const fs::path& path, std::uint64_t size) {
    std::string why;
    fs::remove(path);
    EXPECT_TRUE(platform::DataFile::CreateNew(path.string(), why)->SetSize(size)) << why;
  }

  void MakePeer(const Lines& lines) {
    std::vector<std::optional<std::string>> logs;
    for (const std::string& line : lines) {
      if (line == "log" || line == "no log") {
        logs.emplace_back(line == "log" ? std::optional<std::string>("") : std::nullopt);
      } else {
        logs.back().value() += line + "\n";
      }
    }
    peer_ = support::SwitchPeer(scenario_.Path("sapbackup").string(), logs);
  }

  // Interrupts the run as soon as the file holds the text.
  void InterruptAt(const std::string& name, const std::string& text, int process) const {
    EXPECT_TRUE(scenario_.Await(name, text)) << name << ": " << text;
    EXPECT_TRUE(support::Interrupt(process));
    scenario_.WriteText("interrupted", "");
  }

  // False if the section is none that prepares a run.
  bool Prepare(const std::string& head, const Lines& lines) {
    if (head == "files") {
      std::for_each(lines.begin(), lines.end(), [this](const std::string& line) { MakeFile(line); });
    } else if (head == "age") {
      for (const std::string& line : lines) {
        scenario_.SetAge(line.substr(line.find(' ') + 1), std::stoi(line));
      }
    } else if (head == "remove") {
      for (const std::string& line : lines) {
        EXPECT_GT(fs::remove_all(scenario_.Path(line)), 0U) << line;
      }
    } else if (head == "environment") {
      for (const std::string& line : lines) {
        const std::size_t equals = line.find('=');
        scenario_.environment.erase(line.substr(0, equals));
        if (equals != std::string::npos) {
          scenario_.environment[line.substr(0, equals)] = line.substr(equals + 1);
        }
      }
    } else if (head == "parameters") {
      scenario_.parameters.insert(scenario_.parameters.end(), lines.begin(), lines.end());
    } else if (head == "parameter file") {
      scenario_.parameters = lines;
    } else if (head == "input") {
      scenario_.WriteText("in.lis", Join(lines));
    } else if (head == "standard input") {
      standardInput_ = Join(lines);
    } else if (head == "tools") {
      scenario_.script = Join(lines);
    } else if (head.starts_with("interrupt ")) {
      std::string text = Join(lines);
      text = text.substr(0, text.find_last_not_of('\n') + 1);
      scenario_.meanwhile = [this, before = scenario_.meanwhile, name = head.substr(10), text](int process) {
        before ? before(process) : void();
        InterruptAt(name, text, process);
      };
    } else if (head == "peer") {
      MakePeer(lines);
    } else {
      return head == "title";
    }
    return true;
  }

  // The same for what a run has around it.
  bool Surround(const std::string& word, const std::string& rest, const Lines& lines) {
    if (word == "lines") {
      scenario_.WriteText(rest, Join(lines));
    } else if (word == "shell") {
      Shell(Join(lines), 0);
    } else if (word == "meanwhile") {
      scenario_.meanwhile = [this, text = Join(lines)](int process) { Shell(text, process); };
    } else if (word == "program") {
      starter_ = Words(rest);
      starter_.push_back(scenario_.program);
      scenario_.program = starter_.front();
    } else if (word == "server") {
      scenario_.UseServer();
    } else if (word == "bucket" || word == "database") {
      UseRealServers(word == "bucket", word == "database" || rest.starts_with("and database"),
                     rest.ends_with("through TLS"));
    } else if (word == "host") {
      host_ = rest;
    } else if (word == "tool") {
      Call(rest);
    } else if (word == "job") {
      Call("xfr_com_interface -b open -C srv -v 2");
      Call("xfr_com_interface -b openjob:" + ids_["SESSION"] + " -C srv -j J -s ABC___1700000000 -v 2");
    } else if (word == "crowd") {
      TakeSaid(SayAtOnce(Words(rest)));
    } else if (word == "keep") {
      keptBare_ = rest.starts_with("bare ");
      kept_ = scenario_.Look(rest.substr(keptBare_ ? 5 : 0), keptBare_);
    } else if (word == "kept") {
      EXPECT_EQ(Join(scenario_.Look(rest, keptBare_)), Join(kept_)) << rest;
    } else if (word == "remember") {
      ids_[rest] = ids_["SAVESET"];
    } else if (word == "another" && rest == "run") {
      for (std::uint32_t position = 0; position < 4; ++position) {
        const std::string path = scenario_.Path("home\\saptrace\\backint.lock").string();
        claims_.push_back(platform::FileClaim::TryClaim(path, position));
      }
    } else {
      return false;
    }
    return true;
  }

  // What is in no bucket is in a directory; a catalog that is in no database is a file.
  void UseRealServers(bool bucket, bool database, bool tls) {
    const std::string directory = "repository = " + scenario_.Path("repository").string() + "\n";
    const std::string file = "catalog = " + scenario_.Path("catalog/prod.db").string() + "\n";
    scenario_.UseServerWith((bucket ? support::BucketSettings(tls) : directory) +
                            (database ? support::DatabaseSettings(tls) : file));
    for (const char* variable : {"XDG_STATE_HOME", "LOCALAPPDATA"}) {
      scenario_.environment[variable] = scenario_.Path("state").string();
    }
  }

  // In front of a command, and the command itself as its arguments: so that it runs on the host.
  std::string OnHost(std::string program, Lines& arguments) const {
    if (host_.empty()) {
      return program;
    }
    arguments.insert(arguments.begin(), {kAsHost, host_, std::move(program)});
    return "/bin/bash";
  }

  void Call(const std::string& words) {
    toolStatus_ = 0;
    TakeSaid(Say(Words(words), toolStatus_));
    TakeIds(said_);
  }

  // What a tool prints: a text on one stream, and what the program reads with every byte on the other.
  std::string Say(const Lines& words, int& status) const {
    Lines arguments(words.begin() + 1, words.end());
    const std::string program = OnHost(support::BuiltProgram(words.front()), arguments);
    const support::ProgramRun run =
        support::RunProgram(program, arguments, scenario_.environment, scenario_.Directory());
    EXPECT_GE(run.exitStatus, 0) << run.err;
    status = run.exitStatus;
    std::string out = run.out;
    out.erase(std::remove(out.begin(), out.end(), '\r'), out.end());
    return out + run.err;
  }

  std::string SayAtOnce(const Lines& words) const {
    std::vector<std::future<std::string>> callers(std::stoul(words.front()));
    for (auto& caller : callers) {
      caller = std::async(std::launch::async, [&] {
        int status = 0;
        return Say({words.begin() + 1, words.end()}, status);
      });
    }
    Lines said;
    std::transform(callers.begin(), callers.end(), std::back_inserter(said),
                   [](auto& one) { return one.get(); });
    std::sort(said.begin(), said.end());
    return std::accumulate(said.begin(), said.end(), std::string());
  }

  // Sessions and backup ids cannot be foretold.
  void TakeIds(const std::string& text) {
    static const std::regex told("(SESSIONID=|SAVESETNAME=|#SAVED )([^ \n]+)");
    int saved = 0;
    for (std::sregex_iterator id(text.begin(), text.end(), told), end; id != end; ++id) {
      ids_[(*id)[1] == "SESSIONID=" ? "SESSION" : "SAVESET"] = (*id)[2];
      ids_["SAVESET" + std::to_string(++saved)] = (*id)[2];
    }
  }

  void Shell(const std::string& commands, int process) {
    std::map<std::string, std::string> variables = scenario_.environment;
    variables.insert(ids_.begin(), ids_.end());
    variables["PATH"] = "/usr/bin:/bin";
    variables["TOOLS"] = Scenario::ToolsFolder();
    variables["BIN"] = platform::ProgramDirectory();
    variables["AS_HOST"] = kAsHost;
    variables["PROCESS"] = std::to_string(process);
    const support::ProgramRun run =
        support::RunProgram("/bin/sh", {"-ec", commands}, variables, scenario_.Directory(), "no input");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    TakeSaid(run.out + run.err);
  }

  // The server's tools tell on standard error where a backup goes, and what is wrong besides in the answer:
  // apart.
  void TakeSaid(const std::string& text) {
    said_.clear();
    noted_.clear();
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const bool note = line.starts_with("NOTE: ") || line.starts_with("xfr_com_interface: ");
      (note ? noted_ : said_) += line + (lines.eof() ? "" : "\n");
    }
  }

  void Run(const std::string& options) {
    const bool only = options.rfind("only", 0) == 0;
    const Lines words = Words(options.substr(only ? 4 : 0));
    Lines arguments = only ? words : Scenario::CallerOptions(words);
    arguments.insert(arguments.begin(), starter_.begin() + (starter_.empty() ? 0 : 1), starter_.end());
    const std::jthread peer([this](const std::stop_token& end) {
      while (!end.stop_requested() && peer_.Expected()) {
        peer_.Act();
        platform::SleepMilliseconds(5);
      }
    });
    const std::string program = scenario_.program;
    scenario_.program = OnHost(program, arguments);
    outcome_ = std::make_unique<Outcome>(scenario_.Run(arguments, standardInput_));
    scenario_.program = program;
    TakeIds(Join(outcome_->result));
    claims_.clear();
    if (scenario_.meanwhile) {
      scenario_.WriteText("over", "");
      EXPECT_TRUE(scenario_.MoverIsGone());
      scenario_.meanwhile = {};
    }
  }

  void Expect(const std::string& word, const std::string& rest, const Lines& lines) {
    const Outcome none;
    const Outcome& outcome = outcome_ == nullptr ? none : *outcome_;
    const std::map<std::string, std::string> texts = {{"said", said_},
                                                      {"noted", noted_},
                                                      {"result", Join(outcome.result)},
                                                      {"calls", Join(outcome.calls)},
                                                      {"trace", Join(outcome.trace)},
                                                      {"mover trace", Join(outcome.moverTrace)},
                                                      {"stdout", outcome.out},
                                                      {"stderr", outcome.err},
                                                      {"heard", peer_.Heard()}};
    const auto text = texts.find(word);
    if (word == "exit") {
      exitSeen_ = true;
      EXPECT_EQ(outcome.exitStatus, std::stoi(rest));
    } else if (word == "status") {
      EXPECT_EQ(toolStatus_, std::stoi(rest)) << said_;
    } else if (word == "there" || word == "gone") {
      for (const std::string& line : lines) {
        EXPECT_EQ(fs::exists(scenario_.Path(line)), word == "there") << line;
      }
    } else if (word == "file") {
      EXPECT_EQ(Join(scenario_.ReadText(rest)), Join(lines)) << rest;
    } else if (word == "folder") {
      Lines names;
      for (const auto& entry : fs::directory_iterator(scenario_.Path(rest))) {
        names.push_back(entry.path().filename().string());
      }
      std::sort(names.begin(), names.end());
      EXPECT_EQ(Join(names), Join(lines)) << rest;
    } else if (word == "refused" || word == "failed") {
      Lines answer = lines;
      answer.insert(word == "refused" ? answer.begin() : answer.end(),
                    word == "refused" ? "reply=ERROR" : "3053 Operation failed");
      ExpectNamed(said_, answer);
    } else if (text == texts.end()) {
      throw std::runtime_error("unknown section: --- " + word);
    } else if (rest == "has") {
      ExpectInOrder(text->second, lines);
    } else if (rest == "counts") {
      for (const std::string& line : lines) {
        const std::string counted = line.substr(line.find(' ') + 1);
        EXPECT_EQ(std::count_if(outcome.trace.begin(), outcome.trace.end(),
                                [&](const std::string& told) { return told.find(counted) < told.size(); }),
                  std::stoi(line))
            << line;
      }
    } else if (rest == "names") {
      ExpectNamed(text->second, lines);
    } else if (rest == "lacks") {
      for (const std::string& line : lines) {
        EXPECT_EQ(text->second.find(line), std::string::npos) << line;
      }
    } else if (rest.empty()) {
      resultSeen_ = resultSeen_ || word == "result";
      EXPECT_EQ(text->second, Join(lines));
    } else {
      throw std::runtime_error("unknown check: --- " + word + " " + rest);
    }
  }

  const ScenarioText& story_;
  int runs_ = 0;
  int runLine_ = 0;
  Scenario scenario_;
  support::SwitchPeer peer_{"", {}};
  std::string standardInput_;
  std::string said_;
  int toolStatus_ = 0;
  std::string noted_;
  std::map<std::string, std::string> ids_;
  Lines kept_;
  bool keptBare_ = false;
  Lines starter_;
  std::string host_;  // on which all runs; empty: this one
  std::vector<std::unique_ptr<platform::FileClaim>> claims_;
  std::unique_ptr<Outcome> outcome_;
  bool exitSeen_ = false;
  bool resultSeen_ = false;
};

}  // namespace

void TellStory(const ScenarioText& story) {
  StoryRun run(story);
  for (const Section& section : story.sections) {
    run.Carry(section);
  }
  run.Finish();
}

std::string NameOfStory(const testing::TestParamInfo<ScenarioText>& told) {
  std::string name = told.param.file + '_' + told.param.title;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}
