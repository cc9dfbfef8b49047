// Savesets that a test fills and reads by hand: a backup as the control tool and the data mover make it, step
// by step, and the bytes of one item.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "store/save/saveset_writer.h"
#include "store/store.h"

namespace store {

struct JobByHand {
  std::string saveset = "ABC_1234567890";  // the name that is proposed
  std::string pool = "pool";
  Process owner = {};
};

class BackupByHand {
 public:
  struct Result {
    // Why something was not saved; empty if everything was.
    [[nodiscard]] std::string Trouble() const;

    std::string saveset;
    Status status;  // the first that was not good
    std::set<std::string> confirmed;
    std::vector<std::string> again;  // files that had to be saved a second time; with their trouble, if any
    std::map<std::string, Saved> saved;
  };

  // Opens session and job.
  explicit BackupByHand(Store& store, const JobByHand& job = {});
  BackupByHand(const BackupByHand&) = delete;
  BackupByHand& operator=(const BackupByHand&) = delete;

  // What the mover does, as long as all goes well. A file is saved under its path, or under another name.
  void Begin();
  void Save(const std::string& path, const std::string& name = "") { SaveAs(path, name, false); }
  void SaveInside(const std::string& path, const std::string& name = "") { SaveAs(path, name, true); }
  [[nodiscard]] SavesetWriter& Writer() { return *writer_; }
  void Note(const Status& status);

  // The ends of mover, job and session. `End` is all three: failed, if something was.
  void EndMover();
  void CloseJob(State state);
  void CloseSession(State state);
  void End(State state = State::kGood);

  Result result;
  std::string session;

 private:
  void SaveAs(const std::string& path, const std::string& name, bool inside);

  Store& store_;
  std::unique_ptr<SavesetWriter> writer_;
};

// Reads the file into the saveset, also into a directory of it.
Status SaveFile(SavesetWriter& writer, const std::string& path, const std::string& name, bool inside,
                Saved& saved);

// What a restore of the item gives: its bytes, or why they do not come. `found` gets the item.
std::string BytesOf(Store& store, const std::string& saveset, const std::string& name, Item* found = nullptr);

}  // namespace store
