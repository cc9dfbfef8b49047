#include "server/directory_landscape.h"

#include <filesystem>

#include "platform/tree.h"

namespace fs = std::filesystem;

namespace {

std::string Described(const fs::path& path, bool bare) {
  const fs::file_status status = fs::symlink_status(path);
  if (status.type() == fs::file_type::symlink) {
    return "link to " + fs::read_symlink(path).string();
  }
  const bool directory = status.type() == fs::file_type::directory;
  if (directory && bare) {
    return "directory";
  }
  const std::string facts = std::to_string(static_cast<unsigned>(status.permissions())) + " " +
                            std::to_string(fs::last_write_time(path).time_since_epoch().count());
  return directory ? "directory " + facts : "file " + facts + " " + support::ReadWholeFile(path.string());
}

// The library does this for directories on one system only.
void SetAge(const std::string& directory, std::int64_t days) {
  constexpr std::int64_t kNsPerDay = 86400LL * 1000 * 1000 * 1000;
  platform::Entry entry;
  std::string why;
  ASSERT_TRUE(platform::ReadEntry(directory, entry, why)) << why;
  entry.facts.modifiedNs -= days * kNsPerDay;
  ASSERT_TRUE(platform::SetDirectoryFacts(directory, entry.facts, why)) << why;
}

}  // namespace

DirectoryLandscape::Tree DirectoryLandscape::Look(const std::string& directory, bool bare) {
  Tree tree;
  if (fs::exists(directory)) {
    tree[""] = Described(directory, bare);
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
      tree[entry.path().lexically_relative(directory).generic_string()] = Described(entry.path(), bare);
    }
  }
  return tree;
}

void DirectoryLandscape::LetTheMoverWalk() const {
  server_.Write("init.utl", server_.Read("init.utl") + "DIRECTORY_XFR_USE=YES\n");
}

std::string DirectoryLandscape::MakeTree(const std::string& name) const {
  const std::string directory = server_.Path(name);
  for (const char* file : {"/a", "/b", "/sub/a", "/sub/deep/c", "/with a blank/d"}) {
    fs::create_directories(fs::path(directory + file).parent_path());
    support::WriteWholeFile(directory + file, name + file);
  }
  support::WriteWholeFile(directory + "/big", RandomBytes(3 * 1024 * 1024 + 1));
  fs::create_directory(directory + "/empty");
  fs::create_directory(directory + "/sub/empty");
  int days = 0;
  for (const char* entry : {"/a", "/sub/deep/c"}) {
    fs::last_write_time(directory + entry,
                        fs::file_time_type::clock::now() - std::chrono::hours(++days * 24));
  }
  for (const char* entry : {"/sub/deep", "/empty", "/sub", ""}) {
    SetAge(directory + entry, ++days);
  }
  return directory;
}

void DirectoryLandscape::ExpectRestored(const std::string& line, const std::string& result) const {
  const Run run = Start("restore", {line});
  EXPECT_EQ(run.exitStatus, 0) << line;
  EXPECT_EQ(run.result, Lines{result});
}

void DirectoryLandscape::ExpectBack(const std::string& id, const std::string& directory, const Tree& saved,
                                    bool bare) const {
  const std::string line = id + " " + directory;
  const std::string found = id == "#NULL" ? Start("inquire", {line}).result.at(0).substr(8) : line;
  const std::string result = "#RESTORED " + found;
  const std::string other = server_.Path("other");
  const std::string last = fs::path(directory).filename().string();

  fs::remove_all(other);
  ExpectRestored(line + " " + other, result);
  EXPECT_EQ(Look(other + "/" + last, bare), saved);

  support::WriteWholeFile(directory + "/a", "changed");
  fs::remove(directory + "/b");
  fs::remove_all(directory + "/sub");
  ExpectRestored(line, result);
  EXPECT_EQ(Look(directory, bare), saved);
  ExpectRestored(line, result);
  EXPECT_EQ(Look(directory, bare), saved);

  fs::remove_all(directory);
  ExpectRestored(line, result);
  EXPECT_EQ(Look(directory, bare), saved);

  fs::remove_all(other);
  fs::remove_all(directory);
  ExpectRestored(line + " " + other, result);
  EXPECT_EQ(Look(other + "/" + last, bare), saved);
  EXPECT_FALSE(fs::exists(directory));
  ExpectRestored(line + " " + other, result);
  ExpectRestored(line, result);
}
