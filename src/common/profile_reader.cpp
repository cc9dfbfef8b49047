// Reads values out of sectioned text files. Nothing is kept between two look-ups: each reads the file anew,
// and a macro costs one or two more.
#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "common/cm_common.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t kLineLimit = 1023;
constexpr std::size_t kSectionWidth = 64;
constexpr std::size_t kKeyLimit = 254;
constexpr std::size_t kExpansionLimit = 1023;
constexpr int kMacroDepthLimit = 100;
constexpr const char* kDefaultSection = "[DEFAULT]";

// An endless chain of macros ends the whole look-up: trying [DEFAULT] at each of its levels would hide it.
enum class Outcome { kFound, kFailed, kEndless };

struct Profile {
  const char* file;
  std::size_t valueLimit;
};

std::string Message(const char* what, std::string_view subject = {}) {
  return std::string("i_GetPrivateProfileString: ").append(what).append(subject);
}

std::string Lower(std::string text) {
  lowercase(text.data());
  return text;
}

bool IsGiven(const char* text) { return text != nullptr && *text != '\0'; }

// The start of the header that begins the section, in lower case.
std::string HeaderOf(const char* section) {
  std::array<char, kSectionWidth> header{};
  strlcpy(header.data(), *section == '[' ? "" : "[", header.size());
  strlcat(header.data(), section, header.size());
  if (!std::string_view(section).ends_with(']')) {
    strlcat(header.data(), "]", header.size());
  }
  return lowercase(header.data());
}

std::unique_ptr<platform::TextFile> OpenProfile(const char* file, std::string& message) {
  if (!IsGiven(file)) {
    message = Message("FILE NOT FOUND OR ACCESS PROBLEM.");
    return nullptr;
  }
  auto stream = platform::TextFile::Open(file, platform::TextFile::Mode::kRead);
  if (!stream) {
    message = Message("FILE NOT FOUND OR ACCESS PROBLEM: ", file) + ".";
  }
  return stream;
}

// The text behind the equals sign of the first setting that matches. The file is closed again before a macro
// in it is looked up, so a chain of them holds one file open and not many.
std::optional<std::string> FindSetting(const char* file, const char* section, const std::string& key,
                                       std::string& message) {
  const auto stream = OpenProfile(file, message);
  if (!stream) {
    return std::nullopt;
  }
  const std::string header = IsGiven(section) ? HeaderOf(section) : "";
  const std::string setting = Lower(key) + "=";
  bool inside = header.empty();
  std::string line;
  while (stream->ReadLine(line, kLineLimit)) {
    if (line.ends_with('\n')) {
      line.pop_back();
    }
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::string lowered = Lower(line);
    if (!inside) {
      inside = lowered.starts_with(header);
    } else if (!header.empty() && lowered.front() == '[') {
      message = Message("KEY NOT FOUND ", section + key);
      return std::nullopt;
    } else if (key.size() <= kKeyLimit && lowered.starts_with(setting)) {
      return line.substr(setting.size());
    }
  }
  message = inside ? Message("KEY NOT FOUND: ", key) : Message("SECTION NOT FOUND: ", header) + ".";
  return std::nullopt;
}

void TrimTrailingSpaces(std::string& value) {
  const std::size_t last = value.find_last_not_of(' ');
  if (last != std::string::npos) {
    value.erase(last + 1);
  }
}

Outcome LookUp(const Profile& profile, const char* section, const std::string& key, int depth,
               std::optional<std::string>& value, std::string& message);

// Puts the value that the first macro names in the macro's place.
Outcome ExpandMacro(const Profile& profile, const char* section, int depth, std::string& value,
                    std::string& message) {
  const std::size_t start = value.find("%(");
  const std::size_t end = value.find(')', start);
  if (end == std::string::npos) {
    message = Message("MACRO NOT CLOSED: ", value) + ".";
    return Outcome::kFailed;
  }
  const std::string name = value.substr(start + 2, end - start - 2);
  if (depth == kMacroDepthLimit) {
    message = Message("MACROS NESTED TOO DEEPLY OR WITHOUT END: ", name) + ".";
    return Outcome::kEndless;
  }
  std::optional<std::string> replacement;
  Outcome outcome = LookUp(profile, section, name, depth + 1, replacement, message);
  // Within [DEFAULT] the second look-up would repeat the first, and double the work at each level of a chain.
  if (outcome == Outcome::kFailed && !(IsGiven(section) && HeaderOf(section) == HeaderOf(kDefaultSection))) {
    outcome = LookUp(profile, kDefaultSection, name, depth + 1, replacement, message);
  }
  if (outcome == Outcome::kFound) {
    value.replace(start, end + 1 - start, *replacement);
    value.resize(std::min(value.size(), kExpansionLimit));
  }
  return outcome;
}

// `value` is set once the key is found and its macro expanded, even if nothing is left of it.
Outcome LookUp(const Profile& profile, const char* section, const std::string& key, int depth,
               std::optional<std::string>& value, std::string& message) {
  message.clear();
  std::optional<std::string> found = FindSetting(profile.file, section, key, message);
  if (!found) {
    return Outcome::kFailed;
  }
  TrimTrailingSpaces(*found);
  if (found->find("%(") != std::string::npos) {
    const Outcome outcome = ExpandMacro(profile, section, depth, *found, message);
    if (outcome != Outcome::kFound) {
      return outcome;
    }
  }
  found->resize(std::min(found->size(), profile.valueLimit));
  value = std::move(found);
  if (value->empty()) {
    message = Message("KEY VALUE NOT FOUND.");
    return Outcome::kFailed;
  }
  return Outcome::kFound;
}

}  // namespace

int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int32_t valueSize, char* message, int32_t messageSize) try {
  const auto valueWidth = static_cast<std::size_t>(std::max(valueSize, 0));
  const Profile profile{file, std::max<std::size_t>(valueWidth, 1) - 1};
  std::optional<std::string> found;
  std::string why;
  const Outcome outcome = LookUp(profile, section, key == nullptr ? "" : key, 0, found, why);
  if (found) {
    strlcpy(value, found->c_str(), valueWidth);
  }
  strlcpy(message, why.c_str(), static_cast<std::size_t>(std::max(messageSize, 0)));
  return outcome == Outcome::kFound ? 1 : 0;
} catch (const std::bad_alloc&) {
  return 0;
}
