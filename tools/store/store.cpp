#include "store/store.h"

#include <algorithm>

#include "store/dead_runs.h"
#include "store/names.h"
#include "store/repository_place.h"
#include "store/saveset_objects.h"

namespace store {
namespace {

// The catalog's advice when it is damaged.
constexpr const char* kRebuildAdvice = "`korvo rebuild`";
// Stands for a session of a restore where no row can be written: nothing is noted, and nothing is to be
// closed.
constexpr const char* kUnnotedSession = "unnoted";

// A number that the catalog gave out; 0 for a text that is no such number.
std::int64_t ToId(const std::string& text) {
  constexpr std::size_t kMostDigits = 15;
  const bool number = !text.empty() && text.size() <= kMostDigits &&
                      text.find_first_not_of("0123456789") == std::string::npos;
  return number ? std::stoll(text) : 0;
}

Status CheckProposedName(const std::string& name) {
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7f'; });
  if (name.empty() || name == "NULL" || name.size() > kSavesetNameWidth || !plain || name[0] == '#' ||
      name.find('@') != std::string::npos) {
    return Status::Failed("the proposed saveset name is not usable: " + name + " (1 to " +
                          std::to_string(kSavesetNameWidth) + " characters without a space or @)");
  }
  return {};
}

Status WithServer(const Status& status, const std::string& server) {
  const std::string advice = kRebuildAdvice;
  std::string message = status.Message();
  const std::size_t at = message.find(advice);
  if (status.What() != Status::Kind::kDamaged || at == std::string::npos) {
    return status;
  }
  return Status::Damaged(message.insert(at + advice.size() - 1, " " + server));
}

bool MayGoUnnoted(const Status& status) { return status.What() == Status::Kind::kNoRoom; }

}  // namespace

// The catalog's message asks for a rebuild; for which server is known only here.
Status Store::Explain(const Status& status) const {
  return WithServer(status, config_.section).Within("repository " + config_.repository);
}

// ---- Sessions -----------------------------------------------------------------------------------

Status Store::OpenSession(Mode mode, const std::string& client, const Process& owner, std::string& session) {
  const bool restores = mode == Mode::kRestore;
  // What a database lets nobody write, it gives the reason for itself.
  if (!catalog_->CanWrite() && (restores || !catalog_->IsShared())) {
    session = kUnnotedSession;
    return restores ? Status()
                    : Explain(Status::Failed(
                          "nothing can be backed up to it: its disk is full or write-protected, or"
                          " this user may not write there"));
  }
  std::int64_t id = 0;
  Status added = catalog_->AddSession(mode, client, owner, id);
  const bool unnoted = restores && MayGoUnnoted(added);
  session = unnoted ? kUnnotedSession : std::to_string(id);
  return unnoted ? Status() : Explain(added);
}

// `id` is 0 for a session that could not be noted.
Status Store::UseSession(Mode mode, const std::string& session, std::int64_t& id) {
  id = 0;
  if (mode == Mode::kRestore && session == kUnnotedSession) {
    return {};
  }
  std::optional<Session> found;
  if (Status status = catalog_->FindSession(ToId(session), found); !status) {
    return Explain(status);
  }
  if (!found) {
    return Status::Failed("session " + session + " is not known here: open a session first");
  }
  if (found->closed) {
    return Status::Failed("session " + session + " is closed: open a new session");
  }
  if (found->mode != mode) {
    return Status::Failed("session " + session + " was opened for a " +
                          (mode == Mode::kBackup ? "restore" : "backup") + ": open one for this work");
  }
  id = found->id;
  return {};
}

Status Store::CloseSession(Mode mode, const std::string& session, State state) {
  std::int64_t id = 0;
  if (Status found = UseSession(mode, session, id); !found || id == 0) {
    return found;
  }
  if (mode == Mode::kBackup && state == State::kFailed) {
    if (Status noted = NoteBackupFailed(*catalog_, {*place_, keys_, id_}, id); !noted) {
      return Explain(noted);
    }
  }
  if (Status closed = catalog_->CloseSession(id, state); !closed) {
    const bool unnoted = mode == Mode::kRestore && (MayGoUnnoted(closed) || !catalog_->CanWrite());
    return unnoted ? Status() : Explain(closed);
  }
  if (mode == Mode::kBackup) {
    // The result of the session stands. What cannot be deleted now is deleted by the next one.
    if (Status deleted = DeleteMarked(config_.grace); !deleted) {
      notes_.push_back(deleted.Message());
    }
  }
  return {};
}

// ---- Jobs ---------------------------------------------------------------------------------------

Status Store::FindSaveset(const std::string& name, Saveset& saveset) {
  std::optional<Saveset> found;
  if (Status status = catalog_->FindSaveset(name.substr(0, name.find('@')), found); !status) {
    return Explain(status);
  }
  if (!found) {
    return Status::Failed("saveset " + name + " is not known here: a query lists those that are");
  }
  saveset = *found;
  return {};
}

Status Store::OpenJob(const JobRequest& request, std::string& saveset) {
  std::int64_t session = 0;
  if (Status used = UseSession(request.mode, request.session, session); !used) {
    return used;
  }
  return request.mode == Mode::kBackup ? OpenBackupJob(request, session, saveset)
                                       : OpenRestoreJob(request, session, saveset);
}

Status Store::OpenBackupJob(const JobRequest& request, std::int64_t session, std::string& saveset) {
  if (Status checked = CheckProposedName(request.saveset); !checked) {
    return checked;
  }
  if (Status keys = keys_.CanSave(); !keys) {
    return Explain(keys);
  }
  Saveset opened;
  opened.uid = Uid::Random();
  opened.name = request.saveset;
  opened.database = DatabaseOfProposedName(request.saveset);
  opened.pool = request.pool;
  if (Status added = catalog_->OpenBackupJob({session, request.mode, request.name, request.pool}, opened);
      !added) {
    return Explain(added);
  }
  if (Status put = PutSavesetBegin({*place_, keys_, id_}, opened); !put) {
    // Nobody learns the saveset's name, so nothing ever comes into it.
    bool found = false;
    Ignore(catalog_->CloseJob(session, opened.id, State::kFailed, found));
    return Explain(put);
  }
  saveset = opened.name;
  return {};
}

Status Store::RefuseMarked(const Saveset& saveset) const {
  return Status::Failed("saveset " + saveset.name + " is marked to be deleted: korvo keep " +
                        config_.section + " " + saveset.name + " takes that back");
}

Status Store::OpenRestoreJob(const JobRequest& request, std::int64_t session, std::string& saveset) {
  Saveset used;
  if (Status found = FindSaveset(request.saveset, used); !found) {
    return found;
  }
  if (used.items == 0) {
    return Status::Failed("saveset " + request.saveset + " contains nothing: choose another backup");
  }
  if (used.marked) {
    return RefuseMarked(used);
  }
  saveset = used.name;
  if (session == 0) {
    return {};
  }
  Status added = catalog_->OpenRestoreJob({session, request.mode, request.name, request.pool}, used.id);
  return MayGoUnnoted(added) || !catalog_->CanWrite() ? Status() : Explain(added);
}

// The object is put before the catalog knows: what a rebuild finds is never better than what the caller was
// told.
Status Store::NoteClosed(const Saveset& saveset, State state) {
  bool open = false;
  if (Status asked = catalog_->HasOpenJob(saveset.id, Mode::kBackup, open); !asked || !open) {
    return asked;
  }
  std::int64_t now = 0;
  Status told = catalog_->Now(now);
  return told ? PutSavesetClosed({*place_, keys_, id_}, saveset.uid, state, now) : told;
}

Status Store::CloseJob(Mode mode, const std::string& session, const std::string& saveset, State state) {
  std::int64_t id = 0;
  Saveset used;
  if (Status found = UseSession(mode, session, id); !found) {
    return found;
  }
  if (Status found = FindSaveset(saveset, used); !found || id == 0) {
    return found;
  }
  if (mode == Mode::kBackup) {
    if (Status noted = NoteClosed(used, state); !noted) {
      return Explain(noted);
    }
  }
  bool found = false;
  Status closed = catalog_->CloseJob(id, used.id, state, found);
  if (mode == Mode::kRestore && (MayGoUnnoted(closed) || !catalog_->CanWrite())) {
    return {};
  }
  if (!closed) {
    return Explain(closed);
  }
  return found ? Status()
               : Status::Failed("session " + session + " has no open job on saveset " + saveset +
                                ": it was closed before, or never opened");
}

Status Store::FindOpenSaveset(const std::string& name, Mode mode, Saveset& saveset) {
  if (Status found = FindSaveset(name, saveset); !found) {
    return found;
  }
  // The job of a restore may have gone unnoted, for example because the disk of the catalog was full.
  if (mode == Mode::kRestore) {
    return {};
  }
  bool open = false;
  if (Status asked = catalog_->HasOpenJob(saveset.id, mode, open); !asked) {
    return Explain(asked);
  }
  return open ? Status()
              : Status::Failed("saveset " + name +
                               " has no open job for this work: open one by the control tool");
}

// ---- Lists --------------------------------------------------------------------------------------

Status Store::ListSavesets(const std::string& sid, const std::string& file, std::vector<std::string>& names) {
  const std::string database = DatabaseOfSid(sid);
  return Explain(file.empty() ? catalog_->ListSavesets(database, names)
                              : catalog_->ListSavesetsWith(database, file, names));
}

Status Store::ListItems(const std::string& sid, const std::string& saveset, const Catalog::EachItem& each) {
  Saveset used;
  if (Status found = FindSaveset(saveset, used); !found) {
    return found;
  }
  if (used.database != DatabaseOfSid(sid) || used.items == 0) {
    return Status::Failed("saveset " + saveset + " is no backup of database " + sid +
                          ": a query without a backup id lists those that are");
  }
  if (used.marked) {
    return RefuseMarked(used);
  }
  return Explain(catalog_->ListItems(used, each));
}

// ---- Doors --------------------------------------------------------------------------------------

Status Store::Connect(std::unique_ptr<Catalog>& catalog) {
  std::unique_ptr<SqlEngine> engine;
  if (Status connected = connect_(engine); !connected) {
    return Explain(connected);
  }
  catalog = std::make_unique<Catalog>(std::move(engine), id_);
  return {};
}

std::vector<std::string> Store::OwnPaths() const { return OwnPathsOf(config_); }

}  // namespace store
