#include "store/names.h"

#include <algorithm>

#include "platform/data_file.h"

namespace store {
namespace {

// The length of the first character of a text in UTF-8. A byte that begins no character counts as one.
std::size_t CharacterLength(std::string_view text) {
  constexpr unsigned char kContinuation = 0x80;
  constexpr unsigned char kFirst = 0xC0;
  std::size_t length = 1;
  if (static_cast<unsigned char>(text.front()) >= kFirst) {
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & kFirst) == kContinuation) {
      ++length;
    }
  }
  return length;
}

char UpperCase(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

}  // namespace

// The time has ten digits from September 2001 to January 2038. Before that it has fewer, and behind them a
// sign: a clock may be wrong.
std::string DatabaseOfProposedName(std::string_view proposed) {
  constexpr std::size_t kTimeDigits = 10;
  constexpr const char* kDigits = "0123456789";
  const std::size_t last = proposed.find_last_not_of(kDigits);
  const std::size_t digits = proposed.size() - (last == std::string_view::npos ? 0 : last + 1);
  const char before = last == std::string_view::npos ? '\0' : proposed[last];
  if (digits >= kTimeDigits) {
    proposed.remove_suffix(kTimeDigits);
  } else if (digits > 0 && (before == '_' || before == '-')) {
    proposed.remove_suffix(digits);
  }
  if (proposed.ends_with('-')) {
    proposed.remove_suffix(1);
  }
  return DatabaseOfSid(proposed);
}

std::string DatabaseOfSid(std::string_view sid) {
  const std::size_t last = sid.find_last_not_of('_');
  return std::string(sid.substr(0, last == std::string_view::npos ? 0 : last + 1));
}

std::string ListedName(std::string_view name) {
  std::string listed;
  for (const char character : name) {
    if (character == ' ') {
      listed += "%20";
    } else {
      listed += character;
    }
  }
  return listed;
}

std::string_view WithoutEndSeparators(std::string_view name) {
  return name.substr(0, name.find_last_not_of("/\\") + 1);
}

std::string ItemKey(std::string_view name) {
  std::string key = platform::FoldName(WithoutEndSeparators(name));
  std::replace(key.begin(), key.end(), '\\', '/');
  if (IsWindowsPath(name)) {
    std::transform(key.begin(), key.end(), key.begin(), UpperCase);
  }
  return key;
}

bool IsWindowsPath(std::string_view name) {
  const bool drive = name.size() > 1 && name[1] == ':' && UpperCase(name[0]) >= 'A' &&
                     UpperCase(name[0]) <= 'Z' && (name.size() == 2 || IsSeparator(name[2]));
  return drive || name.starts_with("\\\\");
}

bool ComesBefore(std::string_view a, std::string_view b) {
  const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return UpperCase(x) == UpperCase(y); });
  if (inA == a.end() || inB == b.end()) {
    return inA == a.end() && inB == b.end() ? a < b : inA == a.end();
  }
  return static_cast<unsigned char>(UpperCase(*inA)) < static_cast<unsigned char>(UpperCase(*inB));
}

bool DifferInCaseAlone(std::string_view a, std::string_view b) {
  return a != b && std::equal(a.begin(), a.end(), b.begin(), b.end(),
                              [](char x, char y) { return UpperCase(x) == UpperCase(y); });
}

std::string_view ParentOf(std::string_view name) {
  name = WithoutEndSeparators(name);
  const std::size_t separator = name.find_last_of("/\\");
  return WithoutEndSeparators(name.substr(0, separator == std::string_view::npos ? 0 : separator));
}

bool MatchesPattern(std::string_view text, std::string_view pattern) {
  std::size_t at = 0;
  std::size_t in = 0;
  std::size_t star = std::string_view::npos;  // the last `*`; its text ends at `starEnd`
  std::size_t starEnd = 0;
  while (at < text.size()) {
    if (in < pattern.size() && pattern[in] == '*') {
      star = in++;
      starEnd = at;
    } else if (in < pattern.size() && pattern[in] == '?') {
      at += CharacterLength(text.substr(at));
      ++in;
    } else if (in < pattern.size() && pattern[in] == text[at]) {
      ++at;
      ++in;
    } else if (star != std::string_view::npos) {
      in = star + 1;
      at = starEnd += CharacterLength(text.substr(starEnd));
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

bool HasDots(std::string_view name) {
  for (;;) {
    const std::size_t separator = name.find_first_of("/\\");
    const std::string_view component = name.substr(0, separator);
    if (component == "." || component == "..") {
      return true;
    }
    if (separator == std::string_view::npos) {
      return false;
    }
    name.remove_prefix(separator + 1);
  }
}

std::string OneLine(std::string_view text) {
  std::string line(text);
  std::replace(line.begin(), line.end(), '\n', '?');
  if (line.ends_with('\r')) {
    line.back() = '?';
  }
  return line;
}

std::string Harmless(std::string_view text, bool utf8) {
  constexpr unsigned char kFirstPrintable = 0x20;
  constexpr unsigned char kDelete = 0x7f;
  constexpr unsigned char kFirstAbove = 0xa0;  // 0x80 to 0x9f are control characters, too
  constexpr unsigned char kLead = 0xc2;        // the first byte of these in UTF-8
  std::string harmless;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    const bool lead = utf8 && byte == kLead && next > kDelete && next < kFirstAbove;
    const bool bad = byte < kFirstPrintable || byte == kDelete || lead;
    harmless += bad ? '?' : text[i];
    i += lead ? 1 : 0;
  }
  return harmless;
}

}  // namespace store
