#include "store/save_doubles.h"

#include <mutex>

namespace store {
namespace {

std::mutex mutex;

Status Planned() { return Status::Failed("this was planned to fail"); }

}  // namespace

bool Trouble::Fails(const std::string& what) {
  const std::lock_guard lock(mutex);
  const bool fails = count++ == failAt;
  failed = fails ? what : failed;
  return fails;
}

class TestPlace::Object : public NewObject {
 public:
  Object(TestPlace& place, std::string name, std::unique_ptr<NewObject> object)
      : place_(place), name_(std::move(name)), object_(std::move(object)) {}

  Status Append(std::string_view bytes) override {
    if (place_.onAppend) {
      place_.onAppend(name_);
    }
    return Or("append", [&] { return object_->Append(bytes); });
  }
  // Half of those that fail have done their work.
  Status Finish() override {
    const bool done = place_.trouble_->count % 2 == 0;
    Status finished = done ? object_->Finish() : Status();
    return Or("finish", [&] { return done ? finished : object_->Finish(); });
  }

 private:
  Status Or(const std::string& what, const std::function<Status()>& operation) {
    if (failed_) {
      place_.trouble_->touchedAgain = true;
    }
    failed_ = failed_ || place_.trouble_->Fails(what + " " + name_);
    return failed_ ? Planned() : operation();
  }

  TestPlace& place_;
  std::string name_;
  std::unique_ptr<NewObject> object_;
  bool failed_ = false;
};

Status TestPlace::Create(const std::string& name, std::unique_ptr<NewObject>& object) {
  if (trouble_->Fails("create " + name)) {
    return Planned();
  }
  std::unique_ptr<NewObject> made;
  if (Status created = place_->Create(name, made); !created) {
    return created;
  }
  object = std::make_unique<Object>(*this, name, std::move(made));
  return {};
}

Status TestPlace::Delete(const std::string& name) {
  return trouble_->Fails("delete " + name) ? Planned() : place_->Delete(name);
}

Status TestEngine::Begin() { return trouble_->Fails("begin") ? Planned() : engine_->Begin(); }

// Half of the commits that fail have done their work.
Status TestEngine::Commit() {
  const bool done = trouble_->count % 2 == 0;
  const bool fails = trouble_->Fails("commit");
  if (!fails) {
    return engine_->Commit();
  }
  if (done) {
    static_cast<void>(engine_->Commit());
  } else {
    engine_->Rollback();
  }
  return Planned();
}

Status TestEngine::Now(std::int64_t& seconds) {
  Status now = engine_->Now(seconds);
  seconds += clock_;
  return now;
}

}  // namespace store
