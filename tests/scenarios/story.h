// The text of a story, taken apart, and how a text is compared with its lines.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <ostream>
#include <sstream>

#include "support/scenario.h"

struct Section {
  std::string head;
  int line = 0;  // of the head in its file, for messages
  Lines lines;
};

struct ScenarioText {
  std::string file;    // its name without directory and ending
  std::string source;  // its path in the project
  std::string title;
  std::vector<Section> sections;
};
inline std::ostream& operator<<(std::ostream& stream, const ScenarioText& text) {
  return stream << text.file << ": " << text.title;
}

inline void TakeLine(std::vector<Section>& sections, const std::string& line, int number) {
  if (line.rfind("--- ", 0) == 0) {
    // A section of one line may have it in its head.
    const std::string head = line.substr(4);
    const bool isCall = head.starts_with("run ") || head.starts_with("tool ");
    const std::size_t colon = isCall ? std::string::npos : head.find(": ");
    sections.push_back({head.substr(0, colon), number, {}});
    if (colon != std::string::npos) {
      sections.back().lines.push_back(head.substr(colon + 2));
    }
  } else if (!sections.empty()) {
    sections.back().lines.push_back(line);
  }
}

// The stories of one file. What comes before the first belongs to each of them.
inline std::vector<ScenarioText> ReadStories(std::istream& stream, const std::string& file,
                                             const std::string& source) {
  std::vector<ScenarioText> stories;
  std::vector<Section> preamble;
  int number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.rfind("=== ", 0) == 0) {
      stories.push_back({file, source, line.substr(4), preamble});
      stories.back().sections.push_back({"title", number, {}});
    } else {
      TakeLine(stories.empty() ? preamble : stories.back().sections, line, number);
    }
  }
  for (ScenarioText& story : stories) {
    for (Section& section : story.sections) {
      while (!section.lines.empty() && section.lines.back().empty()) {
        section.lines.pop_back();
      }
    }
  }
  return stories;
}

inline std::vector<ScenarioText> ReadScenarios(const std::string& directory) {
  std::vector<ScenarioText> scenarios;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".txt") {
      std::ifstream stream(entry.path());
      const std::string path = entry.path().generic_string();
      const auto stories =
          ReadStories(stream, entry.path().stem().string(), path.substr(path.find("tests/scenarios/")));
      scenarios.insert(scenarios.end(), stories.begin(), stories.end());
    }
  }
  return scenarios;
}

// Split at spaces, except for those between quotes.
inline Lines Words(const std::string& text) {
  Lines words;
  bool inWord = false;
  bool quoted = false;
  for (const char c : text) {
    quoted = quoted != (c == '"');
    const bool between = c == ' ' && !quoted;
    if (!between && !inWord) {
      words.emplace_back();
    }
    inWord = !between;
    if (inWord && c != '"') {
      words.back() += c;
    }
  }
  return words;
}

inline void ExpectNamed(const std::string& text, const Lines& lines) {
  std::istringstream stream(text);
  std::string line;
  for (const std::string& expected : lines) {
    EXPECT_TRUE(std::getline(stream, line)) << "missing: " << expected;
    const std::size_t left = expected.find(" ... ");
    const std::size_t first = line.find(expected.substr(0, left));
    const std::string rest = left == std::string::npos ? "" : expected.substr(left + 5);
    EXPECT_NE(first, std::string::npos) << expected << "\nin: " << text;
    EXPECT_NE(line.find(rest, std::min(first, line.size())), std::string::npos)
        << expected << "\nin: " << text;
  }
  EXPECT_FALSE(std::getline(stream, line)) << "more than expected: " << text;
}

inline void ExpectInOrder(const std::string& text, const Lines& lines) {
  std::size_t position = 0;
  const std::string whole = '\n' + text;
  for (const std::string& line : lines) {
    const std::size_t found = whole.find('\n' + line + '\n', position);
    if (found == std::string::npos) {
      ADD_FAILURE() << "missing, or out of order: " << line << "\nin:\n" << text.substr(0, 20000);
      return;
    }
    position = found + line.size() + 1;
  }
}
