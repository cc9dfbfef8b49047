// What a line of the data mover says by itself: a status of the whole run, or that an item was processed, and
// under which path.
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

// Whether the line has the text of one that confirms an item.
[[nodiscard]] bool IsItemLine(std::string_view line);

// The line without what stands behind its last "]", and without that.
[[nodiscard]] std::string_view UpToLastBracket(std::string_view line);

// The path that a line names: between its first "[" and its last "]". None without both.
[[nodiscard]] std::optional<std::string> ReportedPath(std::string_view line);
