// The words of an input line.
#pragma once

#include <string>
#include <vector>

// Splits a line at blanks; a run of blanks counts as one separator, and nothing but the blank separates.
// Where more than one blank stands in front of a word, the word keeps one of them as its first character.
[[nodiscard]] std::vector<std::string> SplitTokens(const std::string& line);
