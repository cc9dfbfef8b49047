// If two programs make one repository at once, they agree here which of their proposals it becomes.
#include "store/catalog/catalog.h"

namespace store {
namespace {

Status Propose(SqlEngine& engine, std::string& object) {
  const SqlTypes types = engine.Types();
  if (Status made =
          engine.Run("CREATE TABLE IF NOT EXISTS founding(number " + types.number +
                         " NOT NULL PRIMARY KEY, object " + types.bytes + " NOT NULL)" + types.byKey,
                     {});
      !made) {
    return made;
  }
  std::string found;
  if (Status read = engine.Run("SELECT object FROM founding WHERE number = 1", {},
                               [&found](const SqlRow& row) {
                                 found = row.Bytes(0);
                                 return Status();
                               });
      !read) {
    return read;
  }
  if (!found.empty() || object.empty()) {
    object = found;
    return {};
  }
  return engine.Run("INSERT INTO founding (number, object) VALUES (1, $1)", {object});
}

}  // namespace

Status Catalog::Found(SqlEngine& engine, std::string& object) {
  constexpr int kAttempts = 20;
  Status done;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string agreed = object;
    if (done = engine.Begin(); done) {
      done = Propose(engine, agreed);
      if (done) {
        done = engine.Commit();
      } else {
        engine.Rollback();
      }
    }
    if (done) {
      object = agreed;
    }
    if (done.What() != Status::Kind::kConflict) {
      return done;
    }
  }
  return done;
}

}  // namespace store
