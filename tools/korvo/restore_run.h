// Restores items of a saveset below a directory. Below it, each item has the whole path that it was saved
// under.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "restore/placer.h"
#include "restore/restore_directory.h"
#include "store/load/saveset_reader.h"

namespace korvo {

class RestoreRun {
 public:
  // `directory`, where everything goes, is made if it is missing. `reader` and `teller` must outlive this
  // object.
  RestoreRun(store::SavesetReader& reader, std::string directory, Placer::Rules rules, RestoreTeller& teller);

  // Restores the items with these names, and what is in the directories with these names. Each comes once,
  // even if it is also in another one of them.
  void TakeNamed(const std::vector<std::string>& names);
  // Restores everything that is in the saveset.
  void TakeAll(store::Catalog& rows, const store::Saveset& saveset);
  // When it returns, everything is in its place and on the disk.
  void Settle() { placer_.Settle(); }

  // Where an item of this name goes: its path without the root, below the directory. Of a drive only the
  // letter stays.
  [[nodiscard]] std::string PlaceOf(const std::string& name) const;

 private:
  [[nodiscard]] bool IsOfDirectory(const std::string& name);
  store::Status CheckIsThere(const std::string& name);
  void Take(const std::string& name);
  void TakeItem(const store::Item& item);
  void TakeDirectory(const std::string& name, const std::optional<store::Item>& item);
  [[nodiscard]] Placer::Target TargetOf(const std::string& name) const;
  [[nodiscard]] bool IsFirstAt(const std::string& place, const store::Item& item);

  store::SavesetReader& reader_;
  std::string directory_;
  Placer placer_;
  std::unordered_map<std::size_t, std::uint64_t> taken_;  // item numbers, by the hash of their places
};

}  // namespace korvo
