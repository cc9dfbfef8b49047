#include "fuzz/fuzz.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fuzz/workplace.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr std::array kTargets = {&kOptionScanner, &kParameterFile,  &kBackup,     &kRestore,      &kInquire,
                                 &kControlTool,   &kControlCommand, &kMoverLines, &kMoverCommand, &kSwitchLog,
                                 &kKorvoIni,      &kProfile,        &kPack,       &kRecord,       &kMap,
                                 &kObjects,       &kItemRow,        &kCatalog,    &kBucket};

const Target* target = nullptr;

std::string Escaped(const std::string& word) {
  std::string text;
  for (const char character : word) {
    std::array<char, 8> byte{};
    std::snprintf(byte.data(), byte.size(), "\\x%02X", static_cast<unsigned char>(character));
    text += byte.data();
  }
  return text;
}

// The inputs to start from and the words of all targets: `TARGET/` and `TARGET.words` in the directory.
void MakeCorpora(const fs::path& directory) {
  for (const Target* one : kTargets) {
    Corpus corpus((directory / one->name).string());
    one->seed(corpus);
    Require(corpus.Size() > 0, "a target has something to start from", one->name);
    // The fuzzer does not take an empty list.
    std::ofstream words(directory / (std::string(one->name) + ".words"));
    words << "\"\\x00\"\n";
    for (const std::string& word : one->words) {
      words << '"' << Escaped(word) << "\"\n";
    }
    words.close();
    std::puts(one->name);
  }
}

void TellUsage() {
  std::puts(
      "Usage: fuzz --corpora DIRECTORY   makes the targets' programs and what they start from, and names "
      "them\n"
      "       fuzz_TARGET                 runs one");
}

// Each target is the program under another name, beside it.
void MakeNames(const fs::path& program) {
  for (const Target* one : kTargets) {
    const fs::path name = program.parent_path() / (std::string("fuzz_") + one->name);
    fs::remove(name);
    fs::create_symlink(program.filename(), name);
  }
}

// Targets have a directory of their own as working directory: what the command line names is made absolute.
// Unless it says otherwise, inputs that break something go to `crashes`, beside the programs' directory.
std::vector<std::string> AbsoluteArguments(int count, char** arguments) {
  const fs::path crashes = fs::absolute(arguments[0]).parent_path().parent_path() / "crashes";
  fs::create_directories(crashes);
  std::vector<std::string> made = {"-artifact_prefix=" + (crashes / target->name).string() + "-"};
  for (int i = 1; i < count; ++i) {
    const std::string text = arguments[i];
    const std::size_t start = text.find('=') + 1;
    if (!text.starts_with('-')) {
      made.push_back(fs::absolute(text).string());
    } else if (text.starts_with("-artifact_prefix=") || text.starts_with("-dict=")) {
      made.push_back(text.substr(0, start) + fs::absolute(text.substr(start)).string());
    } else {
      made.push_back(text);
    }
  }
  return made;
}

}  // namespace

// ---- What the targets use ----

void Require(bool holds, const char* what, std::string_view came) {
  if (!holds) {
    std::fprintf(stderr, "\nDoes not hold: %s\n[%.*s]\n", what, static_cast<int>(came.size()), came.data());
    std::abort();
  }
}

Corpus::Corpus(std::string directory) : directory_(std::move(directory)) {
  fs::remove_all(directory_);
  fs::create_directories(directory_);
}

void Corpus::Add(std::string_view input) {
  if (!inputs_.emplace(input).second) {
    return;
  }
  std::ofstream file(fs::path(directory_) / ("start" + std::to_string(Size())), std::ios::binary);
  file.write(input.data(), static_cast<std::streamsize>(input.size()));
  file.close();
  Require(!file.fail(), "an input to start from can be written", directory_);
}

std::uint8_t Input::Byte() {
  const std::string_view byte = Bytes(1);
  return byte.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(byte[0]);
}

std::uint64_t Input::Number() {
  std::uint64_t number = 0;
  for (int shift = 0; shift < 64; shift += 8) {
    number |= std::uint64_t{Byte()} << shift;
  }
  return number;
}

std::string_view Input::Bytes(std::size_t size) {
  const std::string_view bytes = rest_.substr(0, size);
  rest_.remove_prefix(bytes.size());
  return bytes;
}

std::string_view Input::Piece(char mark) {
  const std::string_view piece = Bytes(std::min(rest_.find(mark), rest_.size()));
  Bytes(1);
  return piece;
}

std::string Joined(std::initializer_list<std::string_view> pieces) {
  std::string joined;
  for (const std::string_view piece : pieces) {
    joined += piece;
    joined += Input::kMark;
  }
  return joined;
}

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  for (Input input(text); !input.AtEnd();) {
    lines.emplace_back(input.Piece('\n'));
  }
  return lines;
}

}  // namespace fuzz

// ---- What the fuzzer calls ----

// The program is one target or another by the name under which it is called, so that linking costs once.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  using fuzz::kTargets;
  static std::vector<std::string> texts;
  static std::vector<char*> pointers;
  const std::string name = fuzz::fs::path((*arguments)[0]).filename().string();
  if (*count == 3 && std::string_view((*arguments)[1]) == "--corpora") {
    const fuzz::fs::path directory = fuzz::fs::absolute((*arguments)[2]);
    fuzz::MakeNames(fuzz::fs::absolute((*arguments)[0]));
    fuzz::Workplace::Enter();
    fuzz::MakeCorpora(directory);
    std::exit(0);
  }
  const auto* found = std::find_if(kTargets.begin(), kTargets.end(), [&name](const fuzz::Target* one) {
    return name == std::string("fuzz_") + one->name;
  });
  if (found == kTargets.end()) {
    fuzz::TellUsage();
    std::exit(2);
  }
  fuzz::target = *found;
  texts = fuzz::AbsoluteArguments(*count, *arguments);
  pointers.reserve(texts.size() + 2);
  pointers.push_back((*arguments)[0]);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  *count = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);
  *arguments = pointers.data();
  fuzz::Workplace::Enter();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::target->run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
