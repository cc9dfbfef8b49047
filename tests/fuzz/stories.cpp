#include "fuzz/stories.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "backint/base/mover_words.h"
#include "fuzz/fuzz.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

std::string WithCharacters(std::string text) {
  ReplaceAll(text, "{NUL}", std::string(1, '\0'));
  ReplaceAll(text, "{CR}", "\r");
  ReplaceAll(text, "{TAB}", "\t");
  ReplaceAll(text, "{ }", " ");
  return text;
}

void ReadStories(const fs::path& path, std::vector<Story>& stories) {
  std::vector<Section> before;
  Story* story = nullptr;
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    std::vector<Section>& sections = story == nullptr ? before : story->sections;
    if (line.starts_with("=== ")) {
      story = &stories.emplace_back(Story{before});
    } else if (line.starts_with("--- ")) {
      const std::string head = line.substr(4);
      const bool isCall = head.starts_with("run ") || head.starts_with("tool ");
      const std::size_t colon = isCall ? std::string::npos : head.find(": ");
      sections.push_back({head.substr(0, colon), ""});
      if (colon != std::string::npos) {
        sections.back().text = WithCharacters(head.substr(colon + 2)) + "\n";
      }
    } else if (!sections.empty()) {
      sections.back().text += WithCharacters(line) + "\n";
    }
  }
}

// What a script of the scripted tools says, as answers with their letters.
std::string Answers(const std::string& script, const std::vector<std::string>& items) {
  static const std::map<std::string, char> letters = {{"open", 'o'},   {"openjob", 'j'}, {"closejob", 'c'},
                                                      {"close", 'e'},  {"query", 'q'},   {"backup", 'm'},
                                                      {"restore", 'm'}};
  std::string answers;
  for (const std::string& line : LinesOf(script)) {
    if (line.starts_with("on ")) {
      std::istringstream words(line.substr(3));
      std::string verb;
      words >> verb;
      const auto letter = letters.find(verb);
      answers += Input::kMark;
      answers += letter == letters.end() ? '?' : letter->second;
    } else if (line.starts_with("!confirm")) {
      for (const std::string& item : items) {
        answers += kSaysItemDone.Line() + " [" + item.substr(item.rfind(' ') + 1) + "]\n";
      }
    } else if (!line.starts_with('!')) {
      answers += line + "\n";
    }
  }
  return answers;
}

std::string FunctionOf(const Story& story) {
  for (const Section& section : story.sections) {
    const std::size_t at = section.name.starts_with("run") ? section.name.find("-f ") : std::string::npos;
    if (at != std::string::npos) {
      return section.name.substr(at + 3, section.name.find(' ', at + 3) - at - 3);
    }
  }
  return "backup";
}

}  // namespace

std::vector<Story> Stories() {
  std::vector<Story> stories;
  for (const auto& entry : fs::recursive_directory_iterator(SOURCE_FOLDER "/tests/scenarios/data")) {
    if (entry.path().extension() == ".txt") {
      ReadStories(entry.path(), stories);
    }
  }
  Require(stories.size() > 100, "the tests' stories are found");
  return stories;
}

std::string SourceFile(const std::string& name) {
  std::ifstream file(std::string(SOURCE_FOLDER "/") + name, std::ios::binary);
  Require(file.is_open(), "a file of the sources is there", name);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> ListsWithAnswers(const std::string& function) {
  std::vector<std::string> inputs;
  for (const Story& story : Stories()) {
    if (FunctionOf(story) != function) {
      continue;
    }
    std::string list;
    std::string script;
    for (const Section& section : story.sections) {
      list = section.name == "input" || section.name == "standard input" ? section.text : list;
      script = section.name == "tools" ? section.text : script;
    }
    if (!list.empty()) {
      inputs.push_back(list + Answers(script, LinesOf(list)));
    }
  }
  std::sort(inputs.begin(), inputs.end());
  inputs.erase(std::unique(inputs.begin(), inputs.end()), inputs.end());
  return inputs;
}

}  // namespace fuzz
