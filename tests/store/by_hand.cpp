#include "store/by_hand.h"

#include <gtest/gtest.h>

#include "platform/data_file.h"
#include "store/load/saveset_reader.h"
#include "support/run_program.h"

namespace store {

std::string BackupByHand::Result::Trouble() const {
  std::string trouble = status.Message();
  for (const auto& [name, how] : saved) {
    trouble += how.trouble.empty() ? "" : name + ": " + how.trouble;
  }
  return trouble;
}

BackupByHand::BackupByHand(Store& store, const JobByHand& job) : store_(store) {
  Note(store.OpenSession(Mode::kBackup, "client", job.owner, session));
  if (result.status) {
    Note(store.OpenJob({Mode::kBackup, session, job.saveset, "job", job.pool}, result.saveset));
  }
}

void BackupByHand::Begin() {
  if (!result.status) {
    return;
  }
  writer_ = std::make_unique<SavesetWriter>(
      store_,
      [this](const std::vector<Item>& items) {
        for (const Item& item : items) {
          result.confirmed.insert(item.name);
        }
      },
      [this](const Item& item, const Saved& saved) { result.again.push_back(item.name + saved.trouble); });
  Note(writer_->Begin(result.saveset));
}

void BackupByHand::SaveAs(const std::string& path, const std::string& name, bool inside) {
  const std::string& item = name.empty() ? path : name;
  if (result.status) {
    Note(SaveFile(*writer_, path, item, inside, result.saved[item]));
  }
}

void BackupByHand::Note(const Status& status) { result.status = result.status ? status : result.status; }

void BackupByHand::EndMover() {
  if (writer_ != nullptr) {
    Note(writer_->End(static_cast<bool>(result.status), false));
    writer_.reset();
  }
}

void BackupByHand::CloseJob(State state) {
  Note(store_.CloseJob(Mode::kBackup, session, result.saveset, state));
}

void BackupByHand::CloseSession(State state) { Note(store_.CloseSession(Mode::kBackup, session, state)); }

void BackupByHand::End(State state) {
  EndMover();
  const State end = result.status ? state : State::kFailed;
  if (!result.saveset.empty()) {
    CloseJob(end);
    CloseSession(end);
  }
}

Status SaveFile(SavesetWriter& writer, const std::string& path, const std::string& name, bool inside,
                Saved& saved) {
  std::string why;
  const auto source = platform::DataFile::OpenForReading(path, why);
  if (source == nullptr) {
    return Status::Failed(path + ": " + why);
  }
  return inside ? writer.SaveInside(name, *source, saved) : writer.Save(name, *source, saved);
}

std::string BytesOf(Store& store, const std::string& saveset, const std::string& name, Item* found) {
  SavesetReader reader(store);
  std::optional<Item> item;
  Status status = reader.BeginWithoutJob(saveset);
  status = status ? reader.Find(name, item) : status;
  if (!status || !item) {
    return status ? "not there" : status.Message();
  }
  if (found != nullptr) {
    *found = *item;
  }
  const support::TemporaryDirectory directory;
  std::string why;
  const auto file = platform::DataFile::CreateNew(directory.File("restored"), why);
  if (file == nullptr) {
    return why;
  }
  const Status copied = reader.Copy(*item, *file);
  return copied ? support::ReadWholeFile(directory.File("restored")) : copied.Message();
}

}  // namespace store
