// The small objects beside the packs: what the repository is, and what became of each saveset. From them and
// the packs the catalog can be made anew. docs/store.md has the format.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "store/catalog/catalog.h"
#include "store/keys/keys.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

// Where such objects are kept, and with which keys.
struct ObjectShelf {
  Place& place;
  const Keys& keys;
  const Uid& repository;
};

// ---- The repository's own object ----

// `abilities` tells what else the place can do (Place::Explore): a note for people.
[[nodiscard]] std::string EncodeRepository(const Uid& repository, const Keys& keys,
                                           const std::string& abilities = "");
// The id of the repository, and what its object says of the keys (for Keys::Read).
Status DecodeRepository(std::string_view bytes, Uid& repository, std::string& keysPart);
// The note of the place's abilities; empty if there is none.
[[nodiscard]] std::string DecodeAbilities(std::string_view bytes);

// ---- Savesets. What was never put tells something, too: a mover that never ended has failed. ----

// To be put before anybody is told the saveset's name.
Status PutSavesetBegin(const ObjectShelf& shelf, const Saveset& saveset);
// `items`: how many items the saveset has then, without those that are part of a directory.
Status PutSavesetEnd(const ObjectShelf& shelf, const Uid& saveset, Mover mover, std::int64_t items,
                     std::int64_t time);
Status PutSavesetClosed(const ObjectShelf& shelf, const Uid& saveset, State state, std::int64_t time);
// Notes that the backup to which the saveset belongs failed as a whole, whatever became of the saveset
// itself.
Status PutBackupFailed(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time);

// Notes that no rule may delete the saveset; takes that back.
Status PutSavesetProtected(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time);
Status DeleteSavesetProtected(Place& place, const Uid& saveset);

// How many items the object `end` tells; none without such an object, so without a mover that ended.
Status ReadSavesetEnd(const ObjectShelf& shelf, const Uid& saveset, std::optional<std::int64_t>& items);

// Writes anew, from the saveset's row, those of its objects that are missing or damaged. `closed`: how its
// backup job was closed, if it was. `written` gets their number.
Status WriteMissingObjects(const ObjectShelf& shelf, const Saveset& saveset, std::optional<State> closed,
                           int& written);

// Deletes all objects of a saveset, the one with its name last.
Status DeleteSavesetObjects(Place& place, const Uid& saveset);

// What the objects tell of one saveset.
struct SavesetObjects {
  bool begun = false;  // its object `begin` is there; without it, name, database, pool and time are lost
  Saveset saveset;     // number of items and end as its object `end` tells them; 0 and none if it tells none
};
// kDamaged if all objects could be looked at, but one cannot be used; what the others tell is given all the
// same. An object that tells something just by being there does so even if it is damaged.
Status ReadSavesetObjects(const ObjectShelf& shelf, const Uid& uid, SavesetObjects& objects);

}  // namespace store
