// The options of a command line.
#include <algorithm>
#include <cstring>

#include "backint/setup/getopt.h"
#include "fuzz/fuzz.h"

namespace fuzz {
namespace {

constexpr const char* kLetters = ":u:f:t:p:i:o:c";

struct Scanned {
  int letter;
  const char* value;
};

std::vector<Scanned> Scan(const std::vector<std::string>& words) {
  std::vector<const char*> arguments = {"backint"};
  std::size_t characters = 0;
  for (const std::string& word : words) {
    arguments.push_back(word.c_str());
    characters += word.size();
  }
  OptionScanner scanner(static_cast<int>(arguments.size()), arguments.data(), kLetters);
  std::vector<Scanned> scanned;
  for (int letter = scanner.Next(); letter != OptionScanner::kEnd; letter = scanner.Next()) {
    scanned.push_back({letter, scanner.Argument()});
    Require(scanned.size() <= characters, "each option is a character of the command line");
  }
  return scanned;
}

bool TakesValue(int letter) { return letter != ':' && std::strchr("uftpio", letter) != nullptr; }

// A value is what stands at the end of some word, and nothing else is one.
void CheckValue(const Scanned& option, const std::vector<std::string>& words) {
  Require(option.letter == OptionScanner::kError || option.letter == 'c' || TakesValue(option.letter),
          "an option is one that is known, or an error");
  Require((option.value != nullptr) == TakesValue(option.letter),
          "options with a value have one, others none");
  Require(option.value == nullptr || std::any_of(words.begin(), words.end(),
                                                 [&](const std::string& word) {
                                                   return option.value >= word.c_str() &&
                                                          option.value <= word.c_str() + word.size();
                                                 }),
          "a value is part of a word");
}

// Options that nobody can take for anything else come back as they were given.
void RoundTrip(Input input) {
  std::vector<std::string> words;
  std::vector<Scanned> given;
  std::vector<std::string> values;
  values.reserve(64);
  while (!input.AtEnd() && values.size() < 64) {
    const char letter = "uftpioc"[input.Byte() % 7];
    std::string& value = values.emplace_back(input.Piece('\0'));
    const bool apart = input.Byte() % 2 == 0;
    std::erase(value, apart ? '-' : '\0');
    if (letter == 'c') {
      words.emplace_back("-c");
      given.push_back({letter, nullptr});
      continue;
    }
    if (!apart && value.empty()) {
      continue;
    }
    words.push_back(std::string("-") + letter + (apart ? "" : value));
    if (apart) {
      words.push_back(value);
    }
    given.push_back({letter, value.c_str()});
  }
  const std::vector<Scanned> scanned = Scan(words);
  Require(std::equal(scanned.begin(), scanned.end(), given.begin(), given.end(),
                     [](const Scanned& one, const Scanned& other) {
                       return one.letter == other.letter &&
                              (one.value == nullptr) == (other.value == nullptr) &&
                              (one.value == nullptr || std::strcmp(one.value, other.value) == 0);
                     }),
          "options come back as they were given");
}

void Run(std::string_view bytes) {
  Input input(bytes);
  if (input.Byte() % 2 == 0) {
    RoundTrip(input);
    return;
  }
  std::vector<std::string> words;
  while (!input.AtEnd()) {
    words.emplace_back(input.Piece('\0'));
  }
  for (const Scanned& option : Scan(words)) {
    CheckValue(option, words);
  }
}

void Seed(Corpus& corpus) {
  using namespace std::string_view_literals;
  for (const std::string_view words : {"-u\0/\0-f\0backup\0-p\0init.par\0-i\0in.lis\0-o\0out.lis\0-c"sv,
                                       "-u/\0-cfrestore\0--\0-x"sv, "-c-u\0a-u\0-\0"sv, "-x\0-u"sv}) {
    corpus.Add("\1" + std::string(words));
  }
  corpus.Add("\0u/\0\0\1backup\0\1"sv);
}

}  // namespace

const Target kOptionScanner = {"option_scanner", Run, Seed, {"-u", "-f", "-t", "-p", "-i", "-o", "-c", "--"}};

}  // namespace fuzz
