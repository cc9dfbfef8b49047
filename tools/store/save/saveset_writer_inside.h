// What the writer's own files share.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/data_file.h"
#include "store/save/base.h"
#include "store/save/committer.h"
#include "store/save/file_saver.h"
#include "store/save/pack_filler.h"
#include "store/save/run_lease.h"
#include "store/save/saveset_writer.h"
#include "store/save/workers.h"

namespace store {

class SavesetWriter::Inside {
 public:
  Inside(Store& store, Confirm confirm, Again again)
      : store_(store), confirm_(std::move(confirm)), again_(std::move(again)) {}

  Status Begin(const std::string& name);
  void LookAhead(const std::vector<std::string>& names);
  Status Save(const std::string& name, platform::DataFile& source, Saved& saved);
  Status BeginDirectory(const std::string& name, const platform::FileFacts& facts);
  Status SaveInside(const std::string& name, platform::DataFile& source, Saved& saved);
  Status AddInside(const std::string& name, ItemKind kind, const platform::FileFacts& facts,
                   const std::string& link);
  Status EndDirectory(bool whole);
  Status Settle();
  Status End(bool good, bool firstLevel, const std::string& why);

 private:
  // What has to be known of a file until it is committed, so that it can be saved again.
  struct Reopen {
    platform::FileId id;
    std::uint64_t directory = 0;
  };

  Item NewItem(const std::string& name, ItemKind kind, const platform::FileFacts& facts);
  Status SaveFile(Item item, platform::DataFile& source, bool mayRefer, Saved& saved);
  Status BeginSaving();
  Status GiveUpFile();
  void Complete(Item item, MapTree tree, bool waits);
  Status Pace();
  // Whether the small items that wait for their group have to be confirmed now.
  [[nodiscard]] bool HasWaited() const {
    // Nobody waits longer than this for the line of a small item, as far as the disk allows.
    constexpr auto kLongestWait = std::chrono::milliseconds(500);
    return waitsSince_ && std::chrono::steady_clock::now() - *waitsSince_ >= kLongestWait;
  }
  Status EndGroup();
  void Deliver();
  Status SaveAgain();
  Status SaveAgain(const Item& old, const Reopen& how);
  Status Finish();
  Status DropDirectory();
  void NoteParent(const Item& item);
  Status FinishWithFirstLevel();
  Status EndRun(Catalog& rows, bool clean, const std::string& why);
  Status EndFailedRun();
  Status Keep(Status status);
  [[nodiscard]] bool IsOver() const { return !failure_; }

  Store& store_;
  Confirm confirm_;
  Again again_;
  Saveset saveset_;
  Uid run_;
  std::unique_ptr<RunHold> hold_;
  std::unique_ptr<RunLease> lease_;  // for others, who cannot see the hold
  std::unique_ptr<Workers> workers_;
  std::unique_ptr<Committer> committer_;
  std::unique_ptr<PackFiller> filler_;
  std::unique_ptr<FileSaver> files_;
  std::unique_ptr<BaseFinder> bases_;  // null if every backup stands alone
  std::int64_t started_ = 0;
  bool begun_ = false;
  Status failure_;  // the first one of the store: nothing is done after it

  std::uint64_t numbers_ = 0;  // of items
  std::optional<std::chrono::steady_clock::time_point> waitsSince_;
  std::unordered_map<std::uint64_t, Reopen> referring_;  // by number: files that refer to packs of others
  std::deque<Item> toSaveAgain_;
  bool againFailed_ = false;

  std::optional<Item> inDirectory_;
  bool directoryFailed_ = false;

  std::string parent_;      // the directory that directly contains every item
  bool scattered_ = false;  // there is no such directory
  bool anyItem_ = false;
  bool firstLevelAdded_ = false;
};

}  // namespace store
