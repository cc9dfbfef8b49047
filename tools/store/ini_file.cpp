#include "store/ini_file.h"

#include <algorithm>

#include "platform/terminal.h"
#include "store/base/read_file.h"

namespace store {
namespace {

constexpr std::size_t kLargestFile = 1024 * 1024;
constexpr std::size_t kLongestValue = 32 * 1024;
constexpr std::size_t kMostMacros = 100;  // in a chain: each takes a part of the stack
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr const char* kDefaultSection = "default";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

bool BeginsComment(std::string_view text) { return text.starts_with('#') || text.starts_with(';'); }

// What may follow a section's bracket or a closing quote: nothing, or a comment.
bool IsNothing(std::string_view text) { return Trim(text).empty() || BeginsComment(Trim(text)); }

std::string_view WithoutComment(std::string_view value) {
  if (BeginsComment(value)) {
    return "";
  }
  for (std::size_t at = 1; at < value.size(); ++at) {
    if (BeginsComment(value.substr(at)) && kBlanks.find(value[at - 1]) != std::string_view::npos) {
      return value.substr(0, at);
    }
  }
  return value;
}

// The first macro of a text: where it begins, and where its name ends.
struct Macro {
  std::size_t begin = std::string_view::npos;
  std::size_t end = std::string_view::npos;
  std::string name;
};
Macro FirstMacro(std::string_view text) {
  Macro macro;
  macro.begin = text.find("%(");
  macro.end = macro.begin == std::string_view::npos ? macro.begin : text.find(')', macro.begin);
  if (macro.end != std::string_view::npos) {
    macro.name = Lower(Trim(text.substr(macro.begin + 2, macro.end - macro.begin - 2)));
  }
  return macro;
}

Status ReadWholeFile(const std::string& path, std::string& text) {
  std::string why;
  if (!ReadFileUpTo(path, kLargestFile + 1, text, why)) {
    return Status::Failed(path + " cannot be read: " + why);
  }
  if (text.size() > kLargestFile) {
    return Status::Failed(path + " is larger than 1 MiB: this cannot be the configuration");
  }
  if (text.find('\0') != std::string::npos) {
    return Status::Failed(path + " is no plain text: save it as UTF-8, without zero bytes");
  }
  return {};
}

// Text that is not UTF-8, and has no byte order mark, is already in the code page of this system.
Status TakeUtf8(const std::string& path, std::string& text) {
  const bool says = text.starts_with(kByteOrderMark);
  std::string own;
  text.erase(0, says ? kByteOrderMark.size() : 0);
  if (platform::FromUtf8(text, own)) {
    text = std::move(own);
    return {};
  }
  return says
             ? Status::Failed(path + " has characters that the code page of this system lacks, or is damaged")
             : Status();
}

}  // namespace

Status IniFile::Read(const std::string& path, IniFile& file) {
  file = IniFile();
  file.path_ = path;
  std::string text;
  if (Status read = ReadWholeFile(path, text); !read) {
    return read;
  }
  if (Status known = TakeUtf8(path, text); !known) {
    return known;
  }
  std::string_view rest = text;
  for (std::size_t number = 1; !rest.empty(); ++number) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    if (Status taken = file.ReadLine(Trim(line), number); !taken) {
      return taken;
    }
  }
  return {};
}

Status IniFile::ReadLine(std::string_view line, std::size_t number) {
  if (line.empty() || BeginsComment(line)) {
    return {};
  }
  return line.starts_with('[') ? BeginSection(line, number) : AddSetting(line, number);
}

Status IniFile::BeginSection(std::string_view line, std::size_t number) {
  const std::size_t end = line.find(']');
  if (end == std::string_view::npos) {
    return Wrong(number, "\"]\" is missing: a section begins with a line like [prod]");
  }
  const std::string_view name = Trim(line.substr(1, end - 1));
  if (name.empty() || !IsNothing(line.substr(end + 1))) {
    return Wrong(number, "a section begins with a line like [prod], and nothing after it but a comment");
  }
  const auto [section, isNew] = byName_.try_emplace(Lower(name));
  if (!isNew) {
    return Wrong(number, "section [" + std::string(name) + "] began in line " +
                             std::to_string(section->second.line) + " already: put its settings there");
  }
  section->second.line = number;
  sections_.emplace_back(name);
  current_ = &section->second;
  return {};
}

