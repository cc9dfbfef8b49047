// A configuration file of sections with settings:
//
//   # a comment, as is a line that begins with ;
//   [prod]
//   base = /backup          ; a comment after a value has a space or tab before its mark
//   repository = %(base)/prod
//   password = "exactly as it is here: no comment, no %(macro)"
//
// Spaces and tabs around sections, keys and values do not count, nor does a UTF-8 byte order mark. Letter
// case counts only in values. `%(key)` stands for the value of that key in the section where the macro is
// written, or else in [DEFAULT]. That value may contain macros too, but none may lead back to itself. A
// section that comes twice is an error, as is a key that comes twice in a section, and any line that is none
// of the above.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "store/status.h"

namespace store {

class IniFile {
 public:
  // Reads the file, which has at most 1 MiB. The messages name file and line.
  static Status Read(const std::string& path, IniFile& file);

  [[nodiscard]] bool Has(std::string_view section) const;
  // The names as they are written, in the file's order.
  [[nodiscard]] const std::vector<std::string>& Sections() const { return sections_; }
  // The keys of a section, lower case.
  [[nodiscard]] std::vector<std::string> Keys(std::string_view section) const;
  // Whether a macro anywhere in the file names the key.
  [[nodiscard]] bool IsMacro(const std::string& key) const { return macros_.count(key) != 0; }
  // The value of a key (in lower case) with its macros filled in; none if the section does not set it.
  Status Find(std::string_view section, const std::string& key, std::optional<std::string>& value) const;
  // `file, line 3`: where the section sets the key, or where the section begins if it does not.
  [[nodiscard]] std::string Where(std::string_view section, const std::string& key) const;

 private:
  struct Setting {
    std::string value;
    bool exact = false;  // was in quotes
    std::size_t line = 0;
  };
  struct Section {
    std::size_t line = 0;
    std::map<std::string, Setting> settings;
  };
  struct Step {
    const Section* section;
    std::string key;
    bool operator==(const Step&) const = default;
  };

  Status ReadLine(std::string_view line, std::size_t number);
  Status BeginSection(std::string_view line, std::size_t number);
  Status AddSetting(std::string_view line, std::size_t number);
  Status TakeValue(std::string_view text, Setting& setting) const;
  void NoteMacros(std::string_view value);
  [[nodiscard]] const Section* FindSection(std::string_view name) const;
  Status Expand(std::vector<Step>& steps, std::string& value) const;
  Status ExpandMacro(std::vector<Step>& steps, const std::string& name, std::string& value) const;
  [[nodiscard]] std::string Line(std::size_t number) const;
  [[nodiscard]] Status Wrong(std::size_t number, const std::string& what) const;

  std::string path_;
  std::vector<std::string> sections_;
  std::map<std::string, Section> byName_;
  std::set<std::string> macros_;
  Section* current_ = nullptr;
};

}  // namespace store
