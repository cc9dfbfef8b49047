// Takes files out of one saveset. Blocks are read ahead, checked and decompressed on all cores, in bounded
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

  // Takes a saveset with an open restore job.
  Status Begin(const std::string& name);
  // Takes any saveset: for the owner's tools.
  Status BeginWithoutJob(const std::string& name);
  // The saveset, from its beginning on.
  [[nodiscard]] const Saveset& Source() const;
  // Names that are asked for next. Not needed, but then fewer questions are asked of the catalog; at most
  // `Catalog::kNamesAtOnce` at once.
  void LookAhead(const std::vector<std::string>& names);
  // The item that is asked for by this name, if the saveset contains it.
  Status Find(const std::string& asked, std::optional<Item>& item);
  // What is in a directory (catalog.h tells).
  Status FindIn(const std::string& asked, std::string& directory, const Catalog::EachItem& each);
  // How many items are part of the directory that was saved whole under this number, also those whose name
  // another item of the saveset has, which `FindIn` does not hand out.
  Status CountEntries(std::uint64_t directory, std::uint64_t& entries);
  // How many bytes of the item are no hole: what it takes on the disk. kDamaged as with `Copy`.
  Status RoomOf(const Item& item, std::uint64_t& bytes);
  // Writes the item's bytes into an empty file. When the status is good, they are all there, the very ones
  // that were saved, with their holes. kDamaged, or kMissing, names item, saveset, pack and position. Other
  // threads may copy other items at the same time.
  Status Copy(const Item& item, platform::DataFile& target);
  // The same to nowhere: whether `Copy` would be good.
  Status Rehearse(const Item& item);
  // Hands out the item's bytes in their order. What was handed out before a failure is good.
  Status Stream(const Item& item, const std::function<Status(std::string_view bytes)>& take);
  // The failure of a `Copy`; where it is damage, with the next older saveset that has the item. Not to be
  // called while others use the store's catalog.
  [[nodiscard]] Status WithOlderCopy(const Item& item, const Status& failure);
  // Tells the catalog of the packs that `Copy` found damaged or missing, if it can be written. Also done at
  // the end.
  void MarkDamagedPacks();

 private:
  class Inside;
  std::unique_ptr<Inside> inside_;
};

}  // namespace store
