#include "korvo/command.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <sstream>
#include <utility>

#include "korvo/output.h"
#include "korvo/text.h"
#include "platform/platform.h"

namespace korvo {
namespace {

void Describe(CLI::App& program) {
  program.name("korvo");
  program.description("Looks after the repositories of backint's embedded backup server.");
  program.set_version_flag("--version", std::string("korvo (backint) ") + PRODUCT_VERSION,
                           "Shows the version");
  program.set_help_flag("-h,--help", "Shows this text");
  program.require_subcommand(1);
  // Plainer words instead of the library's.
  const auto words = program.get_formatter();
  words->label("SUBCOMMAND", "COMMAND SERVER ...");
  words->label("Positionals", "Operands");
  words->label("REQUIRED", "(must be given)");
  words->label("Needs", "only with");
  words->label("Excludes", "not with");
  program.footer(
      "SERVER is a section of korvo.ini. Exit status: 0 all is well, 1 something was found that needs\n"
      "attention, 2 the command could not do its work. korvo COMMAND --help tells more.");
}

// The library's message, and where to find help.
std::string FailureText(const CLI::App* program, const CLI::Error& error) {
  std::string command = "korvo";
  if (program->get_subcommands().empty() && program->remaining_size() > 0) {
    return "korvo: there is no command " + program->remaining().front() +
           ". korvo --help lists those there are.\n";
  }
  if (program->get_subcommands().empty() && error.get_name() == "RequiredError") {
    return "korvo: a command is missing. korvo --help lists those there are.\n";
  }
  for (const CLI::App* chosen : program->get_subcommands()) {
    command += " " + chosen->get_name();
  }
  return std::string("korvo: ") + error.what() + ". " + command + " --help tells how it is called.\n";
}

// An empty value is refused: a variable that a script forgot to set must not mean `all`.
CLI::Validator NotEmpty() {
  return {[](const std::string& text) { return text.empty() ? std::string("a value is missing") : ""; }, ""};
}

std::string ReadSeconds(const std::string& text, std::optional<std::int64_t>& seconds) {
  std::int64_t read = 0;
  if (!ReadDuration(text, read)) {
    return text + " is no duration: a number and its unit are expected, as 12h, 30d or 2w";
  }
  seconds = read;
  return "";
}

std::string ReadCount(const std::string& text, std::optional<std::uint64_t>& count) {
  std::uint64_t read = 0;
  const char* end = text.data() + text.size();
  const auto [after, error] = std::from_chars(text.data(), end, read);
  if (error != std::errc() || after != end || read == 0) {
    return text + " is no number from 1";
  }
  count = read;
  return "";
}

std::string ReadPercent(const std::string& text, double& percent) {
  double read = 0;
  const char* end = text.data() + text.size();
  const auto [after, error] = std::from_chars(text.data(), end, read);
  const std::string rest(after, end);
  if (error != std::errc() || (rest != "" && rest != "%") || !(read > 0 && read <= 100)) {
    return text + " is no part of a hundred: a number above 0, up to 100, is expected";
  }
  percent = read;
  return "";
}

}  // namespace

struct Command::Line {
  CLI::App& command;
  int& exitStatus;
};

Command::Command(std::unique_ptr<Line> line) : line_(std::move(line)) {}
Command::Command(Command&& other) noexcept = default;
Command::~Command() = default;

void Command::Server(std::string& server) { Operand("SERVER", server, "The server, a section of korvo.ini"); }

void Command::Operand(const std::string& name, std::string& value, const std::string& help) {
  line_->command.add_option(name, value, help)->required()->type_name("")->check(NotEmpty());
}

void Command::Operands(const std::string& name, std::vector<std::string>& values, const std::string& help) {
  line_->command.add_option(name, values, help)->type_name("")->check(NotEmpty());
}

void Command::Flag(const std::string& name, bool& value, const std::string& help) {
  line_->command.add_flag(name, value, help);
}

void Command::Option(const std::string& name, const std::string& type, std::string& value,
                     const std::string& help) {
  line_->command.add_option(name, value, help)->type_name(type)->check(NotEmpty());
}

void Command::NeededOption(const std::string& name, const std::string& type, std::string& value,
                           const std::string& help) {
  Option(name, type, value, help);
  line_->command.get_option(name)->required();
}

void Command::Value(const std::string& name, const std::string& type, const std::string& help,
                    std::function<std::string(const std::string& text)> read) {
  const auto take = [name, read = std::move(read)](const std::string& text) {
    const std::string wrong = read(text);
    if (!wrong.empty()) {
      throw CLI::ValidationError(name, wrong);
    }
  };
  line_->command.add_option_function<std::string>(name, take, help)->type_name(type);
}

void Command::Duration(const std::string& name, std::optional<std::int64_t>& seconds,
                       const std::string& help) {
  Value(name, "DURATION", help, [&seconds](const std::string& text) { return ReadSeconds(text, seconds); });
}

void Command::Count(const std::string& name, std::optional<std::uint64_t>& count, const std::string& help) {
  Value(name, "N", help, [&count](const std::string& text) { return ReadCount(text, count); });
}

void Command::Percent(const std::string& name, double& percent, const std::string& help) {
  Value(name, "PERCENT", help, [&percent](const std::string& text) { return ReadPercent(text, percent); });
}

void Command::Json(bool& json) { Flag("--json", json, "Tells it as a JSON document, for programs"); }

void Command::Quiet(bool& quiet) { Flag("--quiet", quiet, "Shows no progress on the terminal"); }

void Command::Needs(const std::string& name, const std::string& other) {
  line_->command.get_option(name)->needs(line_->command.get_option(other));
}

void Command::Excludes(const std::string& name, const std::string& other) {
  line_->command.get_option(name)->excludes(line_->command.get_option(other));
}

void Command::Explain(const std::string& text) { line_->command.footer(text); }

void Command::Does(std::function<int()> work) {
  line_->command.callback([work = std::move(work), &status = line_->exitStatus] { status = work(); });
}

struct Program::Parts {
  CLI::App line;
  int exitStatus = kGood;
};

Program::Program() : parts_(std::make_unique<Parts>()) {
  Describe(parts_->line);
  parts_->line.failure_message(FailureText);
}

Program::~Program() = default;

Command Program::Add(const std::string& name, const std::string& summary) {
  CLI::App* command = parts_->line.add_subcommand(name, summary)->group("Commands");
  return Command(std::unique_ptr<Command::Line>(new Command::Line{*command, parts_->exitStatus}));
}

int Program::Run(int argc, char** argv) {
  try {
    parts_->line.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream answer;
    std::ostringstream complaint;
    const int status = parts_->line.exit(error, answer, complaint);
    PrintBytes(answer.str());
    platform::WriteToStandardError(complaint.str());
    return status == 0 ? kGood : kCouldNotRun;
  }
  return parts_->exitStatus;
}

}  // namespace korvo
