#include "backint/setup/getopt.h"

#include <cstring>

int OptionScanner::Next() {
  const char* current = nullptr;
  if (pending_ != nullptr && pending_[1] != '\0') {
    current = pending_ + 1;
  } else {
    pending_ = nullptr;
    if (optind_ >= argc_) {
      return kEnd;
    }
    const char* argument = argv_[optind_];
    if (argument[0] != '-') {
      return End();
    }
    ++optind_;
    if (argument[1] == '\0' || std::strcmp(argument, "--") == 0) {
      return End();
    }
    current = argument + 1;
  }

  const char* known = *current == ':' ? nullptr : std::strchr(letters_, *current);
  if (known == nullptr) {
    End();
    return kError;
  }
  if (known[1] == ':') {
    return TakeValue(current);
  }
  optarg_ = nullptr;
  pending_ = current;
  return static_cast<unsigned char>(*current);
}

int OptionScanner::End() {
  optarg_ = nullptr;
  pending_ = nullptr;
  return kEnd;
}

int OptionScanner::TakeValue(const char* letterPosition) {
  pending_ = nullptr;
  optarg_ = nullptr;
  if (letterPosition[1] != '\0') {
    optarg_ = letterPosition + 1;
  } else if (optind_ < argc_ && !LooksLikeOption(argv_[optind_])) {
    optarg_ = argv_[optind_++];
  } else {
    return kError;
  }
  return static_cast<unsigned char>(*letterPosition);
}

// Whether a value looks like the next option, so that the value itself seems to be forgotten: its first
// hyphen, at any place, is followed by an option letter or by nothing.
bool OptionScanner::LooksLikeOption(const char* value) const {
  const char* hyphen = std::strchr(value, '-');
  return hyphen != nullptr && std::strchr(letters_, hyphen[1]) != nullptr;
}
