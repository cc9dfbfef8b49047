// Doors of the store for tests: a place and an engine that note what is done, fail when they are told to, and
// a replay of what a power cut would have left.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "store/catalog/sql.h"
#include "store/place/place.h"

namespace store {

// When the operations of several doors fail: one count over all of them, in the order in which they begin.
class Faults {
 public:
  enum class Which { kOnce, kFromThenOn };
  // The n-th operation from now on fails, counted from 0.
  void FailAt(std::size_t operation, Which which, Status status = Status::Failed("told to fail"));
  void Never();
  // Operations since the last FailAt or Never.
  [[nodiscard]] std::size_t Count();
  // Called by a door before each of its operations; not good: it is not carried out.
  Status Next();

 private:
  std::mutex mutex_;
  std::size_t count_ = 0;
  std::size_t failing_ = SIZE_MAX;
  Which which_ = Which::kOnce;
  Status status_;
};

// A place in memory that keeps all that was ever done to it.
class RecordedPlace : public Place {
 public:
  struct Change {
    enum class Kind { kCreate, kAppend, kFinish, kDelete } kind = Kind::kCreate;
    std::size_t object = 0;  // its number, by creation
    std::string name;
    std::string bytes;
  };
  // Shared by the places of several processes of a test.
  struct Log {
    std::mutex mutex;
    std::vector<Change> changes;
    std::map<std::string, std::string> objects;  // finished ones
    std::size_t created = 0;
    std::map<Uid, bool> runs;  // alive or not
  };

  explicit RecordedPlace(std::shared_ptr<Log> log, std::shared_ptr<Faults> faults = nullptr)
      : log_(std::move(log)), faults_(std::move(faults)) {}

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return bestObjectSize; }
  Status Create(const std::string& name, std::unique_ptr<NewObject>& object) override;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override;
  Status Size(const std::string& name, std::optional<std::uint64_t>& size) override;
  Status List(const std::string& prefix, const Each& each) override;
  Status Delete(const std::string& name) override;
  Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) override;
  Status IsRunGone(const Uid& run, bool& gone) override;

  // As if the processes of all runs had been killed.
  static void KillRuns(Log& log);
  // What is there when the power is cut behind so many changes: finished objects are; a deletion is, or not;
  // nothing else is.
  static std::map<std::string, std::string> AfterPowerCut(Log& log, std::size_t changes, std::mt19937& dice);

  std::uint64_t bestObjectSize = 1024 * 1024;

 private:
  class NewOne;
  class Hold;
  Status Fault() { return faults_ == nullptr ? Status() : faults_->Next(); }

  std::shared_ptr<Log> log_;
  std::shared_ptr<Faults> faults_;
};

// An engine over another one. A commit that fails has happened, or not: `commitsBeforeItFails` says which.
class FaultyEngine : public SqlEngine {
 public:
  FaultyEngine(std::unique_ptr<SqlEngine> engine, std::shared_ptr<Faults> faults)
      : engine_(std::move(engine)), faults_(std::move(faults)) {}

  Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) override;
  [[nodiscard]] std::int64_t Changed() const override { return engine_->Changed(); }
  Status Begin() override;
  Status Commit() override;
  void Rollback() override { engine_->Rollback(); }
  [[nodiscard]] SqlTypes Types() const override { return engine_->Types(); }
  Status HasTable(std::string_view name, bool& has) override;
  Status CheckWhole(const std::function<void(const std::string&)>& wrong) override {
    return engine_->CheckWhole(wrong);
  }
  Status Now(std::int64_t& seconds) override { return engine_->Now(seconds); }
  [[nodiscard]] bool CanWrite() const override { return engine_->CanWrite(); }
  [[nodiscard]] bool IsShared() const override { return engine_->IsShared(); }

  bool commitsBeforeItFails = false;
  // Called after each commit that was carried out: a test keeps a copy of the catalog as of then.
  std::function<void()> committed;

 private:
  std::unique_ptr<SqlEngine> engine_;
  std::shared_ptr<Faults> faults_;
};

}  // namespace store
