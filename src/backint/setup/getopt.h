// The option scanner of the command line.
#pragma once

// Goes through the options of an argument vector; each call of `Next` gives one. `letters` contains the
// option letters; a colon directly after a letter means that the option takes a value. A colon at the start
// of `letters` has no meaning of its own.
class OptionScanner {
 public:
  static constexpr int kEnd = -1;
  static constexpr int kError = '?';

  // The arguments are borrowed for the life of the scanner. `argv[0]`, the program's name, is skipped.
  OptionScanner(int argc, const char* const* argv, const char* letters)
      : argc_(argc), argv_(argv), letters_(letters) {}

  // Returns the letter of the next option. `kError` if the option is unknown, or its value is missing or
  // refused. `kEnd` after the last option: at the first argument that does not begin with a hyphen, at "-" or
  // at "--".
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
  const char* pending_ = nullptr;  // the flag just returned; more letters may follow it in its argument
};
