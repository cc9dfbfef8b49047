// Names as the store keeps, finds and shows them.
#pragma once

#include <string>
#include <string_view>

namespace store {

// The most bytes of a saveset name, of a section name (a search for it includes its brackets), and of one
// line of a list.
inline constexpr std::size_t kSavesetNameWidth = 31;
inline constexpr std::size_t kSectionNameWidth = 61;
inline constexpr std::size_t kItemNameWidth = 20479;

// The database that a proposed saveset name was made for: what is in front of the ten digits of the time,
// without the underscores that pad it. A name without such digits only loses the underscores at its end.
[[nodiscard]] std::string DatabaseOfProposedName(std::string_view proposed);
// The database of a query in the same form.
[[nodiscard]] std::string DatabaseOfSid(std::string_view sid);

// The name as a reply shows it: %20 for each space, since a value in a reply ends at its first space.
[[nodiscard]] std::string ListedName(std::string_view name);

// The name without the separators at its end; empty if it consists of nothing else.
[[nodiscard]] std::string_view WithoutEndSeparators(std::string_view name);
// A text that all names of one item have in common: all separators are `/`, none is at the end, and where the
// system ignores letter case the letters are in upper case. Machines of several kinds may share a catalog. So
// a full Windows path (with a drive, or two backslashes in front) has the same key on each of them, as long
// as it has no letters beyond A to Z.
[[nodiscard]] std::string ItemKey(std::string_view name);
[[nodiscard]] bool IsWindowsPath(std::string_view name);
// Whether `a` comes before `b`. In this order, names in a Windows directory that have the same key are
// neighbours.
[[nodiscard]] bool ComesBefore(std::string_view a, std::string_view b);
[[nodiscard]] bool DifferInCaseAlone(std::string_view a, std::string_view b);
// The directory that the item is in, as the name spells it; empty if the name has none, or only a root.
[[nodiscard]] std::string_view ParentOf(std::string_view name);

// Whether the text matches the pattern: `*` stands for any text, `?` for one character (in UTF-8 with all its
// bytes), anything else for itself.
[[nodiscard]] bool MatchesPattern(std::string_view text, std::string_view pattern);

// Whether a component of the name is `.` or `..`: where such a name leads depends on the program that reads
// it.
[[nodiscard]] bool HasDots(std::string_view name);

// The text as one line: `?` for each line break, and for a carriage return at the end, which would be taken
// for a part of the line's end.
[[nodiscard]] std::string OneLine(std::string_view text);
// The text as a terminal may get it, with `?` for each control character: names come from elsewhere, and
// could move the cursor, erase what is shown, or worse. The control characters above 0x7f are replaced only
// if the text may be `utf8`: in other code pages these bytes are letters.
[[nodiscard]] std::string Harmless(std::string_view text, bool utf8);

}  // namespace store
