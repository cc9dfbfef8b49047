// The option scanner of the command line.
#pragma once

// Walks the options of an argument vector, one at each call of `Next`. `letters` holds the option letters; a
// colon right behind a letter says that the option takes a value. A colon that the string begins with is one
// more of its characters.
class OptionScanner {
 public:
  static constexpr int kEnd = -1;
  static constexpr int kError = '?';

  // All arguments are borrowed for the scanner's life. `argv[0]` is the program's name and is passed over.
  OptionScanner(int argc, const char* const* argv, const char* letters)
      : argc_(argc), argv_(argv), letters_(letters) {}

  // The next option's letter; `kError` for an unknown option and for a value that is missing or refused;
  // `kEnd` behind the last option, which is at the first argument that is none, at "-" or at "--".
  [[nodiscard]] int Next();

  // The value of the option just returned, or null.
  [[nodiscard]] const char* Argument() const { return optarg_; }

 private:
  int End();
  int TakeValue(const char* letterPosition);
  [[nodiscard]] bool LooksLikeOption(const char* value) const;

  int argc_;
  const char* const* argv_;
  const char* letters_;
  int optind_ = 1;                 // index of the next argument to look at
  const char* optarg_ = nullptr;   // value of the option just returned
  const char* pending_ = nullptr;  // the flag just returned, inside an argument that may hold more letters
};
