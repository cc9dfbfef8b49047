// Stands in for both tools of the backup product. The page beside the scenarios tells the language of its
// scripts.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace {

using Lines = std::vector<std::string>;

std::string Native(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

// As bytes: a script holds what no text reader keeps.
Lines ReadLines(const std::string& path) {
  Lines lines;
  std::ifstream file(Native(path), std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string Shown(const std::string& argument) {
  static const std::regex quote("\"");
  const bool plain = !argument.empty() && argument.find_first_of(" \t\"") == std::string::npos;
  return plain ? argument : '"' + std::regex_replace(argument, quote, "\\\"") + '"';
}

// What the tool was called for.
struct Call {
  bool control = false;
  std::string verb;
  std::string destination;
  Lines items;      // the mover's
  Lines listLines;  // of the list file it got, as they stand
  std::string text;
  int ordinal = 1;
};

void TakeList(Call& call, std::string path) {
  if (path.rfind("@file:", 0) == 0) {
    path.erase(0, 6);
  }
  call.listLines = ReadLines(path);
  for (std::string& line : call.listLines) {
    line.erase(line.size() - (line.ends_with('\r') ? 1 : 0));
    const std::size_t first = line.find_first_not_of(" \t");
    if (first != std::string::npos) {
      call.items.push_back(line.substr(first, line.find_last_not_of(" \t") - first + 1));
    }
  }
}

Call Understand(const Lines& arguments) {
  Call call;
  const auto at = [&](std::size_t i) { return i < arguments.size() ? arguments[i] : std::string(); };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    call.control = call.control || arguments[i] == "-C";
    if (arguments[i] == "-R") {
      call.destination = at(i + 1);
    }
  }
  call.text = call.control ? "xfr_com_interface" : "xfr";
  for (const std::string& argument : arguments) {
    call.text += ' ' + Shown(argument);
  }
  if (call.control) {
    call.verb = at(0) == "-q" ? "query" : at(1).substr(0, at(1).find(':'));
    return call;
  }
  call.verb = at(0) == "-b" ? "backup" : "restore";
  std::size_t i = 0;
  while (i < arguments.size() && arguments[i] != "-v") {
    ++i;
  }
  if (at(i + 2) == "-f") {
    TakeList(call, at(i + 3));
  } else {
    for (i += 2; i < arguments.size(); ++i) {
      call.items.push_back(arguments[i]);
    }
  }
  return call;
}

// Counts the verb's calls (in SCRIPT.verbs) and writes this one down.
void Record(Call& call, const std::string& script) {
  for (const std::string& verb : ReadLines(script + ".verbs")) {
    call.ordinal += verb == call.verb ? 1 : 0;
  }
  std::ofstream(script + ".verbs", std::ios::binary | std::ios::app) << call.verb << '\n';
  std::ofstream calls(script + ".calls", std::ios::binary | std::ios::app);
  calls << call.text << '\n';
  for (const std::string& line : call.listLines) {
    calls << "  " << line << '\n';
  }
}

Lines DefaultAnswer(const Call& call) {
  if (!call.control) {
    return {"!confirm all", "3007 Operation successful"};
  }
  Lines lines = {"reply=OK"};
  if (call.verb == "open") {
    lines.push_back("SESSIONID=17");
  } else if (call.verb == "openjob") {
    lines.insert(lines.end(), {"JOBNAME=job", "TAPE_SERVER=tape1"});
    if (call.text.find(" -b ") != std::string::npos) {
      lines.push_back("SAVESETNAME=SET" + std::to_string(call.ordinal) + "@tail");
    }
  }
  return lines;
}

Lines FindAnswer(const Call& call, const Lines& script) {
  std::map<std::string, Lines> answers;
  std::string head;
  for (const std::string& line : script) {
    if (line.starts_with("on ")) {
      head = line;
      answers[head].clear();
    } else {
      answers[head].push_back(line);
    }
  }
  const std::string forAll = "on " + call.verb;
  for (const std::string& wanted : {forAll + ' ' + std::to_string(call.ordinal), forAll}) {
    if (const auto answer = answers.find(wanted); answer != answers.end()) {
      return answer->second;
    }
  }
  return DefaultAnswer(call);
}

// The path that a mover reports for an item.
std::string ReportedPath(const std::string& item, const Call& call) {
  const std::string name = platform::ToSystemForm(item);
  if (call.destination.empty()) {
    return name;
  }
  const std::size_t last = platform::LastSeparator(name);
  const char separator = platform::SeparatorOf(call.destination);
  const bool ended = call.destination.back() == separator;
  return call.destination + (ended ? "" : std::string(1, separator)) +
         (last == std::string::npos ? name : name.substr(last + 1));
}

class Player {
 public:
  explicit Player(const Call& call)
      : call_(call), out_(call.control ? stdout : stderr), other_(call.control ? stderr : stdout) {
    std::setvbuf(out_, buffer_, _IOFBF, sizeof buffer_);
  }

  // Returns the exit status.
  int Play(const Lines& answer) {
    for (const std::string& line : answer) {
      const std::size_t blank = line.find(' ');
      const std::string word = line.substr(0, blank);
      const std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
      if (word == "!exit") {
        std::fflush(nullptr);
        return std::atoi(rest.c_str());
      }
      if (word[0] == '!') {
        Do(word, rest);
      } else {
        Print(out_, line);
      }
    }
    std::fflush(nullptr);
    return 0;
  }

 private:
  static void Print(std::FILE* stream, const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fputc('\n', stream);
  }

  void Do(const std::string& word, const std::string& rest) {
    if (word == "!confirm") {
      Confirm(rest);
    } else if (word == "!repeat") {
      for (int i = std::stoi(rest); i > 0; --i) {
        Print(out_, rest.substr(rest.find(' ') + 1));
      }
    } else if (word == "!other") {
      Print(other_, rest);
      std::fflush(other_);
    } else if (word == "!delete") {
      platform::RemoveFile(rest);
    } else if (word == "!directory") {
      std::filesystem::create_directory(Native(rest));
    } else {
      std::fflush(nullptr);
      Act(word, rest);
    }
  }

  // When all that was printed before is there.
  void Act(const std::string& word, const std::string& rest) {
    if (word == "!wait") {
      for (int waited = 0; waited < std::stoi(rest) && !platform::Interrupted(); waited += 10) {
        platform::SleepMilliseconds(10);
      }
    } else if (word == "!watch") {
      platform::WatchInterrupts();
    } else if (word == "!await") {
      for (int i = 0; i < 6000 && !platform::Exists(rest); ++i) {
        platform::SleepMilliseconds(10);
      }
    } else if (word == "!die") {
      std::signal(SIGTERM, SIG_DFL);
      std::raise(SIGTERM);
    } else {
      Print(out_, "unknown word in the script: " + word);
    }
  }

  void Confirm(const std::string& which) {
    const std::string wanted = ' ' + which + ' ';
    for (std::size_t i = 0; i < call_.items.size(); ++i) {
      if (which == "all" || wanted.find(' ' + std::to_string(i + 1) + ' ') != std::string::npos) {
        Print(out_, "-3108 Item processed successfully [" + ReportedPath(call_.items[i], call_) + "]");
      }
    }
  }

  const Call& call_;
  std::FILE* out_;
  std::FILE* other_;
  char buffer_[65536] = {};
};

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  const char* script = std::getenv("SCRIPT");
  if (script == nullptr) {
    std::fputs("scripted tool: SCRIPT is not set\n", stderr);
    return 99;
  }
  Call call = Understand(Lines(argv + (argc > 0 ? 1 : 0), argv + argc));
  Record(call, script);
  const auto alive =
      call.control ? nullptr : platform::FileClaim::TryClaim(std::string(script) + ".mover", 0);
  static Player player(call);
  return player.Play(FindAnswer(call, ReadLines(script)));
}
