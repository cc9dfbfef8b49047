// Who tells the catalog how far it is, and whose word counts no longer.
#include "store/progress_row.h"

#include <gtest/gtest.h>

#include "platform/data_file.h"
#include "store/dead_runs.h"
#include "store/restore_fixture.h"

namespace {

using store::RunProgress;

class ProgressRowTest : public RestoreTest {
 protected:
  void SetUp() override {
    RestoreTest::SetUp();
    BackUp([this](store::SavesetWriter& writer) { SaveAs(writer, Name("f"), "content", false); });
    ASSERT_TRUE(store::Store::Open(config_, store::Store::Access::kRead, store_));
    ASSERT_TRUE(store_->FindSaveset(saveset_, it_));
  }

  std::vector<RunProgress> Listed() {
    std::vector<RunProgress> runs;
    EXPECT_TRUE(store_->Rows().ListProgress(runs));
    return runs;
  }
  std::vector<std::string> Alive() {
    std::vector<RunProgress> runs;
    EXPECT_TRUE(store::ListLiveProgress(store_->Rows(), store_->Objects(), runs));
    std::vector<std::string> tools;
    for (const RunProgress& run : runs) {
      tools.push_back(run.tool);
    }
    return tools;
  }

  // A run of that name and process that told of itself so many seconds ago.
  void TellOf(const std::string& tool, const store::Process& process, std::int64_t ago) {
    RunProgress run;
    std::int64_t now = 0;
    ASSERT_TRUE(store_->Rows().Now(now));
    run.uid = store::Uid::Random();
    run.tool = tool;
    run.process = process;
    run.began = now - ago - 5;
    run.told = now - ago;
    ASSERT_TRUE(store_->Rows().TellProgress(run));
  }

  std::unique_ptr<store::Store> store_;
  store::Saveset it_;
};

TEST_F(ProgressRowTest, TellsOfTheWorkAsLongAsItGoesOn) {
  {
    store::ProgressRow row(*store_, "restore", &it_);
    EXPECT_TRUE(Listed().empty()) << "nothing was told yet";
    store_->Work().AddItems(3);
    store_->Work().AddBytes(70);
    row.Tell();
    store_->Work().AddBytes(7);
    store_->Work().Expect(4, 100);
    row.Tell();
    const std::vector<RunProgress> told = Listed();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told.front().tool, "restore");
    EXPECT_EQ(told.front().savesetName, saveset_);
    EXPECT_EQ(told.front().process.number, platform::ThisProcess().number);
    EXPECT_EQ(told.front().state.items, 3u);
    EXPECT_EQ(told.front().state.bytes, 77u);
    EXPECT_EQ(told.front().state.allItems, 4u);
    EXPECT_EQ(told.front().state.allBytes, 100u);
    EXPECT_EQ(Alive(), std::vector<std::string>{"restore"});
  }
  EXPECT_TRUE(Listed().empty()) << "its end takes the row away";
}

// Nobody but the next one who writes takes the rows of dead programs away; nobody sees them until then.
TEST_F(ProgressRowTest, OfDeadProgramsNothingIsSeen) {
  const platform::ProcessIdentity self = platform::ThisProcess();
  const store::Process alive = {self.space, self.number, self.start};
  const store::Process dead = {self.space, self.number, "another time"};
  const store::Process elsewhere = {"no-such-host", 17, "some time"};
  TellOf("alive", alive, 5000);
  TellOf("dead", dead, 1);
  TellOf("elsewhere", elsewhere, 60);
  TellOf("long silent", elsewhere, 5000);
  EXPECT_EQ(Alive(), (std::vector<std::string>{"alive", "elsewhere"}));
  EXPECT_EQ(Listed().size(), 4u);
  store::DeadRuns dropped;
  ASSERT_TRUE(
      store::EndDeadRuns(store_->Rows(), {store_->Objects(), store_->Secrets(), store_->Id()}, dropped));
  EXPECT_EQ(Listed().size(), 2u);
  EXPECT_EQ(dropped.runs, 0u) << "no backup was lost with them";
}

}  // namespace
