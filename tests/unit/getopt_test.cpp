#include "backint/getopt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What a scan gives up to its end or first error, as "c u=SAP end".
std::string Scan(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "backint");
  OptionScanner scanner(static_cast<int>(arguments.size()), arguments.data(), ":u:f:t:p:i:o:c");
  std::string seen;
  for (int letter = 0; (letter = scanner.Next()) != OptionScanner::kEnd;) {
    if (letter == OptionScanner::kError) {
      return seen + "error";
    }
    seen += static_cast<char>(letter);
    seen += scanner.Argument() == nullptr ? " " : std::string("=") + scanner.Argument() + " ";
  }
  return seen + "end";
}

TEST(OptionScanner, TakesFlagsAndValues) {
  EXPECT_EQ(Scan({"-u", "SAP", "-fRESTORE", "-c"}), "u=SAP f=RESTORE c end");
  EXPECT_EQ(Scan({"-cu", "SAP", "-cc", "-cuX", "-i", ""}), "c u=SAP c c c u=X i= end");
}

TEST(OptionScanner, WhatIsNoOptionEndsTheScan) {
  EXPECT_EQ(Scan({"SAP", "-u", "X"}), "end");
  EXPECT_EQ(Scan({"-c", "", "-u", "X"}), "c end");
  EXPECT_EQ(Scan({"-u", "X", "--", "-f", "RESTORE"}), "u=X end");
  EXPECT_EQ(Scan({"-", "-x"}), "end");
}

TEST(OptionScanner, UnknownOptionsAndDoubtfulValuesAreErrors) {
  for (std::vector<const char*> arguments : {std::vector{"-x", "X"},
                                             {"-:", "X"},
                                             {"---"},
                                             {"-u"},
                                             {"-u", "-f"},
                                             {"-u", "sap-ora"},
                                             {"-i", "list-"},
                                             {"-p", "C:\\the-file"},
                                             {"-i", "-:x"}}) {
    EXPECT_EQ(Scan(arguments), "error") << arguments.back();
  }
  EXPECT_EQ(Scan({"-c:"}), "c error");
  EXPECT_EQ(Scan({"-cu"}), "c error");
  // Only the first hyphen counts, and only in an argument of its own.
  EXPECT_EQ(Scan({"-u", "sap-xy-o", "-p", "--"}), "u=sap-xy-o p=-- end");
  EXPECT_EQ(Scan({"-usap-ora", "-pC:\\the-file"}), "u=sap-ora p=C:\\the-file end");
}

}  // namespace
