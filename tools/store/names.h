// Names as the store keeps, finds and shows them.
#pragma once

#include <string>
#include <string_view>

namespace store {

// Most characters of a saveset name, of a section name (its brackets go along in the search for it) and of
// one line of a list.
inline constexpr std::size_t kSavesetNameWidth = 31;
inline constexpr std::size_t kSectionNameWidth = 61;
inline constexpr std::size_t kItemNameWidth = 20479;

// The database that a proposed saveset name was made for: what stands in front of the ten digits of the time
// and the underscores that pad it. A name without such digits loses its underscores alone.
[[nodiscard]] std::string DatabaseOfProposedName(std::string_view proposed);
// The database of a query, in the form that the above gives.
[[nodiscard]] std::string DatabaseOfSid(std::string_view sid);

// The name as a reply shows it: %20 for each blank, since a value of a reply ends at its first blank.
[[nodiscard]] std::string ListedName(std::string_view name);

// The name without the separators at its end; one that is nothing else is empty then.
[[nodiscard]] std::string_view WithoutEndSeparators(std::string_view name);
// What the names of one item have in common: all separators are `/`, and where the system takes no notice of
// the case of letters they are in upper case. Machines of several kinds may share a catalog: on each of them
// a full path of Windows (with a drive, or two backslashes in front) has the same key, as long as it has no
// letters beyond A to Z.
[[nodiscard]] std::string ItemKey(std::string_view name);
[[nodiscard]] bool IsWindowsPath(std::string_view name);
// Whether `a` comes before `b` in an order in which names of one key, in a directory of Windows, are
// neighbours.
[[nodiscard]] bool ComesBefore(std::string_view a, std::string_view b);
[[nodiscard]] bool DifferInCaseAlone(std::string_view a, std::string_view b);
// The directory that the item lies in, as the name has it; empty if the name does not say, or says a root.
[[nodiscard]] std::string_view ParentOf(std::string_view name);

// Whether the text is matched by the pattern: `*` stands for any text, `?` for one character, in UTF-8 with
// all its bytes, anything else for itself.
[[nodiscard]] bool MatchesPattern(std::string_view text, std::string_view pattern);

// Whether a component of the name is `.` or `..`: where such a name leads depends on what it is read by.
[[nodiscard]] bool HasDots(std::string_view name);

// The text as one line: `?` for each line break, and for a carriage return at the end, which would go with
// one.
[[nodiscard]] std::string OneLine(std::string_view text);
// The text as a terminal may get it, `?` for each control character: names come from elsewhere, and could
// move the cursor, erase what stands there, or worse. Of those above 0x7f only where the text may be `utf8`:
// in other code pages their bytes are letters.
[[nodiscard]] std::string Harmless(std::string_view text, bool utf8);

}  // namespace store
