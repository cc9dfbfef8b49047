// The tests' own stories, as inputs to start from.
#pragma once

#include <string>
#include <vector>

namespace fuzz {

struct Section {
  std::string name;
  std::string text;  // with the characters that its macros stand for
};
struct Story {
  std::vector<Section> sections;  // those in front of the file's first story included
};

[[nodiscard]] std::vector<Story> Stories();
// A file of the sources, as it is.
[[nodiscard]] std::string SourceFile(const std::string& name);

// The lists and answers of the stories about one function: its list, and behind it what the tools print, a
// letter for the verb in front of each answer (tools.h).
[[nodiscard]] std::vector<std::string> ListsWithAnswers(const std::string& function);

}  // namespace fuzz