Status IniFile::AddSetting(std::string_view line, std::size_t number) {
  const std::size_t equals = line.find('=');
  const std::string key = Lower(Trim(line.substr(0, std::min(equals, line.size()))));
  if (equals == std::string_view::npos || key.empty()) {
    return Wrong(
        number,
        "this line is neither a [section] nor a setting: key = value is expected, or a comment after #");
  }
  if (current_ == nullptr) {
    return Wrong(number, key + " is set before any section: a line like [prod] has to come first");
  }
  Setting setting;
  setting.line = number;
  if (Status taken = TakeValue(Trim(line.substr(equals + 1)), setting); !taken) {
    return taken;
  }
  if (!setting.exact) {
    NoteMacros(setting.value);
  }
  const auto [first, isNew] = current_->settings.try_emplace(key, setting);
  return isNew ? Status()
               : Wrong(number, key + " was set in line " + std::to_string(first->second.line) +
                                   " already: take one of the two out");
}

Status IniFile::TakeValue(std::string_view text, Setting& setting) const {
  if (!text.starts_with('"')) {
    setting.value = Trim(WithoutComment(text));
    return {};
  }
  const std::size_t end = text.find('"', 1);
  if (end == std::string_view::npos || !IsNothing(text.substr(end + 1))) {
    return Wrong(setting.line,
                 "a value that begins with a quote ends with one, and nothing follows it but a comment");
  }
  setting.value = text.substr(1, end - 1);
  setting.exact = true;
  return {};
}

void IniFile::NoteMacros(std::string_view value) {
  for (Macro macro = FirstMacro(value); macro.end != std::string_view::npos; macro = FirstMacro(value)) {
    macros_.insert(macro.name);
    value.remove_prefix(macro.end + 1);
  }
}

// ---- What is asked of it ------------------------------------------------------------------------

const IniFile::Section* IniFile::FindSection(std::string_view name) const {
  const auto found = byName_.find(Lower(name));
  return found == byName_.end() ? nullptr : &found->second;
}

bool IniFile::Has(std::string_view section) const { return FindSection(section) != nullptr; }

std::vector<std::string> IniFile::Keys(std::string_view section) const {
  std::vector<std::string> keys;
  if (const Section* found = FindSection(section); found != nullptr) {
    for (const auto& [key, setting] : found->settings) {
      keys.push_back(key);
    }
  }
  return keys;
}

Status IniFile::Find(std::string_view section, const std::string& key,
                     std::optional<std::string>& value) const {
  value.reset();
  const Section* found = FindSection(section);
  if (found == nullptr || found->settings.count(key) == 0) {
    return {};
  }
  std::vector<Step> steps = {{found, key}};
  return Expand(steps, value.emplace());
}

std::string IniFile::Where(std::string_view section, const std::string& key) const {
  const Section* found = FindSection(section);
  if (found == nullptr) {
    return path_;
  }
  const auto setting = found->settings.find(key);
  return Line(setting == found->settings.end() ? found->line : setting->second.line);
}

// ---- Macros -------------------------------------------------------------------------------------

Status IniFile::Expand(std::vector<Step>& steps, std::string& value) const {
  const Setting& setting = steps.back().section->settings.at(steps.back().key);
  std::string_view rest = setting.value;
  while (!setting.exact) {
    const Macro macro = FirstMacro(rest);
    if (macro.begin == std::string_view::npos) {
      break;
    }
    if (macro.name.empty()) {
      return Wrong(setting.line,
                   "%(key) is expected where \"%(\" is; a value in double quotes has no macros");
    }
    value += rest.substr(0, macro.begin);
    rest.remove_prefix(macro.end + 1);
    if (Status filled = ExpandMacro(steps, macro.name, value); !filled) {
      return filled;
    }
  }
  value += rest;
  return value.size() <= kLongestValue ? Status()
                                       : Wrong(setting.line, "with its macros the value is too long");
}

Status IniFile::ExpandMacro(std::vector<Step>& steps, const std::string& name, std::string& value) const {
  const std::size_t line = steps.back().section->settings.at(steps.back().key).line;
  Step next = {steps.back().section, name};
  if (next.section->settings.count(name) == 0) {
    next.section = FindSection(kDefaultSection);
  }
  if (next.section == nullptr || next.section->settings.count(name) == 0) {
    return Wrong(line, "%(" + name + ") refers to a key that neither this section nor [DEFAULT] sets");
  }
  if (next.section->settings.at(name).value.empty()) {
    return Wrong(line, "%(" + name + ") refers to a key without a value");
  }
  if (std::find(steps.begin(), steps.end(), next) != steps.end()) {
    return Wrong(line, "%(" + name + ") leads back to itself");
  }
  if (steps.size() > kMostMacros) {
    return Wrong(line, "%(" + name + ") comes after " + std::to_string(kMostMacros) +
                           " other macros: write the value out");
  }
  steps.push_back(next);
  Status expanded = Expand(steps, value);
  steps.pop_back();
  return expanded;
}

std::string IniFile::Line(std::size_t number) const { return path_ + ", line " + std::to_string(number); }

Status IniFile::Wrong(std::size_t number, const std::string& what) const {
  return Status::Failed(Line(number) + ": " + what);
}

}  // namespace store
