// Doors for the tests of saving: a place and an engine that do what those behind them do, count, fail when
// told to, and let a test act in the middle.
#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "store/catalog/sql.h"
#include "store/place/place.h"

namespace store {

// Shared by the two doors: which of the operations fails.
struct Trouble {
  static constexpr int kNever = std::numeric_limits<int>::max();
  std::atomic<int> failAt = kNever;  // the operations are counted from 0
  std::atomic<int> count = 0;
  std::string failed;                      // what failed
  std::atomic<bool> touchedAgain = false;  // an object was written to after it had failed

  // True if this operation is to fail.
  bool Fails(const std::string& what);
};

class TestPlace : public Place {
 public:
  TestPlace(std::unique_ptr<Place> place, std::shared_ptr<Trouble> trouble)
      : place_(std::move(place)), trouble_(std::move(trouble)) {}

  std::uint64_t best = 64 * 1024 * 1024;
  std::function<void(const std::string& name)> onAppend;

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return best; }
  Status Create(const std::string& name, std::unique_ptr<NewObject>& object) override;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override {
    return place_->Get(name, offset, size, bytes);
  }
  Status Size(const std::string& name, std::optional<std::uint64_t>& size) override {
    return place_->Size(name, size);
  }
  Status List(const std::string& prefix, const Each& each) override { return place_->List(prefix, each); }
  Status Delete(const std::string& name) override;
  Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) override {
    return place_->HoldRun(run, hold);
  }
  Status IsRunGone(const Uid& run, bool& gone) override { return place_->IsRunGone(run, gone); }

 private:
  class Object;
  std::unique_ptr<Place> place_;
  std::shared_ptr<Trouble> trouble_;
};

// Fails in what writes: the beginning and the end of transactions.
class TestEngine : public SqlEngine {
 public:
  TestEngine(std::unique_ptr<SqlEngine> engine, std::shared_ptr<Trouble> trouble, std::int64_t clock)
      : engine_(std::move(engine)), trouble_(std::move(trouble)), clock_(clock) {}

  Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) override {
    return engine_->Run(text, values, row);
  }
  [[nodiscard]] std::int64_t Changed() const override { return engine_->Changed(); }
  Status Begin() override;
  Status Commit() override;
  void Rollback() override { engine_->Rollback(); }
  [[nodiscard]] SqlTypes Types() const override { return engine_->Types(); }
  Status HasTable(std::string_view name, bool& has) override { return engine_->HasTable(name, has); }
  Status CheckWhole(const std::function<void(const std::string&)>& wrong) override {
    return engine_->CheckWhole(wrong);
  }
  Status Now(std::int64_t& seconds) override;
  [[nodiscard]] bool CanWrite() const override { return engine_->CanWrite(); }
  [[nodiscard]] bool IsShared() const override { return engine_->IsShared(); }

 private:
  std::unique_ptr<SqlEngine> engine_;
  std::shared_ptr<Trouble> trouble_;
  std::int64_t clock_;  // so many seconds ahead
};

}  // namespace store
