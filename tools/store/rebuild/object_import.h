// Imports packs and saveset objects into a new catalog. Reads no data, only tables, records and small
// objects.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/pack/pack_reader.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {

class ObjectImport {
 public:
  using Tell = std::function<void(const std::string& loss)>;
  // For each object that cannot be used, `tell` gets a sentence that also says what is lost by it.
  ObjectImport(const ObjectShelf& shelf, Catalog& catalog, Tell tell)
      : shelf_(shelf), catalog_(catalog), tell_([this, tell = std::move(tell)](const std::string& loss) {
          lossless_ = false;
          tell(loss);
        }) {}
  ObjectImport(const ObjectImport&) = delete;
  ObjectImport& operator=(const ObjectImport&) = delete;

  // Imports into an empty catalog. `rebuilt` gets the numbers and notes.
  Status Run(Store::Rebuilt& rebuilt);

 private:
  Status ImportSavesets();
  // If its number is lost, adds it to `withoutNumber` instead, unless that is null.
  Status ImportSaveset(const Uid& uid, std::vector<Uid>* withoutNumber);
  [[nodiscard]] std::string RecoveredName(const Uid& uid) const;
  Status ImportPacks();
  Status ImportPack(const Uid& uid, std::uint64_t size);
  Status ReadRecords(const PackReader& pack, std::vector<std::string>& records);
  void NoteOthers(Store::Rebuilt& rebuilt) const;
  Status CompareItems();

  ObjectShelf shelf_;
  Catalog& catalog_;
  Tell tell_;
  bool lossless_ = true;
  std::set<Uid> savesets_;                // those in the new catalog
  std::set<std::string> names_;           // their names
  std::map<Uid, std::int64_t> promised_;  // how many items each had at its end
  std::uint64_t packs_ = 0;
  std::map<Uid, std::uint64_t> others_;  // items of savesets that were deleted, or whose beginning is lost
};

}  // namespace store
