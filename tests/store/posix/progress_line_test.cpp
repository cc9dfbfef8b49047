// The line that tells a person how far work has come, on a terminal.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "platform/data_file.h"
#include "store/progress_teller.h"
#include "store/restore_fixture.h"
#include "support/dice.h"
#include "support/posix/pseudo_terminal.h"

namespace {

using Lines = std::vector<std::string>;

void Wait(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

void Say(const std::string& line) {
  store::PrintBesideProgress([&line] { platform::WriteToStandardError(line + "\n"); });
}

// Work of so long that says something before its first second is over, in the middle, and at its end.
int Work(int milliseconds, bool line) {
  store::Progress progress;
  const auto count = [&progress](const auto& /*ended*/) { progress.Expect(4, 4096); };
  store::ProgressTeller teller(progress, {.line = line, .count = count});
  Say("first");
  progress.AddBytes(1024);
  Wait(milliseconds);
  Say("second");
  progress.AddItems(1);
  Wait(milliseconds);
  return 0;
}

TEST(PosixProgressLine, IsWrittenAnewAndTakenAwayForWhateverElseIsPrinted) {
  support::PseudoTerminal terminal(60);
  const std::string written = terminal.Run([] {
    const int status = Work(1700, true);
    Say("third");
    return status;
  });
  EXPECT_EQ(support::PseudoTerminal::Screen(written), (Lines{"first", "second", "third", ""})) << written;
  EXPECT_NE(written.find("\r0 of 4 items, 1.0 of 4.0 KiB, 25 %"), std::string::npos) << written;
  EXPECT_NE(written.find("\r1 of 4 items, 1.0 of 4.0 KiB, 25 %"), std::string::npos) << written;
  EXPECT_EQ(written.find("third"), written.find("\rthird") + 1) << "the line is gone before: " << written;
}

TEST(PosixProgressLine, NobodySeesItInTheFirstSecondOrIfItIsNotWanted) {
  support::PseudoTerminal quick(60);
  EXPECT_EQ(quick.Run([] { return Work(300, true); }), "first\r\nsecond\r\n");
  support::PseudoTerminal quiet(60);
  EXPECT_EQ(quiet.Run([] { return Work(700, false); }), "first\r\nsecond\r\n");
  testing::internal::CaptureStderr();
  Work(700, true);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "first\nsecond\n") << "no terminal";
}

// A mover that a person started by hand, held still until its first second is over.
class PosixMoverProgress : public RestoreTest {
 protected:
  void SetUp() override {
    RestoreTest::SetUp();
    Write(Name("large"), Noise(kSize, 1));
    Write(directory_.File("korvo.ini"), "[test]\nrepository=" + config_.repository + "\n");
    ASSERT_TRUE(store::Store::Open(config_, store::Store::Access::kCreate, store_));
    saveset_ = store::BackupByHand(*store_).result.saveset;
  }

  int Mover() {
    const std::string config = directory_.File("korvo.ini");
    setenv("KORVO_CONFIG", config.c_str(), 1);
    const std::string program = support::BuiltProgram("xfr");
    return execl(program.c_str(), "xfr", "-b", "-S", "test", "-s", saveset_.c_str(), Name("large").c_str(),
                 nullptr);
  }

  [[nodiscard]] bool HasPack() const {
    std::error_code error;
    const std::filesystem::path packs = config_.repository + "/packs";
    const auto entries = std::filesystem::recursive_directory_iterator(packs, error);
    // Of some size: something was read and counted by then.
    return std::any_of(begin(entries), end(entries), [](const auto& entry) {
      std::error_code missing;
      return entry.is_regular_file(missing) && entry.file_size(missing) >= 8 * 1024 * 1024 && !missing;
    });
  }

  void HoldStill(pid_t mover) const {
    for (int tries = 0; !HasPack() && tries < 20'000; ++tries) {
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    kill(mover, SIGSTOP);
    Wait(1500);
    kill(mover, SIGCONT);
  }

  static constexpr std::size_t kSize = 160 * 1024 * 1024;
  std::unique_ptr<store::Store> store_;
};

TEST_F(PosixMoverProgress, TellsAPersonAndTheCatalogHowFarItIs) {
  support::PseudoTerminal terminal(100);
  std::vector<store::RunProgress> told;
  const std::string written = terminal.Run([this] { return Mover(); },
                                           [&](pid_t mover) {
                                             HoldStill(mover);
                                             // Its next transaction tells it.
                                             for (int tries = 0; tries < 60'000; ++tries) {
                                               ASSERT_TRUE(store_->Rows().ListProgress(told));
                                               if (told.empty() || told.front().state.bytes > 0) {
                                                 break;
                                               }
                                               Wait(1);
                                             }
                                           });
  EXPECT_EQ(terminal.ExitStatus(), 0) << written;
  const Lines screen = support::PseudoTerminal::Screen(written);
  EXPECT_EQ(screen.front(), "-3108 Item processed successfully [" + Name("large") + "]");
  EXPECT_EQ(screen[screen.size() - 2], "3007 Operation successful");
  EXPECT_EQ(screen.size(), 4u) << written;
  // How many there are in all may be known by then.
  EXPECT_TRUE(written.find("\r0 items, ") != std::string::npos ||
              written.find("\r0 of 1 items, ") != std::string::npos)
      << written;
  EXPECT_NE(written.find(" MiB/s"), std::string::npos) << written;
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told.front().tool, "backup");
  EXPECT_EQ(told.front().savesetName, saveset_);
  EXPECT_GT(told.front().state.bytes, 0u);
  EXPECT_GE(told.front().told, told.front().began + 1);
  ASSERT_TRUE(store_->Rows().ListProgress(told));
  EXPECT_TRUE(told.empty()) << "its end takes the row away";
}

}  // namespace
