// The small objects beside the packs: what the repository is, and what became of a saveset. With them and the
// packs the catalog can be made anew. docs/store.md has the format.
#pragma once

#include <cstdint>
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

// `abilities` is what its place can do besides (Place::Explore): a note for people.
[[nodiscard]] std::string EncodeRepository(const Uid& repository, const Keys& keys,
                                           const std::string& abilities = "");
// The id of the repository and the public part of its keys (Keys::Read).
Status DecodeRepository(std::string_view bytes, Uid& repository, std::string& keysPart);
// The note of its abilities; empty if there is none.
[[nodiscard]] std::string DecodeAbilities(std::string_view bytes);

// ---- Savesets. What was never put tells something, too: a mover that never ended has failed. ----

// Durable before anybody is told the saveset's name.
Status PutSavesetBegin(const ObjectShelf& shelf, const Saveset& saveset);
// `items`: how many items of their own it has then.
Status PutSavesetEnd(const ObjectShelf& shelf, const Uid& saveset, Mover mover, std::int64_t items,
                     std::int64_t time);
Status PutSavesetClosed(const ObjectShelf& shelf, const Uid& saveset, State state, std::int64_t time);
// The backup that the saveset is a part of failed as a whole, however the saveset itself went.
Status PutBackupFailed(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time);

// That no rule deletes it, and that this is taken back.
Status PutSavesetProtected(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time);
Status DeleteSavesetProtected(Place& place, const Uid& saveset);

// All objects of a saveset go; the one that names it goes last.
Status DeleteSavesetObjects(Place& place, const Uid& saveset);

// What the objects tell of one saveset.
struct SavesetObjects {
  bool begun = false;  // its beginning is there: without it, name, database, pool and time are lost
  Saveset saveset;     // with the number of items that its end tells; 0 if it tells none
};
// kDamaged if all could be looked at and one cannot be used; what the others tell is given all the same. One
// that tells only by being there does so damaged, too.
Status ReadSavesetObjects(const ObjectShelf& shelf, const Uid& uid, SavesetObjects& objects);

}  // namespace store
