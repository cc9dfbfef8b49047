// Reads a whole repository, or a part of it each time, and compares everything that is kept twice: packs with
// their checksums, records and chunks with the catalog, saveset objects with the catalog's rows. Others may
// save, restore and delete meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "store/check/findings.h"
#include "store/store.h"

namespace store {

// Which packs are read. The catalog and the saveset objects always are.
struct CheckScope {
  std::vector<Saveset> savesets;  // only packs that these need; empty: the packs of all savesets
  double percent = 100;           // of their bytes; packs that were not checked for longest come first
  std::optional<std::int64_t> uncheckedSince;  // only packs that were not checked since (seconds since 1970)
};

class RepositoryCheck {
 public:
  RepositoryCheck(Store& store, CheckListener listener) : store_(store), listener_(std::move(listener)) {}

  struct Result {
    std::uint64_t savesets = 0;
    std::uint64_t packs = 0;  // those that the catalog knows
    std::uint64_t bytes = 0;
    std::uint64_t readPacks = 0;
    std::uint64_t readBytes = 0;
    std::uint64_t damages = 0;    // that were told
    bool catalogDamaged = false;  // then no pack was read: what should be in them is not known
  };
  // Damage is told and marked in the catalog; what is good is noted there with the time. Small objects of a
  // saveset that are missing or damaged are written anew. All of this only if the catalog can be written.
  // Without the private key of an encrypted repository everything but the content of the data is checked
  // (`Keys::CanRead` tells). A failure means that the check could not be carried out.
  Status Run(const CheckScope& scope, Result& result);
  // Reads every item of these savesets (none: of all) as a restore would, but writes it nowhere. `result`
  // counts items and their bytes in the place of packs.
  Status Restore(const std::vector<Saveset>& savesets, Result& result);

 private:
  Status CheckCatalog();
  Status CheckRepositoryObject();
  Status CheckSavesets();
  Status TellObjects(const Saveset& saveset, const Status& damage);
  Status CheckPlace(std::vector<PackFacts>& packs);
  Status TellUnknown(const Uid& pack);
  Status Choose(const CheckScope& scope, std::vector<PackFacts>& packs);
  Status CheckPacks(const std::vector<PackFacts>& packs);
  Status RestoreSaveset(const Saveset& saveset);
  void Tell(const Damage& damage);

  Store& store_;
  CheckListener listener_;
  Result result_;
};

}  // namespace store
