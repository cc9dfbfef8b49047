// What a line of the data mover says by itself: the status of the whole run, or that an item was processed
// and which path it has.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The codes of status lines.
inline constexpr int kNoCode = 0;
inline constexpr int kSuccessful = 3007;
inline constexpr int kSuccessfulWithWarnings = 2032;
inline constexpr int kOperationFailed = 3053;
inline constexpr int kSavesetEmpty = 2002;
inline constexpr int kCannotWrite = 2045;
inline constexpr int kNothingProcessed = -3052;

// The code of a line; kNoCode if it is no status line.
[[nodiscard]] int StatusCode(std::string_view line);

// Whether the line contains the text that confirms an item.
[[nodiscard]] bool IsItemLine(std::string_view line);

// The line up to its last "]", without it; the whole line if there is none.
[[nodiscard]] std::string_view UpToLastBracket(std::string_view line);

// The path that a line names, between its first "[" and its last "]". Nothing if one of them is missing.
[[nodiscard]] std::optional<std::string> ReportedPath(std::string_view line);
