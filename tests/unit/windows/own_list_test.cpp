// A list that a killed run of another account has left: one that cannot be removed.
#include "backint/base/own_list.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "support/run_fixture.h"

namespace {

class WindowsOwnList : public RunFixture {};

TEST_F(WindowsOwnList, AListThatCannotBeRemovedIsNotUsed) {
  Params().szSapDataHome = directory_.Path();
  std::filesystem::create_directory(directory_.File("saptrace"));
  const std::string left = directory_.File("saptrace") + "\\filelist.txt";
  const HANDLE held =
      CreateFileA(left.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  const std::string path = OwnList(OwnList::Name::kFileList).Path();
  CloseHandle(held);
  EXPECT_TRUE(path.ends_with("filelist_" + std::to_string(platform::ProcessId()) + ".txt")) << path;
  EXPECT_TRUE(OwnList(OwnList::Name::kFileList).Path().ends_with("filelist.txt"));
  EXPECT_FALSE(platform::Exists(left));
}

}  // namespace
