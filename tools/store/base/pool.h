// Things that are worth keeping between uses, such as buffers, each lent to one thread at a time. They are
// not `thread_local`: on Windows such objects are destroyed only after the memory of the thread has gone.
#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace store {

template <typename T, typename Deleter = std::default_delete<T>>
class Pool {
 public:
  using Thing = std::unique_ptr<T, Deleter>;
  using Make = Thing (*)();

  explicit Pool(Make make) : make_(make) {}

  // Comes back to the pool when it is destroyed. `Get` is null only if `make` gave null.
  class Loan {
   public:
    explicit Loan(Pool& pool) : pool_(pool), thing_(pool.Take()) {}
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    ~Loan() { pool_.GiveBack(std::move(thing_)); }
    [[nodiscard]] T* Get() const { return thing_.get(); }

   private:
    Pool& pool_;
    Thing thing_;
  };

 private:
  Thing Take() {
    const std::scoped_lock lock(mutex_);
    if (things_.empty()) {
      return make_();
    }
    Thing thing = std::move(things_.back());
    things_.pop_back();
    return thing;
  }
  void GiveBack(Thing thing) {
    if (thing != nullptr) {
      const std::scoped_lock lock(mutex_);
      things_.push_back(std::move(thing));
    }
  }

  Make make_;
  std::mutex mutex_;
  std::vector<Thing> things_;
};

}  // namespace store
