// Reads files from one saveset. Blocks are read ahead, checked and decompressed on all cores, in limited
// memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data_file.h"
#include "store/store.h"

namespace store {

class SavesetReader {
 public:
  explicit SavesetReader(Store& store);
  SavesetReader(const SavesetReader&) = delete;
  SavesetReader& operator=(const SavesetReader&) = delete;
  ~SavesetReader();

  // Takes a saveset that has an open restore job.
  Status Begin(const std::string& name);
  // Takes any saveset, for the owner's tools.
  Status BeginWithoutJob(const std::string& name);
  // The saveset; valid after it was begun.
  [[nodiscard]] const Saveset& Source() const;
  // Names that are asked for next, at most `Catalog::kNamesAtOnce` of them. Not needed, but saves queries of
  // the catalog.
  void LookAhead(const std::vector<std::string>& names);
  // The item that is asked for by this name, if the saveset contains it.
  Status Find(const std::string& asked, std::optional<Item>& item);
  // Gives what is in a directory (Catalog::FindItemsIn).
  Status FindIn(const std::string& asked, std::string& directory, const Catalog::EachItem& each);
  // How many items are part of the directory that was saved whole under this number. It also counts those
  // whose name another item of the saveset has, which `FindIn` does not give.
  Status CountEntries(std::uint64_t directory, std::uint64_t& entries);
  // How many bytes of the item are in no hole, which is what it takes on the disk. kDamaged as with `Copy`.
  Status RoomOf(const Item& item, std::uint64_t& bytes);
  // Writes the item's bytes into an empty file. When the status is good, all of them are there, exactly as
  // they were saved, with their holes. kDamaged or kMissing: the message names item, saveset, pack and
  // position. Other threads may copy other items at the same time.
  Status Copy(const Item& item, platform::DataFile& target);
  // The same without a file: whether `Copy` would succeed.
  Status Rehearse(const Item& item);
  // Gives the item's bytes to `take` in their order. What was given before a failure is good.
  Status Stream(const Item& item, const std::function<Status(std::string_view bytes)>& take);
  // The failure of a `Copy`; if it is damage, it also names the next older saveset that has the item. Not to
  // be called while others use the store's catalog.
  [[nodiscard]] Status WithOlderCopy(const Item& item, const Status& failure);
  // Marks the packs in the catalog that `Copy` found damaged or missing, if the catalog can be written. The
  // destructor does that, too.
  void MarkDamagedPacks();

 private:
  class Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace store
