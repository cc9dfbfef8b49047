#include "xfr/report.h"

#include <algorithm>
#include <array>

#include "platform/data_file.h"
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

}  // namespace

bool CanBeReported(std::string_view name) {
  const bool oneLine = store::OneLine(name) == name;
  return oneLine && std::none_of(kMeanings.begin(), kMeanings.end(), [name](const Meaning& meaning) {
           return Holds(name, meaning.number) && Holds(name, meaning.text);
         });
}

void ReportItem(const std::string& name) {
  platform::WriteToStandardError("-3108 Item processed successfully [" + name + "]\n");
}

void ReportTrouble(const std::string& text) {
  std::string line = store::OneLine("ERROR: " + text);
  for (const Meaning& meaning : kMeanings) {
    for (std::size_t at = line.find(meaning.text); at != std::string::npos;
         at = line.find(meaning.text, at)) {
      line[line.find(' ', at)] = '_';
    }
  }
  platform::WriteToStandardError(line + "\n");
}

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
