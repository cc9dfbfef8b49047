// Doors of the store for tests: a place and an engine that do what those behind them do, go wrong as the
// table of faults says, and let a test act in the middle.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "faults/faults.h"
#include "store/catalog/sql.h"
#include "store/place/place.h"
#include "store/store.h"

namespace store {

// Short: half of the bytes or names come, then it fails. Lost: it is done, and fails. An operation that has
// failed is never tried again on the same object; `touchedAgain` tells of one that was.
class TestPlace : public Place {
 public:
  explicit TestPlace(std::unique_ptr<Place> place) : place_(std::move(place)) {}

  std::uint64_t best = 64 * 1024 * 1024;
  std::function<void(const std::string& name)> onAppend;
  static std::atomic<bool> touchedAgain;

  [[nodiscard]] std::uint64_t BestObjectSize() const override { return best; }
  Status Create(const std::string& name, std::unique_ptr<NewObject>& object) override;
  Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) override;
  Status Size(const std::string& name, std::optional<std::uint64_t>& size) override;
  Status List(const std::string& prefix, const Each& each) override;
  Status Delete(const std::string& name) override;
  Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) override;
  Status IsRunGone(const Uid& run, bool& gone) override;

 private:
  class Object;
  std::unique_ptr<Place> place_;
};

// Short: the first row comes, then it fails. Interrupted: the transaction has to be repeated.
class TestEngine : public SqlEngine {
 public:
  // Its clock is so many seconds ahead.
  explicit TestEngine(std::unique_ptr<SqlEngine> engine, std::int64_t clock = 0)
      : engine_(std::move(engine)), clock_(clock) {}

  Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) override;
  [[nodiscard]] std::int64_t Changed() const override { return engine_->Changed(); }
  Status Begin() override;
  Status Commit() override;
  void Rollback() override { engine_->Rollback(); }
  [[nodiscard]] SqlTypes Types() const override { return engine_->Types(); }
  Status HasTable(std::string_view name, bool& has) override;
  Status CheckWhole(const std::function<void(const std::string&)>& wrong) override;
  Status Now(std::int64_t& seconds) override;
  [[nodiscard]] bool CanWrite() const override { return engine_->CanWrite(); }
  [[nodiscard]] bool IsShared() const override { return engine_->IsShared(); }

 private:
  std::unique_ptr<SqlEngine> engine_;
  std::int64_t clock_;
};

struct Doors {
  std::uint64_t best = 64 * 1024 * 1024;
  std::function<void(const std::string& name)> onAppend = {};
  std::int64_t clock = 0;
};
// Opens through both doors what has its catalog in its directory, as another process would.
Status OpenThrough(const Doors& doors, const ServerConfig& config, Store::Access access,
                   std::unique_ptr<Store>& store);

}  // namespace store
