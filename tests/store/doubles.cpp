#include "store/doubles.h"

namespace store {

// ---- Faults ----------------------------------------------------------------------------------------------

void Faults::FailAt(std::size_t operation, Which which, Status status) {
  const std::lock_guard lock(mutex_);
  count_ = 0;
  failing_ = operation;
  which_ = which;
  status_ = std::move(status);
}

void Faults::Never() { FailAt(SIZE_MAX, Which::kOnce); }

std::size_t Faults::Count() {
  const std::lock_guard lock(mutex_);
  return count_;
}

Status Faults::Next() {
  const std::lock_guard lock(mutex_);
  const std::size_t operation = count_++;
  const bool fails = operation == failing_ || (operation > failing_ && which_ == Which::kFromThenOn);
  return fails ? status_ : Status();
}

// ---- The place -------------------------------------------------------------------------------------------

class RecordedPlace::NewOne : public NewObject {
 public:
  NewOne(RecordedPlace& place, std::string name, std::size_t number)
      : place_(place), name_(std::move(name)), number_(number) {}

  Status Append(std::string_view bytes) override {
    if (failure_) {
      failure_ = place_.Fault();
    }
    if (failure_) {
      const std::lock_guard lock(place_.log_->mutex);
      place_.log_->changes.push_back({Change::Kind::kAppend, number_, name_, std::string(bytes)});
      bytes_ += bytes;
    }
    return failure_;
  }

  Status Finish() override {
    if (failure_) {
      failure_ = place_.Fault();
    }
    if (!failure_) {
      return failure_;
    }
    const std::lock_guard lock(place_.log_->mutex);
    place_.log_->changes.push_back({Change::Kind::kFinish, number_, name_, bytes_});
    place_.log_->objects[name_] = bytes_;
    failure_ = Status::Failed("the object " + name_ + " is finished");
    return {};
  }

 private:
  RecordedPlace& place_;
  std::string name_;
  std::size_t number_;
  std::string bytes_;
  Status failure_;
};

class RecordedPlace::Hold : public RunHold {
 public:
  Hold(std::shared_ptr<Log> log, const Uid& run) : log_(std::move(log)), run_(run) {}
  ~Hold() override {
    const std::lock_guard lock(log_->mutex);
    log_->runs[run_] = false;
  }

 private:
  std::shared_ptr<Log> log_;
  Uid run_;
};

Status RecordedPlace::Create(const std::string& name, std::unique_ptr<NewObject>& object) {
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  log_->changes.push_back({Change::Kind::kCreate, log_->created, name, ""});
  object = std::make_unique<NewOne>(*this, name, log_->created++);
  return {};
}

Status RecordedPlace::Get(const std::string& name, std::uint64_t offset, std::size_t size,
                          std::string& bytes) {
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  const auto found = log_->objects.find(name);
  if (found == log_->objects.end()) {
    return Status::Missing("the object " + name + " is missing");
  }
  if (offset + size > found->second.size()) {
    return Status::Damaged("the object " + name + " is too short");
  }
  bytes = found->second.substr(offset, size);
  return {};
}

Status RecordedPlace::Size(const std::string& name, std::optional<std::uint64_t>& size) {
  size.reset();
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  if (const auto found = log_->objects.find(name); found != log_->objects.end()) {
    size = found->second.size();
  }
  return {};
}

Status RecordedPlace::List(const std::string& prefix, const Each& each) {
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  std::map<std::string, std::string> objects;
  {
    const std::lock_guard lock(log_->mutex);
    objects = log_->objects;
  }
  for (const auto& [name, bytes] : objects) {
    if (name.starts_with(prefix)) {
      if (Status done = each(name, bytes.size()); !done) {
        return done;
      }
    }
  }
  return {};
}

Status RecordedPlace::Delete(const std::string& name) {
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  log_->changes.push_back({Change::Kind::kDelete, 0, name, ""});
  log_->objects.erase(name);
  return {};
}

Status RecordedPlace::HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) {
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  log_->runs[run] = true;
  hold = std::make_unique<Hold>(log_, run);
  return {};
}

Status RecordedPlace::IsRunGone(const Uid& run, bool& gone) {
  gone = false;
  if (Status fault = Fault(); !fault) {
    return fault;
  }
  const std::lock_guard lock(log_->mutex);
  gone = !log_->runs[run];
  return {};
}

void RecordedPlace::KillRuns(Log& log) {
  const std::lock_guard lock(log.mutex);
  log.runs.clear();
}

std::map<std::string, std::string> RecordedPlace::AfterPowerCut(Log& log, std::size_t changes,
                                                                std::mt19937& dice) {
  const std::lock_guard lock(log.mutex);
  std::map<std::string, std::string> objects;
  for (std::size_t i = 0; i < changes && i < log.changes.size(); ++i) {
    const Change& change = log.changes[i];
    if (change.kind == Change::Kind::kFinish) {
      objects[change.name] = change.bytes;
    } else if (change.kind == Change::Kind::kDelete && dice() % 2 == 0) {
      objects.erase(change.name);
    }
  }
  return objects;
}

// ---- The engine ------------------------------------------------------------------------------------------

Status FaultyEngine::Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) {
  Status fault = faults_->Next();
  return fault ? engine_->Run(text, values, row) : fault;
}

Status FaultyEngine::Begin() {
  Status fault = faults_->Next();
  return fault ? engine_->Begin() : fault;
}

Status FaultyEngine::Commit() {
  Status fault = faults_->Next();
  if (!fault && !commitsBeforeItFails) {
    return fault;
  }
  Status done = engine_->Commit();
  if (done && committed) {
    committed();
  }
  return fault ? done : fault;
}

Status FaultyEngine::HasTable(std::string_view name, bool& has) {
  Status fault = faults_->Next();
  return fault ? engine_->HasTable(name, has) : fault;
}

}  // namespace store
