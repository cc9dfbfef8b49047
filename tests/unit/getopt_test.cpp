#include "backint/getopt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What a scan gives up to its end or first error, as "c u=SAP".
std::string Scan(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "backint");
  OptionScanner scanner(static_cast<int>(arguments.size()), arguments.data(), ":u:f:t:p:i:o:c");
  std::string seen;
  while (true) {
    const int letter = scanner.Next();
    if (letter == OptionScanner::kEnd || letter == OptionScanner::kError) {
      return seen + (letter == OptionScanner::kEnd ? "end" : "error");
    }
    seen += static_cast<char>(letter);
    seen += scanner.Argument() == nullptr ? " " : std::string("=") + scanner.Argument() + " ";
  }
}

TEST(OptionScanner, ScansTheCommandLine) {
  struct {
    std::vector<const char*> arguments;
    std::string seen;
  } const cases[] = {
      {{}, "end"},
      {{"-u", "SAP", "-fRESTORE", "-c"}, "u=SAP f=RESTORE c end"},
      {{"-cu", "SAP", "-cc", "-cuX"}, "c u=SAP c c c u=X end"},
      {{"-u", "", "-c"}, "u= c end"},
      // What is no option ends the scan, silently.
      {{"SAP", "-u", "X"}, "end"},
      {{"-c", "", "-u", "X"}, "c end"},
      {{"-u", "X", "--", "-f", "RESTORE"}, "u=X end"},
      {{"-", "-x"}, "end"},
      {{"-x", "-u", "X"}, "error"},
      {{"-:", "X"}, "error"},
      {{"-c:"}, "c error"},
      {{"---"}, "error"},
      // A value is missing, or looks as if it were.
      {{"-u"}, "error"},
      {{"-cu"}, "c error"},
      {{"-u", "-f", "RESTORE"}, "error"},
      {{"-u", "sap-ora"}, "error"},
      {{"-p", "C:\\the-file"}, "error"},
      {{"-i", "list-"}, "error"},
      {{"-i", "-:x"}, "error"},
      // Only the first hyphen counts, and only in an argument of its own.
      {{"-u", "sap-xy-o"}, "u=sap-xy-o end"},
      {{"-usap-ora", "-pC:\\the-file"}, "u=sap-ora p=C:\\the-file end"},
      {{"-u", "--"}, "u=-- end"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Scan(test.arguments), test.seen);
  }
}

}  // namespace
