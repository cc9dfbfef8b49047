#include "store/check/saveset_check.h"

#include "store/dead_runs.h"

namespace store {
namespace {

Status Differs(const Saveset& saveset, const std::string& which, const std::string& cost) {
  return Status::Damaged("object " + SavesetObject(saveset.uid, which) + " of saveset " + saveset.name +
                         " is missing, or does not say what the catalog says: if the catalog were lost, " +
                         cost);
}

// If a program was killed before it wrote both, the row has the worse of the two results.
Status Compare(const SavesetObjects& objects, const std::optional<State>& closed, bool hasClosed,
               const Saveset& saveset) {
  const Saveset& told = objects.saveset;
  // Nothing came into the saveset, so a rebuild has nothing to name. Only the row was left, by a program that
  // was killed, or whose place failed.
  if (!objects.begun && saveset.items == 0) {
    return {};
  }
  if (!objects.begun || told.name != saveset.name || told.database != saveset.database ||
      told.pool != saveset.pool || told.created != saveset.created || told.together != saveset.together) {
    return Differs(saveset, "begin", "name, database and pool would be lost");
  }
  if (saveset.mover == Mover::kEndedClean && told.mover != Mover::kEndedClean) {
    return Differs(saveset, "end", "the saveset would count as failed");
  }
  const bool isClosed = closed || saveset.failed || saveset.warnings;
  if (isClosed && (!hasClosed || told.failed != saveset.failed || told.warnings != saveset.warnings)) {
    return Differs(saveset, "closed", "nobody would know how its backup was closed");
  }
  if (told.isProtected != saveset.isProtected) {
    return Differs(saveset, "protected", "nobody would know whether it is protected");
  }
  return {};
}

Status CheckOnce(const ObjectShelf& shelf, Catalog& catalog, const Saveset& saveset) {
  SavesetObjects objects;
  if (Status read = ReadSavesetObjects(shelf, saveset.uid, objects); !read) {
    return read.Within("saveset " + saveset.name);
  }
  std::optional<State> closed;
  std::optional<std::uint64_t> size;
  Status asked = catalog.FindClosedState(saveset.id, closed);
  if (asked) {
    asked = shelf.place.Size(SavesetObject(saveset.uid, "closed"), size);
  }
  return asked ? Compare(objects, closed, size.has_value(), saveset) : asked;
}

}  // namespace

// Row and object are not written at the same moment. What does not agree is looked at again, with the row as
// it is now.
Status CheckSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Saveset& saveset) {
  Status checked = CheckOnce(shelf, catalog, saveset);
  if (checked) {
    return checked;
  }
  std::optional<Saveset> now;
  bool open = false;
  Status looked = catalog.FindSavesetByUid(saveset.uid, now);
  if (looked && now) {
    looked = catalog.HasOpenJob(now->id, Mode::kBackup, open);
  }
  if (!looked || !now || open) {
    return looked;
  }
  checked = CheckOnce(shelf, catalog, *now);
  if (!checked && !catalog.FindSavesetByUid(saveset.uid, now)) {
    return checked;
  }
  return now ? checked : Status();
}

Status MendSavesetObjects(const ObjectShelf& shelf, Catalog& catalog, const Uid& saveset, bool& good) {
  std::optional<Saveset> row;
  std::optional<State> closed;
  int written = 0;
  good = false;
  Status done = catalog.FindSavesetByUid(saveset, row);
  if (!done || !row) {
    return done;
  }
  done = catalog.FindClosedState(row->id, closed);
  if (!closed && (row->failed || row->warnings)) {
    closed = row->failed ? State::kFailed : State::kWarnings;
  }
  if (done) {
    done = WriteMissingObjects(shelf, *row, closed, written);
  }
  if (written > 0) {
    done = done ? DeleteIfForgotten(catalog, shelf, saveset) : done;
    good = done && CheckSavesetObjects(shelf, catalog, *row);
  }
  return done;
}

}  // namespace store
