#include "store/command_line.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/platform.h"

namespace store {
namespace {

bool LooksLikeOption(std::string_view argument) { return !argument.empty() && argument[0] == '-'; }

}  // namespace

Status CommandLine::Read(int argc, const char* const* argv, std::string_view flags, std::string_view valued,
                         std::string_view repeatable) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (!LooksLikeOption(argument)) {
      operands_.push_back(argument);
      continue;
    }
    if (!operands_.empty()) {
      return Status::Failed("unexpected operand " + operands_.front() + " in front of " + argument +
                            ": a value that holds the text of a switch comes without its switch; rename it");
    }
    const char letter = argument.size() == 2 ? argument[1] : '\0';
    const bool isFlag = letter != '\0' && flags.find(letter) != std::string_view::npos;
    if (!isFlag && (letter == '\0' || valued.find(letter) == std::string_view::npos)) {
      return Status::Failed("unknown option " + argument);
    }
    if (Has(letter) && repeatable.find(letter) == std::string_view::npos) {
      return Status::Failed("option " + argument + " is given twice");
    }
    std::vector<std::string>& values = options_[letter];
    if (isFlag) {
      continue;
    }
    if (++i == argc || LooksLikeOption(argv[i]) || *argv[i] == '\0') {
      return Status::Failed("option " + argument + " has no value");
    }
    values.emplace_back(argv[i]);
  }
  return {};
}

std::string CommandLine::Value(char letter) const {
  const auto option = options_.find(letter);
  return option == options_.end() || option->second.empty() ? std::string() : option->second.front();
}

bool CommandLine::HasValue(char letter, std::string_view value) const {
  const auto option = options_.find(letter);
  return option != options_.end() &&
         std::find(option->second.begin(), option->second.end(), value) != option->second.end();
}

bool TellAboutTool(int argc, const char* const* argv, const std::string& tool, const std::string& help) {
  const std::string_view question = argc == 2 ? argv[1] : "";
  if (question != "--version" && question != "--help") {
    return false;
  }
  const std::unique_ptr<platform::TextFile> out = platform::TextFile::StandardOutput();
  out->Write(question == "--help" ? help : tool + " (backint) " + PRODUCT_VERSION + "\n");
  return true;
}

void HideLogin(int argc, char** argv, std::string_view option) {
  for (int i = 1; i + 1 < argc; ++i) {
    char* const colon = argv[i] == option ? std::strchr(argv[i + 1], ':') : nullptr;
    if (colon != nullptr) {
      platform::HideArgument(colon + 1);
    }
  }
}

}  // namespace store
