// The owner's tool: makes repositories, looks into them, deletes, and mends.
#include <cstdio>
#include <exception>
#include <string>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "platform/platform.h"

namespace {

void Describe(CLI::App& program) {
  program.name("korvo");
  program.description("Looks after the repositories of backint's embedded backup server.");
  program.set_version_flag("--version", std::string("korvo (backint) ") + PRODUCT_VERSION,
                           "Shows the version");
  program.set_help_flag("-h,--help", "Shows this text");
  program.require_subcommand(1);
  program.footer(
      "SERVER is a section of korvo.ini. Exit status: 0 all is well, 1 something was found that needs\n"
      "attention, 2 the command could not do its work. korvo COMMAND --help tells more.");
}

// The library's sentences, with where to look.
std::string FailureText(const CLI::App* program, const CLI::Error& error) {
  std::string command = "korvo";
  if (program->get_subcommands().empty() && program->remaining_size() > 0) {
    return "korvo: there is no command " + program->remaining().front() +
           ". korvo --help lists those there are.\n";
  }
  for (const CLI::App* chosen : program->get_subcommands()) {
    command += " " + chosen->get_name();
  }
  return std::string("korvo: ") + error.what() + ". " + command + " --help tells how it is called.\n";
}

int Run(int argc, char** argv) {
  CLI::App program;
  int exitStatus = korvo::kGood;
  Describe(program);
  korvo::AddInit(program, exitStatus);
  korvo::AddList(program, exitStatus);
  korvo::AddShow(program, exitStatus);
  korvo::AddFind(program, exitStatus);
  korvo::AddStats(program, exitStatus);
  korvo::AddProtect(program, exitStatus);
  korvo::AddKeep(program, exitStatus);
  korvo::AddExpire(program, exitStatus);
  korvo::AddMetrics(program, exitStatus);
  korvo::AddRebuild(program, exitStatus);
  korvo::AddReport(program, exitStatus);
  korvo::AddRunning(program, exitStatus);
  korvo::AddVerify(program, exitStatus);
  korvo::AddRestore(program, exitStatus);
  korvo::AddCopy(program, exitStatus);
  program.failure_message(FailureText);
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? korvo::kGood : korvo::kCouldNotRun;
  }
  if (!korvo::FinishOutput()) {
    korvo::Complain("not all of the answer could be written to standard output");
    return korvo::kCouldNotRun;
  }
  return exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  // What nobody foresaw, as memory that is exhausted, is told like any other reason.
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "korvo: %s\n", error.what());
    return korvo::kCouldNotRun;
  }
}
