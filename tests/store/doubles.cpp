#include "store/doubles.h"

#include <filesystem>

#include "store/place/directory_place.h"

namespace store {
namespace {

using faults::How;
using faults::Operation;

constinit Operation create("place-create", "FN");
constinit Operation append("place-append", "FNs");
constinit Operation finish("place-finish", "FNL");
constinit Operation get("place-get", "Fs");
constinit Operation size("place-size", "F");
constinit Operation list("place-list", "Fs");
constinit Operation erase("place-delete", "FL");
constinit Operation hold("place-hold", "FN");
constinit Operation ask("place-ask", "F");
constinit Operation run("catalog-run", "FNs");
constinit Operation begin("catalog-begin", "FNi");
constinit Operation commit("catalog-commit", "FNiL");
constinit Operation look("catalog-look", "F");
constinit Operation check("catalog-check", "F");
constinit Operation now("catalog-now", "F");

Status Failure(How how) {
  switch (how) {
    case How::kNoRoom:
      return Status::NoRoom("this was planned to find no room");
    case How::kInterrupted:
      return Status::Conflict("this was planned to be repeated");
    default:
      return Status::Failed("this was planned to fail");
  }
}

template <class Work>
Status Or(Operation& operation, Work work) {
  const std::optional<How> how = operation.Next();
  if (!how) {
    return work();
  }
  if (how == How::kLost) {
    static_cast<void>(work());
  }
  return Failure(*how);
}

}  // namespace

std::atomic<bool> TestPlace::touchedAgain = false;

class TestPlace::Object : public NewObject {
 public:
  Object(TestPlace& place, std::string name, std::unique_ptr<NewObject> object)
      : place_(place), name_(std::move(name)), object_(std::move(object)) {}

  Status Append(std::string_view bytes) override {
    if (place_.onAppend) {
      place_.onAppend(name_);
    }
    return Once(append, [&] { return object_->Append(bytes); });
  }
  void BeginFinish() override { object_->BeginFinish(); }
  Status Finish() override {
    return Once(finish, [&] { return object_->Finish(); });
  }

 private:
  template <class Work>
  Status Once(Operation& operation, Work work) {
    touchedAgain = touchedAgain || failed_;
    Status done = Or(operation, work);
    failed_ = failed_ || !done;
    return done;
  }

  TestPlace& place_;
  std::string name_;
  std::unique_ptr<NewObject> object_;
  bool failed_ = false;
};

Status TestPlace::Create(const std::string& name, std::unique_ptr<NewObject>& object) {
  return Or(create, [&] {
    std::unique_ptr<NewObject> made;
    Status created = place_->Create(name, made);
    if (created) {
      object = std::make_unique<Object>(*this, name, std::move(made));
    }
    return created;
  });
}

// A place that has not all of them says that they are damaged.
Status TestPlace::Get(const std::string& name, std::uint64_t offset, std::size_t wanted, std::string& bytes) {
  const std::optional<How> how = get.Next();
  if (how == How::kShort) {
    return Status::Damaged("the object " + name + " was planned to end before");
  }
  return how ? Failure(*how) : place_->Get(name, offset, wanted, bytes);
}

Status TestPlace::Size(const std::string& name, std::optional<std::uint64_t>& found) {
  return Or(size, [&] { return place_->Size(name, found); });
}

Status TestPlace::List(const std::string& prefix, const Each& each) {
  const std::optional<How> how = list.Next();
  if (how == How::kFails) {
    return Failure(*how);
  }
  bool any = false;
  return place_->List(prefix, [&](const std::string& name, std::uint64_t bytes) {
    Status done = how && any ? Failure(*how) : each(name, bytes);
    any = true;
    return done;
  });
}

Status TestPlace::Delete(const std::string& name) {
  return Or(erase, [&] { return place_->Delete(name); });
}

Status TestPlace::HoldRun(const Uid& held, std::unique_ptr<RunHold>& holder) {
  return Or(hold, [&] { return place_->HoldRun(held, holder); });
}

Status TestPlace::IsRunGone(const Uid& asked, bool& gone) {
  gone = false;
  return Or(ask, [&] { return place_->IsRunGone(asked, gone); });
}

Status TestEngine::Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) {
  const std::optional<How> how = run.Next();
  if (how != How::kShort) {
    return how ? Failure(*how) : engine_->Run(text, values, row);
  }
  bool any = false;
  Status done = engine_->Run(text, values, [&](const SqlRow& one) {
    Status got = any || !row ? Failure(*how) : row(one);
    any = true;
    return got;
  });
  return done ? Failure(*how) : done;
}

Status TestEngine::Begin() {
  return Or(begin, [&] { return engine_->Begin(); });
}

Status TestEngine::Commit() {
  return Or(commit, [&] { return engine_->Commit(); });
}

Status TestEngine::HasTable(std::string_view name, bool& has) {
  return Or(look, [&] { return engine_->HasTable(name, has); });
}

Status TestEngine::CheckWhole(const std::function<void(const std::string&)>& wrong) {
  return Or(check, [&] { return engine_->CheckWhole(wrong); });
}

Status TestEngine::Now(std::int64_t& seconds) {
  Status told = Or(now, [&] { return engine_->Now(seconds); });
  seconds += clock_;
  return told;
}

Status OpenThrough(const Doors& doors, const ServerConfig& config, Store::Access access,
                   std::unique_ptr<Store>& store) {
  std::filesystem::create_directories(config.repository);
  std::filesystem::permissions(config.repository, std::filesystem::perms::owner_all);
  auto place = std::make_unique<TestPlace>(std::make_unique<DirectoryPlace>(config.repository, "here"));
  place->best = doors.best;
  place->onAppend = doors.onAppend;
  const auto connect = [path = config.repository + "/catalog.db",
                        ahead = doors.clock](std::unique_ptr<SqlEngine>& engine) {
    std::unique_ptr<SqlEngine> made;
    Status opened = OpenSqlite(path, MakeCatalog::kIfMissing, made);
    engine = opened ? std::make_unique<TestEngine>(std::move(made), ahead) : nullptr;
    return opened;
  };
  return Store::Open(config, access, std::move(place), connect, store);
}

}  // namespace store
