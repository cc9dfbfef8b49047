#include <gtest/gtest.h>

#include <filesystem>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "support/run_program.h"

namespace {

using platform::StartControlTool;
using platform::StartDataMover;
using support::BuiltProgram;
using support::TemporaryDirectory;

constexpr std::size_t kLimit = 20479;

std::string Quoted(const std::string& path) { return "\"" + path + "\""; }

std::vector<std::string> LinesOf(const std::unique_ptr<platform::ToolStream>& stream) {
  std::vector<std::string> lines;
  std::string line;
  while (stream != nullptr && stream->ReadLine(line, kLimit)) {
    lines.push_back(line);
  }
  return lines;
}

std::unique_ptr<platform::ToolStream> ControlTool(const std::string& arguments,
                                                  const std::string& errorFile) {
  return StartControlTool(Quoted(BuiltProgram("platform_child")) + " " + arguments, errorFile);
}

// Starts a tool from a process of its own, in a directory and with a PATH of the test's choice.
std::string HeardFrom(const std::string& kind, const std::string& program, const std::string& arguments,
                      const std::string& directory, const std::string& path) {
  return support::RunProgram(BuiltProgram("platform_child"), {"start", kind, program, arguments},
                             {{"PATH", path}}, directory)
      .out;
}

// What a shell, a command processor or the start code of the runtime would change or act upon.
TEST(Tools, ArgumentsArriveAsTheyStand) {
  const TemporaryDirectory directory;
  support::WriteWholeFile(directory.File("a.dbf"), "");
  support::WriteWholeFile(directory.File("b.dbf"), "");
  const std::string arguments =
      " arguments a&b $(x) %PATH% \\\"q\\\" *.dbf ?.dbf \"two words\" >>x 2>&1 | ; ' c:\\d\\ \"e\\\\\" "
      "\"f\"\"g\" h\"i j\"k "
      "\"\" \xE4\xDF last";
  std::string told;
  for (const char* argument : {"a&b", "$(x)", "%PATH%", "\"q\"", "*.dbf", "?.dbf", "two words", ">>x", "2>&1",
                               "|", ";", "'", "c:\\d\\", "e\\", "f\"g", "hi jk", "", "\xE4\xDF", "last"}) {
    told += std::string("heard: [") + argument + "]\n";
  }
  const std::string child = BuiltProgram("platform_child");
  EXPECT_EQ(HeardFrom("control", Quoted(child), arguments, directory.Path(), ""), told);
  // What the mover writes to standard output goes to ours, in whatever order.
  std::istringstream both(HeardFrom("mover", child, arguments, directory.Path(), ""));
  std::string heard;
  std::string own;
  for (std::string line; std::getline(both, line);) {
    (line.compare(0, 6, "heard:") == 0 ? heard : own) += line + "\n";
  }
  EXPECT_EQ(heard, told);
  EXPECT_NE(own.find("[two words]\n[>>x]\n"), std::string::npos) << own;
}

TEST(Tools, NamesWithoutSeparatorAreLookedUpInPathAlone) {
  const TemporaryDirectory here;
  const std::string bin = platform::ProgramDirectory();
  EXPECT_EQ(HeardFrom("control", "platform_child", " arguments x", here.Path(), bin), "heard: [x]\n");
  EXPECT_NE(HeardFrom("mover", "platform_child", " arguments x", here.Path(), bin).find("heard: [x]\n"),
            std::string::npos);
  std::filesystem::copy_file(BuiltProgram("platform_child"), here.File("local.exe"));
  std::filesystem::copy_file(BuiltProgram("platform_child"), here.File("local"));
  for (const char* path : {"", "."}) {
    EXPECT_EQ(HeardFrom("control", "local", " arguments x", here.Path(), path), "no stream\n");
    EXPECT_EQ(HeardFrom("mover", "local", " arguments x", here.Path(), path), "");
  }
  // A mover named with "exe" has been found to exist where it stands.
  EXPECT_NE(HeardFrom("mover", "local.exe", " arguments x", here.Path(), "").find("heard: [x]\n"),
            std::string::npos);
}

TEST(Tools, EitherSeparatorAndBlanksInThePath) {
  const TemporaryDirectory directory;
  std::filesystem::create_directory(directory.File("x y"));
  std::filesystem::copy_file(BuiltProgram("platform_child"), directory.File("x y") + "/tool.exe");
  for (const char* program : {"x y\\tool.exe", "x y/tool.exe"}) {
    EXPECT_EQ(HeardFrom("control", Quoted(program), " arguments x", directory.Path(), ""), "heard: [x]\n");
    EXPECT_NE(HeardFrom("mover", program, " arguments x", directory.Path(), "").find("heard: [x]\n"),
              std::string::npos);
  }
}

TEST(Tools, WhatCannotBeStartedIsKnownAtOnce) {
  const TemporaryDirectory directory;
  const std::string noProgram = directory.File("no_program.exe");
  support::WriteWholeFile(noProgram, "no program");
  std::filesystem::permissions(noProgram, std::filesystem::perms::owner_all);
  for (const char* script : {"script.bat", "SCRIPT.CMD", "script.bat. ."}) {
    std::error_code mayNotExistHere;
    std::filesystem::copy_file(BuiltProgram("platform_child"), directory.File(script), mayNotExistHere);
  }
  for (const std::string& program :
       {directory.File("missing.exe"), noProgram, directory.Path(), directory.File("script.bat"),
        directory.File("SCRIPT.CMD"), directory.File("script.bat. ."), std::string()}) {
    EXPECT_EQ(StartControlTool(Quoted(program) + " arguments x", ""), nullptr) << program;
    const auto stream = StartDataMover(program, " arguments x");
    ASSERT_NE(stream, nullptr) << program;
    EXPECT_TRUE(LinesOf(stream).empty()) << program;
  }
}

TEST(Tools, ErrorsOfTheControlToolGoToTheEndOfItsFile) {
  const TemporaryDirectory directory;
  const std::string errors = directory.File("with blank.log");
  support::WriteWholeFile(errors, "before\n");
  EXPECT_EQ(LinesOf(ControlTool("arguments a>>b", errors)), (std::vector<std::string>{"[a>>b]\n"}));
  EXPECT_EQ(support::ReadWholeFile(errors), "before\n[a>>b]\n");
  // A file that cannot be opened stops nothing.
  for (const std::string& unusable : {directory.Path(), directory.File("missing/x.log")}) {
    EXPECT_EQ(LinesOf(ControlTool("arguments a", unusable)), (std::vector<std::string>{"[a]\n"}));
  }
}

TEST(Tools, OddBytesInTheirLines) {
  const std::string longLine(kLimit, 'x');
  const std::vector<std::string> fromControl = {
      "before\x1A"
      "after\n",
      "cut\n",
      "lone\rreturn\n",
      longLine,
      "yz\n",
      "\n",
      "last without end"};
  std::vector<std::string> fromMover = fromControl;
  fromMover[0] =
      "before\x1A"
      "after\r\n";
  EXPECT_EQ(LinesOf(ControlTool("odd-lines", "/")), fromControl);
  // The mover's output is no matter here: it takes the place of our own.
  testing::internal::CaptureStdout();
  EXPECT_EQ(LinesOf(StartDataMover(BuiltProgram("platform_child"), " odd-lines")), fromMover);
  testing::internal::GetCapturedStdout();
}

TEST(Tools, TheStreamEndsWhenTheToolClosesIt) {
  const std::uint64_t start = platform::SteadyMilliseconds();
  testing::internal::CaptureStdout();
  EXPECT_EQ(LinesOf(ControlTool("live-on", "/")).size(), 1U);
  EXPECT_EQ(LinesOf(StartDataMover(BuiltProgram("platform_child"), " live-on")).size(), 1U);
  testing::internal::GetCapturedStdout();
  EXPECT_LT(platform::SteadyMilliseconds() - start, 8000U) << "waited for the end of the tool";
}

TEST(Tools, NothingToReadOnTheirStandardInput) {
  EXPECT_EQ(LinesOf(ControlTool("read-input", "")), (std::vector<std::string>{"--\n"}));
}

}  // namespace
