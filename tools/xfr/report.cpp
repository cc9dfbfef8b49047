#include "xfr/report.h"

#include <algorithm>
#include <array>

#include "backint/base/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"

namespace {

struct Meaning {
  std::string_view number;
  std::string_view text;
};

constexpr std::array<Meaning, 7> kMeanings = {{{"3007", "Operation successful"},
                                               {"2032", "Operation successful with warnings"},
                                               {"3053", "Operation failed"},
                                               {"2002", "Saveset empty"},
                                               {"2045", "Cannot write to Item"},
                                               {"-3052", "Items processed correctly"},
                                               {"-3108", "Item processed successfully"}}};

bool Holds(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

constexpr const char* kItemDone = "-3108 Item processed successfully ";

bool EndsWithSeparator(const std::string& name) {
  return !name.empty() && (name.back() == '/' || name.back() == '\\');
}

std::string WithSeparatorBehind(const std::string& name) { return name + platform::SeparatorOf(name); }

void ReportWithoutBrackets(const std::string& name) {
  platform::WriteToStandardError(kItemDone + name + "\n");
}

void ReportLine(const std::string& prefix, const std::string& text) {
  std::string line = store::OneLine(prefix + text);
  for (const Meaning& meaning : kMeanings) {
    for (std::size_t at = line.find(meaning.text); at != std::string::npos;
         at = line.find(meaning.text, at)) {
      line[line.find(' ', at)] = '_';
    }
  }
  platform::WriteToStandardError(line + "\n");
}

}  // namespace

bool CanBeReported(std::string_view name) {
  return !Holds(name, "\n") &&
         std::none_of(kMeanings.begin(), kMeanings.end(), [name](const Meaning& meaning) {
           return Holds(name, meaning.number) && Holds(name, meaning.text);
         });
}

void ReportItem(const std::string& name) { platform::WriteToStandardError(kItemDone + ("[" + name + "]\n")); }

void ReportSavedDirectory(const std::string& name) {
  ReportItem(name);
  ReportItem(WithSeparatorBehind(name));
}

void ReportRestoredDirectory(const std::string& name, const std::string& place, bool alone) {
  if (!EndsWithSeparator(name)) {
    ReportItem(place);
    ReportWithoutBrackets(WithSeparatorBehind(place));
  } else if (alone && IsDirectory(name)) {
    ReportWithoutBrackets(place);
    ReportWithoutBrackets(WithSeparatorBehind(place));
  } else {
    ReportItem(place);
  }
}

bool CanReportRestored(const std::string& name, const std::string& place, bool alone) {
  return !alone || !Holds(place, "]") || (!IsDirectory(name) && !EndsWithSeparator(name));
}

void ReportNote(const std::string& text) { ReportLine("NOTE: ", text); }

void ReportTrouble(const std::string& text) { ReportLine("ERROR: ", text); }

void ReportEnd(End end) {
  switch (end) {
    case End::kGood:
      platform::WriteToStandardError("3007 Operation successful\n");
      break;
    case End::kWarnings:
      platform::WriteToStandardError("2032 Operation successful with warnings\n");
      break;
    case End::kFailed:
      platform::WriteToStandardError("3053 Operation failed\n");
      break;
    case End::kEmpty:
      platform::WriteToStandardError("2002 Saveset empty\n");
      break;
  }
}
