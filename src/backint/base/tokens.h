// The words of an input line.
#pragma once

#include <string>
#include <vector>

// Splits a line at spaces. Several spaces in a row are one separator; no other character separates. If more
// than one space comes before a word, the word keeps one of them as its first character.
[[nodiscard]] std::vector<std::string> SplitTokens(const std::string& line);
