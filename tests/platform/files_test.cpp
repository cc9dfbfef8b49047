#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "platform/platform.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace {

using platform::PathKind;
using platform::TextFile;
using support::ReadWholeFile;
using support::TemporaryDirectory;
using support::WriteWholeFile;
using Lines = std::vector<std::string>;

Lines ReadLines(TextFile& file, std::size_t limit) {
  Lines lines;
  std::string line;
  while (file.ReadLine(line, limit)) {
    lines.push_back(line);
  }
  return lines;
}

TEST(Paths, TypeAndSize) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path();
  std::filesystem::create_directory(directory.File("sub"));
  WriteWholeFile(directory.File("five"), "12345");
  std::filesystem::resize_file(directory.File("five"), 5000000000);
  EXPECT_EQ(platform::LookUp(path + "/five").size, 5000000000U);
  for (const std::string& name : {path + "/sub", path + "\\sub", path + "\\sub\\", path + "/sub//\\"}) {
    EXPECT_EQ(platform::LookUp(name).kind, PathKind::kDirectory) << name;
  }
  EXPECT_EQ(platform::LookUp(path + "\\five").kind, PathKind::kFile);
  for (const char* name : {"missing", "fi*", "fiv?", "*", "five/below"}) {
    const platform::PathInfo info = platform::LookUp(path + "/" + name);
    EXPECT_EQ(info.kind, PathKind::kMissing) << name;
    EXPECT_NE(info.error, 0) << name;
  }
  EXPECT_EQ(platform::LookUp("").kind, PathKind::kMissing);
  EXPECT_EQ(platform::LookUp("/").kind, PathKind::kDirectory);
}

TEST(Paths, ListingAndRemoving) {
  const TemporaryDirectory directory;
  WriteWholeFile(directory.File("a b"), "");
  std::filesystem::create_directory(directory.File("sub"));
  Lines names;
  ASSERT_TRUE(platform::ListDirectory(directory.Path() + "\\", names));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Lines{"a b", "sub"}));
  EXPECT_TRUE(platform::ListDirectory(directory.Path() + "/sub", names));
  EXPECT_TRUE(names.empty());
  EXPECT_FALSE(platform::ListDirectory(directory.File("a b"), names));
  EXPECT_FALSE(platform::ListDirectory(directory.File("missing"), names));
  EXPECT_TRUE(platform::RemoveFile(directory.Path() + "\\a b"));
  EXPECT_FALSE(platform::Exists(directory.File("a b")));
  EXPECT_FALSE(platform::RemoveFile(directory.File("a b")));
  EXPECT_FALSE(platform::RemoveFile(directory.File("sub")));
}

// Character by character, as the rules say it.
Lines PlainLines(const std::string& text, std::size_t limit) {
  Lines lines;
  std::size_t next = 0;
  while (next < text.size()) {
    std::string line;
    bool cut = false;
    while (next < text.size() && line.size() < limit && !line.ends_with('\n')) {
      const bool pair = text.compare(next, 2, "\r\n") == 0;
      const char c = pair ? '\n' : text[next];
      next += pair ? 2 : 1;
      cut = cut || c == '\0';
      if (!cut || c == '\n') {
        line += c;
      }
    }
    lines.push_back(line);
  }
  return lines;
}

// A file comes in pieces of which no reader sees the borders.
TEST(TextFiles, LinesOfManyPieces) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("text");
  Dice dice(4);
  for (const std::size_t limit : {1, 2, 7, 100, 20479}) {
    std::string text;
    while (text.size() < 50000) {
      text += dice.OneIn(limit + 2) ? dice.One({"\n", "\r\n", std::string(1, '\0')})
                                    : dice.One({"a", "b", "\r", "\x1A"});
    }
    WriteWholeFile(path, text);
    const auto file = TextFile::Open(path, TextFile::Mode::kRead);
    EXPECT_TRUE(ReadLines(*file, limit) == PlainLines(text, limit)) << limit;
    EXPECT_TRUE(file->Rewind() && ReadLines(*file, limit) == PlainLines(text, limit)) << limit;
    EXPECT_FALSE(file->ReadFailed());
  }
}

TEST(TextFiles, WhatCannotBeOpened) {
  const TemporaryDirectory directory;
  for (const TextFile::Mode mode :
       {TextFile::Mode::kRead, TextFile::Mode::kAppend, TextFile::Mode::kCreate}) {
    EXPECT_EQ(TextFile::Open(directory.Path(), mode), nullptr);
    EXPECT_EQ(TextFile::Open(directory.File("missing/file"), mode), nullptr);
    EXPECT_EQ(TextFile::Open("", mode), nullptr);
  }
  EXPECT_EQ(TextFile::Open(directory.File("file"), TextFile::Mode::kRead), nullptr);
  std::string path;
  EXPECT_EQ(TextFile::CreateTemporary(directory.File("missing"), path), nullptr);
}

