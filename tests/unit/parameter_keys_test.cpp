// The documents of the parameter file say what its reader does.
#include "backint/setup/parameter_keys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "support/run_program.h"

namespace {

std::string Limit(const ParameterKey& key) { return key.limit == 0 ? "" : std::to_string(key.limit); }

// The names that a text has in all places where the pattern matches, in their order.
std::vector<std::string> Names(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> names;
  for (std::sregex_iterator found(text.begin(), text.end(), expression), end; found != end; ++found) {
    names.push_back((*found)[1]);
  }
  return names;
}

std::vector<std::string> KeyNames() {
  std::vector<std::string> names;
  std::transform(kParameterKeys.begin(), kParameterKeys.end(), std::back_inserter(names),
                 [](const ParameterKey& key) { return key.name; });
  return names;
}

TEST(ParameterKeys, StandInTheReference) {
  const std::string page = support::ReadWholeFile(SOURCE_FOLDER "/docs/reference.md");
  const std::size_t start = page.find("\n## Parameter file\n");
  ASSERT_NE(start, std::string::npos);
  const std::string chapter = page.substr(start, page.find("\n## ", start + 1) - start);
  EXPECT_EQ(Names(chapter, "\\n\\| `([A-Z_]+)` \\|"), KeyNames());
  for (const ParameterKey& key : kParameterKeys) {
    const std::string row = std::string("\n| `") + key.name + "` | " + key.meaning + " | " + key.without +
                            " | " + Limit(key) + " |\n";
    EXPECT_NE(chapter.find(row), std::string::npos) << row;
  }
}

TEST(ParameterKeys, StandInTheManualPage) {
  const std::string page = support::ReadWholeFile(SOURCE_FOLDER "/packaging/man/backint.utl.5");
  EXPECT_EQ(Names(page, "\\n\\.TP\\n\\.B ([A-Z_]+)\\n"), KeyNames());
  for (const ParameterKey& key : kParameterKeys) {
    const std::string entry = std::string("\n.TP\n.B ") + key.name + "\n" + key.meaning +
                              "\nWithout it: " + key.without + "." +
                              (key.limit == 0 ? "" : "\nAt most " + Limit(key) + " characters.") + "\n";
    EXPECT_NE(page.find(entry), std::string::npos) << entry;
  }
}

TEST(ParameterKeys, HaveTheDefaultsThatTheDocumentsName) {
  const RunRecords records;
  SetDefaults();
  for (const ParameterKey& key : kParameterKeys) {
    const std::string without = key.without;
    if (key.field != nullptr && std::all_of(without.begin(), without.end(), ::isdigit)) {
      EXPECT_EQ(Server().*key.field, without) << key.name;
    } else if (key.field != nullptr) {
      EXPECT_EQ(Server().*key.field, "") << key.name;
    }
  }
}

}  // namespace
