// The text of a scenario, taken apart, and how a text is held against its lines.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <ostream>
#include <sstream>

#include "support/scenario.h"

struct Section {
  std::string head;
  Lines lines;
};

struct ScenarioText {
  std::string file;
  std::string title;
  std::vector<Section> sections;
};
inline std::ostream& operator<<(std::ostream& stream, const ScenarioText& text) {
  return stream << text.file << ": " << text.title;
}

inline void TakeLine(std::vector<Section>& sections, const std::string& line) {
  if (line.rfind("--- ", 0) == 0) {
    sections.push_back({line.substr(4), {}});
  } else if (!sections.empty()) {
    sections.back().lines.push_back(line);
  }
}

inline std::vector<ScenarioText> ReadScenarios(const std::string& directory) {
  std::vector<ScenarioText> scenarios;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() != ".txt") {
      continue;
    }
    std::ifstream stream(entry.path());
    std::vector<Section> preamble;
    const std::string file = entry.path().stem().string();
    bool inPreamble = true;
    for (std::string line; std::getline(stream, line);) {
      if (line.rfind("=== ", 0) == 0) {
        inPreamble = false;
        scenarios.push_back({file, line.substr(4), preamble});
        scenarios.back().sections.push_back({"title", {}});
      } else {
        TakeLine(inPreamble ? preamble : scenarios.back().sections, line);
      }
    }
  }
  for (ScenarioText& scenario : scenarios) {
    for (Section& section : scenario.sections) {
      while (!section.lines.empty() && section.lines.back().empty()) {
        section.lines.pop_back();
      }
    }
  }
  return scenarios;
}

// Parted at blanks, but for those between quotes.
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
