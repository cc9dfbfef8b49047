// A repository and a directory to restore into; savesets are filled by hand, so that their names need not be
// those of files that ever were.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "store/by_hand.h"
#include "store/load/saveset_reader.h"
#include "support/run_program.h"
#include "xfr/restore.h"

class RestoreTest : public testing::Test {
 protected:
  void SetUp() override {
    config_.section = "test";
    config_.repository = directory_.File("repository");
    std::filesystem::create_directories(Root());
  }

  // Names as the items of this test have them.
  [[nodiscard]] std::string Root() const { return directory_.File("data"); }
  [[nodiscard]] std::string Name(const std::string& below) const { return Root() + Slash() + below; }
  static std::string Slash() {
    return std::string(1, static_cast<char>(std::filesystem::path::preferred_separator));
  }

  static void Write(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string Read(const std::string& path) { return support::ReadWholeFile(path); }

  // A saveset that is filled by hand: its names need not be those of what is read.
  void BackUp(const std::function<void(store::SavesetWriter&)>& fill) {
    std::unique_ptr<store::Store> opened;
    ASSERT_TRUE(store::Store::Open(config_, store::Store::Access::kCreate, opened));
    store::BackupByHand backup(*opened);
    backup.Begin();
    ASSERT_EQ(backup.result.Trouble(), "");
    saveset_ = backup.result.saveset;
    fill(backup.Writer());
    backup.End();
    ASSERT_EQ(backup.result.Trouble(), "");
  }

  void SaveAs(store::SavesetWriter& writer, const std::string& name, const std::string& text, bool inside) {
    const std::string path = directory_.File("source");
    Write(path, text);
    store::Saved saved;
    const store::Status done = store::SaveFile(writer, path, name, inside, saved);
    ASSERT_TRUE(done && saved.trouble.empty()) << done.Message() << saved.trouble;
  }

  static platform::FileFacts DirectoryFacts() {
    platform::FileFacts facts;
    facts.modified.seconds = 1'000'000'000;
    facts.mode = Slash() == "/" ? 0755 : 0;
    return facts;
  }

  // As the data mover does it; what it says goes to `said_`.
  End Restore(const std::vector<std::string>& items, const std::string& destination = "") {
    std::unique_ptr<store::Store> opened;
    EXPECT_TRUE(store::Store::Open(config_, store::Store::Access::kWrite, opened));
    std::string session;
    EXPECT_TRUE(opened->OpenSession(store::Mode::kRestore, "client", {}, session));
    EXPECT_TRUE(opened->OpenJob({store::Mode::kRestore, session, saveset_, "job", ""}, saveset_));
    Request request;
    request.restore = true;
    request.saveset = saveset_;
    request.destination = destination;
    request.replace = true;
    for (const std::string& item : items) {
      request.items.Add(item);
    }
    testing::internal::CaptureStderr();
    const End end = ::Restore(request, *opened);
    said_ = testing::internal::GetCapturedStderr();
    return end;
  }

  bool Said(const std::string& text) const { return said_.find(text) != std::string::npos; }

  support::TemporaryDirectory directory_;
  store::ServerConfig config_;
  std::string saveset_;
  std::string said_;
};