TEST(TextFiles, ModesAndLineEnds) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("text");
  const auto write = [&](TextFile::Mode mode, TextFile::LineEnd end, const char* text) {
    const auto file = TextFile::Open(path, mode, end);
    return file != nullptr && file->Write(text) && file->Close();
  };
  EXPECT_TRUE(write(TextFile::Mode::kAppend, TextFile::LineEnd::kLineFeed, "a\n"));
  EXPECT_TRUE(write(TextFile::Mode::kAppend, TextFile::LineEnd::kCarriageReturnLineFeed, "b\nc\n"));
  EXPECT_EQ(ReadWholeFile(path), "a\nb\r\nc\r\n");
  EXPECT_TRUE(write(TextFile::Mode::kCreate, TextFile::LineEnd::kSystem, "d\n"));
  const bool unixLike = std::filesystem::path::preferred_separator == '/';
  EXPECT_EQ(ReadWholeFile(path), unixLike ? "d\n" : "d\r\n");
}

// Both have it open, and neither knows where the other's text ends.
TEST(TextFiles, TwoAppendToOneFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.File("text");
  const auto one = TextFile::Open(path, TextFile::Mode::kAppend, TextFile::LineEnd::kLineFeed);
  const auto two = TextFile::Open(path, TextFile::Mode::kAppend, TextFile::LineEnd::kLineFeed);
  EXPECT_TRUE(one->Write("a\n") && one->Flush());
  EXPECT_TRUE(two->Write("b\n") && two->Flush());
  EXPECT_TRUE(one->Write("c\n") && one->Close() && two->Close());
  EXPECT_EQ(ReadWholeFile(path), "a\nb\nc\n");
}

TEST(TextFiles, TemporaryOnesHaveNamesOfTheirOwn) {
  const TemporaryDirectory directory;
  std::string first;
  std::string second;
  const auto one = TextFile::CreateTemporary(directory.Path(), first);
  const auto two = TextFile::CreateTemporary(directory.Path() + "/", second);
  ASSERT_TRUE(one != nullptr && two != nullptr);
  EXPECT_NE(first, second);
  EXPECT_TRUE(one->Write("x\n") && one->Close());
  const auto again = TextFile::Open(first, TextFile::Mode::kRead);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(ReadLines(*again, 100), (Lines{"x\n"}));
}

TEST(TextFiles, StandardInputThatIsAPipeIsReadOnce) {
  const std::string child = support::BuiltProgram("platform_child");
  const support::ProgramRun run = support::RunProgram(child, {"read-input"}, {}, ".", "a\r\nb\x1A\nc");
  EXPECT_EQ(run.out, "a\nb\x1A\nc--\n");
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(TextFiles, StandardErrorHasTheSystemsLineEnds) {
  const support::ProgramRun run =
      support::RunProgram(support::BuiltProgram("platform_child"), {"complain"}, {}, ".");
  const bool unixLike = std::filesystem::path::preferred_separator == '/';
  EXPECT_EQ(run.err, unixLike ? "a\nb\n" : "a\r\nb\r\n");
  EXPECT_EQ(run.exitStatus, 0);
}

TEST(Names, EqualWithoutRegardToCaseAndSlashes) {
  EXPECT_TRUE(platform::SameName("C:\\Data\\a.dbf", "c:/data/A.DBF"));
  EXPECT_FALSE(platform::SameName("C:\\Data\\a.dbf", "C:\\Data\\a.db"));
  EXPECT_FALSE(platform::SameName("data\\\xE4.dbf", "data\\\xC4.dbf")) << "bytes above 127 have no case";
  EXPECT_EQ(platform::ToSystemForm("a/b\\c"), "a\\b\\c");
  EXPECT_EQ(platform::LastSeparator("a\\b/c"), 1U);
  EXPECT_EQ(platform::LastSeparator("abc"), std::string::npos);
}

TEST(Time, IsTheLocalOne) {
  // One of the systems has it from its C library.
  if (std::filesystem::path::preferred_separator == '/') {
    support::UseZone("XXX-12");
  }
  platform::LocalTime now;
  std::tm expected = {};
  do {
    const std::time_t before = std::time(nullptr);
    expected = *std::localtime(&before);
    now = platform::LocalTimeNow();
  } while (now.second != expected.tm_sec);  // the second may turn between the two
  EXPECT_EQ(now.hour, expected.tm_hour);
  EXPECT_EQ(now.minute, expected.tm_min);
}

}  // namespace
