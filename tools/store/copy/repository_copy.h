// Copies to a second repository what it lacks of the first one. Others may work with both meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "store/check/findings.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {

class RepositoryCopy {
 public:
  // `listener` is told what is damaged in the first repository, and which items are left out because of that.
  RepositoryCopy(Store& from, Store& to, CheckListener listener)
      : from_(from), to_(to), listener_(std::move(listener)) {}

  struct Result {
    std::uint64_t savesets = 0;  // that were copied
    std::uint64_t there = 0;     // that were there already
    std::uint64_t open = 0;      // whose backup is not over: the next copy brings them
    std::uint64_t later = 0;     // that something is being deleted for in the copy: the same
    std::uint64_t packs = 0;
    std::uint64_t bytes = 0;
    std::uint64_t damages = 0;
    std::uint64_t mended = 0;  // packs that were damaged in the copy
  };
  // The packs of a saveset are announced and copied first, then come the rows of its items, then its objects;
  // then it is listed.
  // So wherever this ends, everything that the copy lists can be restored, and the next call goes on. A
  // saveset that is marked to be deleted is not copied. An item that needs a damaged pack is left out until a
  // later call finds the pack whole; a saveset of which no item can be copied is not listed. What the first
  // repository deletes later stays in the copy; what somebody deletes in the copy while it is copied is left
  // for the next call. A pack that a check of the copy found damaged or missing is copied again. `Work()` of
  // both stores counts the packs that are copied, and their bytes.
  Status Run(Result& result);

 private:
  Status CheckIsAnother(const Uid& heldByCopy);
  Status ListSavesets(std::vector<Saveset>& savesets);
  Status CountPacks(const std::vector<Saveset>& savesets);
  void CountWork(std::uint64_t packs, std::uint64_t bytes);
  Status GiveUpOthers(const std::vector<Saveset>& savesets);
  Status CopySaveset(const Saveset& saveset);
  Status ListPacks(const Saveset& saveset, std::vector<PackFacts>& packs);
  Status AnnouncePacks(const Saveset& saveset, const std::vector<PackFacts>& packs);
  Status CopyPacks(const std::vector<PackFacts>& packs);
  Status CopyPackIfMissing(const PackFacts& pack, bool& came);
  Status CopyPack(const PackFacts& pack);
  Status CopyItems(const Saveset& saveset, const std::optional<Saveset>& copy,
                   const std::vector<PackFacts>& packs, std::uint64_t& came);
  Status MendDamaged();
  Status Mend(const PackFacts& pack);
  Status CheckBytes(const Uid& pack);
  Status DropBrought();
  Status LeaveAsItIs(const Saveset& saveset, bool listed);
  Status FindTorn(const Saveset& saveset, std::set<std::uint64_t>& torn);
  Status CopyObjects(const Saveset& saveset, bool listed);
  Status CopyObject(const std::string& name);
  Status WriteObjects(const ObjectShelf& shelf, const Saveset& saveset);
  [[nodiscard]] bool IsBad(const Catalog::ItemRecord& record) const;
  Status TellBadIfKnown(const Uid& pack, const Status& why);
  Status TellBad(const Uid& pack, const Status& why);

  Store& from_;
  Store& to_;
  CheckListener listener_;
  Result result_;
  std::set<Uid> bad_;      // packs that cannot be copied
  std::set<Uid> brought_;  // packs that were copied for the saveset under way
};

}  // namespace store
