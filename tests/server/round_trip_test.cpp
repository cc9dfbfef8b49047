// The program and the embedded server together, on real files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "platform/platform.h"
#include "server/landscape.h"

namespace {

namespace fs = std::filesystem;

TEST_F(Landscape, FilesOfEveryKindAndNameComeBack) {
  Lines names = {"a.dbf", "xa.dbf",     "x.dbf",  "\xe4\xf6\xfc.dbf", "\xc3\xa4.dbf", "a&b",
                 "100%",  "%PATH%",     "$HOME",  "$(date)",          "in[1].dbf",    "]odd[",
                 "back]", "semi;colon", "quo'te", "tilde~.dbf",       "a.dbf.copy",   "3007"};
  for (const std::string& name : NamesOfThisSystem()) {
    names.push_back(name);
  }
  names.push_back("deep/er/a.dbf");
  std::map<std::string, std::string> saved;
  Lines files;
  for (const std::string& name : names) {
    files.push_back(server_.Path("d/" + name));
    saved[files.back()] = "content of " + name;
  }
  saved[files[0]] = "";
  saved[files[1]] = "x";
  saved[files[2]] = RandomBytes(5 * 1024 * 1024 + 3);
  saved[files[3]] = std::string(3 * 1024 * 1024, '\0') + "end";
  for (const auto& [file, content] : saved) {
    fs::create_directories(fs::path(file).parent_path());
    support::WriteWholeFile(file, content);
  }
  const auto expectFiles = [&saved](const Lines& expected) {
    for (const std::string& file : expected) {
      EXPECT_TRUE(platform::Exists(file) && support::ReadWholeFile(file) == saved[file]) << file;
    }
  };

  const Lines fewFiles(files.begin(), files.begin() + 8);  // on the command line, the others in a list
  const std::string few = Save(fewFiles);
  const std::string all = Save(files);
  ExpectLines(Start("inquire", {all}).result, With("#BACKUP " + all + " ", files));
  EXPECT_EQ(Start("inquire", {"#NULL " + files[0], few + " " + files[1], few + " " + files[10]}).result,
            (Lines{"#BACKUP " + all + " " + files[0], "#BACKUP " + few + " " + files[0],
                   "#BACKUP " + few + " " + files[1], "#NOTFOUND " + files[10]}));

  fs::remove_all(server_.Path("d"));
  Run run = Start("restore", With(few + " ", fewFiles));
  EXPECT_EQ(run.exitStatus, 0);
  ExpectLines(run.result, With("#RESTORED " + few + " ", fewFiles));
  expectFiles(fewFiles);

  fs::remove_all(server_.Path("d"));
  run = Start("restore", With("#NULL ", files));
  EXPECT_EQ(run.exitStatus, 0);
  ExpectLines(run.result, With("#RESTORED " + all + " ", files));
  expectFiles(files);

  const Lines distinct(files.begin(), files.end() - 1);
  run = Start("restore", With(all + " ", distinct, " " + server_.Path("else/where")));
  EXPECT_EQ(run.exitStatus, 0);
  ExpectLines(run.result, With("#RESTORED " + all + " ", distinct));
  for (const std::string& file : distinct) {
    EXPECT_TRUE(support::ReadWholeFile(server_.Path("else/where") + file.substr(file.find_last_of("/\\"))) ==
                saved[file])
        << file;
  }
}

TEST_F(Landscape, ManySmallFilesComeBack) {
  Lines files;
  for (int i = 0; i < kManySmallFiles; ++i) {
    files.push_back(server_.Write("d/file" + std::to_string(i), "small " + std::to_string(i)));
  }
  const std::string id = Save(files);
  fs::remove_all(server_.Path("d"));
  const Run run = Start("restore", With(id + " ", files));
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.result, With("#RESTORED " + id + " ", files));
  for (int i = 0; i < kManySmallFiles; ++i) {
    ASSERT_EQ(support::ReadWholeFile(files[static_cast<std::size_t>(i)]), "small " + std::to_string(i));
  }
}

std::uintmax_t LargestFile(const fs::path& directory) {
  std::uintmax_t largest = 0;
  std::error_code missing;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, missing)) {
    largest = std::max(largest, entry.file_size());
  }
  return largest;
}

TEST_F(Landscape, AnInterruptedRunKeepsWhatItConfirmed) {
  Lines files;
  for (const char* name : {"d/1.SAP", "d/2.SAP", "d/3.SAP"}) {
    files.push_back(server_.Write(name, name));
  }
  server_.WriteEndless("d/2.SAP");
  const Run run = Start("backup", files, [this](int process) {
    // By then the first file is in the container, and some of the second.
    for (int i = 0; i < 6000 && LargestFile(server_.Path("repository/savesets")) < 1000; ++i) {
      platform::SleepMilliseconds(10);
    }
    EXPECT_TRUE(support::Interrupt(process));
  });
  EXPECT_EQ(run.exitStatus, 2);
  ASSERT_EQ(run.result.size(), 3U);
  const std::string id = run.result[0].substr(7, run.result[0].find(' ', 7) - 7);
  EXPECT_EQ(run.result, (Lines{"#SAVED " + id + " " + files[0], "#ERROR " + files[1], "#ERROR " + files[2]}));
  EXPECT_EQ(server_.Query(id, "ABC@"), Lines{"backupsrc=" + files[0]});
  fs::remove(files[0]);
  EXPECT_EQ(Start("restore", {"#NULL " + files[0]}).result, Lines{"#RESTORED " + id + " " + files[0]});
  EXPECT_EQ(server_.Read("d/1.SAP"), "d/1.SAP");
}

}  // namespace
