#include "store/repository.h"

#include <algorithm>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"

namespace store {
namespace {

constexpr std::size_t kNumberDigits = 10;

// Numbers that the repository gives out; 0 for a text that is none of them.
std::int64_t ToId(const std::string& text) {
  const bool number = !text.empty() && text.size() < kNumberDigits + kNumberDigits / 2 &&
                      text.find_first_not_of("0123456789") == std::string::npos;
  return number ? std::stoll(text) : 0;
}

Status CheckProposedName(const std::string& name) {
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7f'; });
  if (name.empty() || name == "NULL" || name.size() > kSavesetNameWidth || !plain || name[0] == '#' ||
      name.find('@') != std::string::npos) {
    return Status::Failed("the proposed saveset name is not usable: " + name + " (1 to " +
                          std::to_string(kSavesetNameWidth) + " characters without a blank or @)");
  }
  return {};
}

}  // namespace

Status Repository::Open(const ServerConfig& config, Catalog::Access access,
                        std::unique_ptr<Repository>& repository) {
  std::unique_ptr<Repository> opened(new Repository(config));
  std::string why;
  const std::string savesets = config.repository + "/savesets";
  if (access == Catalog::Access::kCreate &&
      !platform::MakeDirectories(savesets, platform::DirectoryAccess::kPrivate, why)) {
    return opened->Explain(Status::Failed("it cannot be made: " + why));
  }
  if (Status status = opened->catalog_.Open(config.repository + "/catalog.db", access); !status) {
    return opened->Explain(status);
  }
  repository = std::move(opened);
  return {};
}

Status Repository::Explain(const Status& status) const {
  return status ? status : Status::Failed("repository " + config_.repository + ": " + status.Message());
}

Status Repository::OpenSession(Mode mode, const std::string& client, std::string& session) {
  std::int64_t id = 0;
  Status added = catalog_.AddSession(mode, client, id);
  session = std::to_string(id);
  return Explain(added);
}

Status Repository::UseSession(Mode mode, const std::string& session, std::int64_t& id) {
  std::optional<Session> found;
  if (Status status = catalog_.FindSession(ToId(session), found); !status) {
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

Status Repository::UseSaveset(const std::string& name, Saveset& saveset) {
  std::optional<Saveset> found;
  if (Status status = catalog_.FindSaveset(name.substr(0, name.find('@')), found); !status) {
    return Explain(status);
  }
  if (!found) {
    return Status::Failed("saveset " + name + " is not known here: a query lists those that are");
  }
  saveset = *found;
  return {};
}

Status Repository::OpenJob(const JobRequest& request, std::string& saveset) {
  NewJob job = {0, 0, request.mode, request.name, request.pool};
  if (Status session = UseSession(request.mode, request.session, job.session); !session) {
    return session;
  }
  Saveset used;
  if (request.mode == Mode::kBackup) {
    if (Status checked = CheckProposedName(request.saveset); !checked) {
      return checked;
    }
    if (Status added = catalog_.AddSaveset(request.saveset, DatabaseOfProposedName(request.saveset), used);
        !added) {
      return Explain(added);
    }
  } else {
    if (Status found = UseSaveset(request.saveset, used); !found) {
      return found;
    }
    if (!used.hasItems) {
      return Status::Failed("saveset " + request.saveset + " holds nothing: choose another backup");
    }
  }
  job.saveset = used.id;
  saveset = used.name;
  return Explain(catalog_.AddJob(job));
}

Status Repository::CloseJob(Mode mode, const std::string& session, const std::string& saveset, State state) {
  std::int64_t id = 0;
  Saveset used;
  if (Status found = UseSession(mode, session, id); !found) {
    return found;
  }
  if (Status found = UseSaveset(saveset, used); !found) {
    return found;
  }
  bool found = false;
  if (Status closed = catalog_.CloseJob(id, used.id, state, found); !closed) {
    return Explain(closed);
  }
  return found ? Status()
               : Status::Failed("session " + session + " has no open job on saveset " + saveset +
                                ": it was closed before, or never opened");
}

Status Repository::CloseSession(Mode mode, const std::string& session, State state) {
  std::int64_t id = 0;
  if (Status found = UseSession(mode, session, id); !found) {
    return found;
  }
  return Explain(catalog_.CloseSession(id, state));
}

Status Repository::ListSavesets(const std::string& sid, const std::string& file,
                                std::vector<std::string>& names) {
  const std::string database = DatabaseOfSid(sid);
  return Explain(file.empty() ? catalog_.ListSavesets(database, names)
                              : catalog_.ListSavesetsWith(database, file, names));
}

Status Repository::ListItems(const std::string& sid, const std::string& saveset,
                             std::vector<std::string>& names) {
  Saveset used;
  if (Status found = UseSaveset(saveset, used); !found) {
    return found;
  }
  if (used.database != DatabaseOfSid(sid) || !used.hasItems) {
    return Status::Failed("saveset " + saveset + " is no backup of database " + sid +
                          ": a query without a backup id lists those that are");
  }
  return Explain(catalog_.ListItems(used.id, names));
}

Status Repository::FindOpenSaveset(const std::string& name, Mode mode, Saveset& saveset) {
  if (Status found = UseSaveset(name, saveset); !found) {
    return found;
  }
  bool open = false;
  if (Status asked = catalog_.HasOpenJob(saveset.id, mode, open); !asked) {
    return Explain(asked);
  }
  return open ? Status()
              : Status::Failed("saveset " + name +
                               " has no open job for this work: open one by the control tool");
}

std::vector<std::string> Repository::Directories() const {
  return {config_.repository, config_.repository + "/savesets"};
}

std::string Repository::ContainerPath(const Saveset& saveset) const {
  std::string number = std::to_string(saveset.id);
  number.insert(0, number.size() < kNumberDigits ? kNumberDigits - number.size() : 0, '0');
  return config_.repository + "/savesets/" + number + ".kvs";
}

}  // namespace store
