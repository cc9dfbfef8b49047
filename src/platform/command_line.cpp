#include <algorithm>

#include "platform/internal.h"

namespace platform::internal {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::size_t SkipBlanks(std::string_view text, std::size_t position) {
  while (position < text.size() && IsBlank(text[position])) {
    ++position;
  }
  return position;
}

std::size_t CountBackslashes(std::string_view text, std::size_t position) {
  const std::size_t end = text.find_first_not_of('\\', position);
  return (end == std::string_view::npos ? text.size() : end) - position;
}

bool IsQuote(std::string_view text, std::size_t position) {
  return position < text.size() && text[position] == '"';
}

// Takes one argument, from its first character on. `position` is then after it.
std::string TakeArgument(std::string_view text, std::size_t& position) {
  std::string argument;
  bool quoted = false;
  while (position < text.size() && (quoted || !IsBlank(text[position]))) {
    const std::size_t backslashes = CountBackslashes(text, position);
    position += backslashes;
    if (!IsQuote(text, position)) {
      argument.append(backslashes, '\\');
      if (position < text.size() && backslashes == 0) {
        argument += text[position++];
      }
      continue;
    }
    argument.append(backslashes / 2, '\\');
    if (backslashes % 2 == 1) {
      argument += '"';
    } else if (quoted && IsQuote(text, position + 1)) {
      argument += '"';  // two quotes inside quotes mean one, and do not end the quoting
      ++position;
    } else {
      quoted = !quoted;
    }
    ++position;
  }
  return argument;
}

}  // namespace

ProgramToken FirstToken(std::string_view commandLine) {
  ProgramToken token;
  std::size_t position = SkipBlanks(commandLine, 0);
  bool quoted = false;
  // There are no escapes in a program's name: no file name contains a quote.
  while (position < commandLine.size() && (quoted || !IsBlank(commandLine[position]))) {
    if (commandLine[position] == '"') {
      quoted = !quoted;
    } else {
      token.name += commandLine[position];
    }
    ++position;
  }
  token.end = position;
  token.isOpen = quoted;
  return token;
}

std::string WithoutQuotes(std::string_view program) {
  std::string name(program);
  std::erase(name, '"');
  return name;
}

void Tell(std::string* why, const std::string& reason) {
  if (why != nullptr) {
    *why = reason;
  }
}

std::vector<std::string> SplitArguments(std::string_view text) {
  std::vector<std::string> arguments;
  std::size_t position = SkipBlanks(text, 0);
  while (position < text.size()) {
    arguments.push_back(TakeArgument(text, position));
    position = SkipBlanks(text, position);
  }
  return arguments;
}

bool NeedsCommandProcessor(std::string_view program) {
  // Windows drops dots and blanks at the end of a name before it looks at the extension.
  const std::size_t last = program.find_last_not_of(". ");
  if (last == std::string_view::npos || last < 3) {
    return false;
  }
  std::string extension(program.substr(last - 3, 4));
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return extension == ".bat" || extension == ".cmd";
}

std::string RunnableProgram(const std::string& name, bool lookUp) {
  if (NeedsCommandProcessor(name)) {
    return {};
  }
  return lookUp ? FindProgram(name) : RunnableFile(name);
}

std::string WhyNotRunnable(const std::string& name) {
  if (NeedsCommandProcessor(name)) {
    return name + ": only a command processor could run it, and none is ever used";
  }
  if (!HoldsSeparator(name)) {
    return name + ": there is no such program in PATH";
  }
  switch (LookUp(name).kind) {
    case PathKind::kMissing:
      return name + ": " + LastErrorText();
    case PathKind::kDirectory:
      return name + ": it is a directory";
    case PathKind::kFile:
    case PathKind::kOther:
      break;
  }
  return name + ": no permission to run it";
}

}  // namespace platform::internal
