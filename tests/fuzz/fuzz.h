// What all fuzz targets share. A target is run with inputs that a fuzzer makes up; it ends the process when
// something that always has to hold does not.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// Ends the process, with what was expected and what came, unless it holds.
void Require(bool holds, const char* what, std::string_view came = {});

// Inputs to start from.
class Corpus {
 public:
  // They become files in this directory, which is made.
  explicit Corpus(std::string directory);
  void Add(std::string_view input);
  [[nodiscard]] std::size_t Size() const { return inputs_.size(); }

 private:
  std::string directory_;
  std::set<std::string, std::less<>> inputs_;
};

struct Target {
  const char* name;
  void (*run)(std::string_view input);
  // Takes them from what the tests work on, where these have something.
  void (*seed)(Corpus& corpus);
  // Words that the fuzzer would be long in finding.
  std::vector<std::string> words;
};

extern const Target kOptionScanner;
extern const Target kParameterFile;
extern const Target kBackup;
extern const Target kRestore;
extern const Target kInquire;
extern const Target kControlTool;
extern const Target kControlCommand;
extern const Target kMoverLines;
extern const Target kMoverCommand;
extern const Target kSwitchLog;
extern const Target kKorvoIni;
extern const Target kProfile;
extern const Target kPack;
extern const Target kRecord;
extern const Target kMap;
extern const Target kObjects;
extern const Target kItemRow;
extern const Target kCatalog;
extern const Target kBucket;

// Takes an input apart. Behind its end there are zeros, and empty pieces.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  // A text input has its pieces one after the other with this between them.
  static constexpr char kMark = '\x1e';

  [[nodiscard]] bool AtEnd() const { return rest_.empty(); }
  std::uint8_t Byte();
  std::uint64_t Number();  // of eight bytes, the lowest first
  std::string_view Bytes(std::size_t size);
  std::string_view Piece(char mark = kMark);
  std::string_view Rest() { return Bytes(rest_.size()); }

 private:
  std::string_view rest_;
};

// The pieces of a text input, put together.
[[nodiscard]] std::string Joined(std::initializer_list<std::string_view> pieces);
[[nodiscard]] std::vector<std::string> LinesOf(std::string_view text);

}  // namespace fuzz
