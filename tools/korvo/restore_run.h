// Brings items of a saveset below a directory, each by the whole path that it was saved under.
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
  // `directory` is where everything goes; it is made if it is missing.
  RestoreRun(store::SavesetReader& reader, std::string directory, Placer::Rules rules, RestoreTeller& teller);

  // The items of these names, or what is in the directories of these names: each once, also one that lies in
  // another one.
  void TakeNamed(const std::vector<std::string>& names);
  // Everything that is in the saveset.
  void TakeAll(store::Catalog& rows, const store::Saveset& saveset);
  // Everything is in its place.
  void Settle() { placer_.Settle(); }

  // Below the directory: the path without its root; of a drive its letter alone.
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
  std::unordered_map<std::size_t, std::uint64_t> taken_;  // which item came, by the hash of its place
};

}  // namespace korvo
