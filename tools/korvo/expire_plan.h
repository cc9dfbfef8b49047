// What `korvo expire` is asked to do, and what that comes to.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "store/retention.h"
#include "store/store.h"

namespace korvo {

struct ExpireQuestion {
  std::string database;
  std::string pool;  // empty: all
  store::RetentionRules rules;
  bool evenNewest = false;
  std::string saveset;  // instead of the above
  bool now = false;     // also what is marked already goes
};
// Says what is missing, or does not go together.
store::Status CheckQuestion(const ExpireQuestion& question);

struct ExpireEntry {
  store::Saveset saveset;
  std::set<store::Kept> kept;
  bool goes = false;
};

struct ExpirePlan {
  std::vector<ExpireEntry> entries;  // newest first; those that are marked already only if they go now
  std::uint64_t room = 0;            // bytes that come back
  [[nodiscard]] std::vector<store::Saveset> Going() const;
  [[nodiscard]] std::vector<std::vector<store::Saveset>> GoingBySession() const;
};
store::Status MakeExpirePlan(const ExpireQuestion& question, store::Store& store, ExpirePlan& plan);

// `last`, `in_use` ...: for programs; and all of them for people.
[[nodiscard]] std::string KeptName(store::Kept kept);
[[nodiscard]] std::string KeptText(const std::set<store::Kept>& kept);

}  // namespace korvo
