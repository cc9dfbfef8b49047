// A list that a killed run of another account has left.
#include "backint/base/own_list.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/run_fixture.h"

namespace {

constexpr uid_t kAnotherAccount = 65534;

// What an account may do that is not the administrator's.
class AsAnyAccount {
 public:
  AsAnyAccount() : before_(geteuid()) {
    if (before_ == 0) {
      EXPECT_EQ(seteuid(kAnotherAccount), 0);
    }
  }
  AsAnyAccount(const AsAnyAccount&) = delete;
  AsAnyAccount& operator=(const AsAnyAccount&) = delete;
  ~AsAnyAccount() { EXPECT_EQ(seteuid(before_), 0); }

 private:
  uid_t before_;
};

class PosixOwnList : public RunFixture {};

TEST_F(PosixOwnList, AListThatCannotBeRemovedIsNotUsed) {
  Params().szSapDataHome = directory_.Path();
  const std::string traces = directory_.File("saptrace");
  const std::string left = traces + "/filelist.txt";
  std::filesystem::create_directory(traces);
  support::WriteWholeFile(traces + "/backint.lock", "");
  support::WriteWholeFile(left, "left");
  chmod((traces + "/backint.lock").c_str(), 0666);
  chmod(directory_.Path().c_str(), 0755);
  chmod(traces.c_str(), 0555);
  std::string path;
  {
    const AsAnyAccount account;
    path = OwnList(OwnList::Name::kFileList).Path();
  }
  chmod(traces.c_str(), 0755);
  EXPECT_TRUE(path.ends_with("filelist_" + std::to_string(getpid()) + ".txt")) << path;
  EXPECT_EQ(support::ReadWholeFile(left), "left");
  // One's own is.
  EXPECT_TRUE(OwnList(OwnList::Name::kFileList).Path().ends_with("filelist.txt"));
  EXPECT_FALSE(std::filesystem::exists(left));
}

}  // namespace
