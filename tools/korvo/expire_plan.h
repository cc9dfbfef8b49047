// What `korvo expire` is asked to do, and the resulting plan.
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
  bool evenNewest = false;  // also delete the newest good copies of files
  std::string saveset;      // goes, instead of all of the above
  bool now = false;         // delete at once, and also what is marked already
};
// Not good if something in the question is missing or does not go together.
store::Status CheckQuestion(const ExpireQuestion& question);

struct ExpireEntry {
  store::Saveset saveset;
  std::set<store::Kept> kept;
  bool goes = false;
  bool markedBefore = false;  // by an earlier call, and keeps this mark
};

struct ExpirePlan {
  std::vector<ExpireEntry> entries;  // newest first
  std::uint64_t room = 0;            // bytes that become free
  [[nodiscard]] std::vector<store::Saveset> Going() const;
  // The same, grouped by session.
  [[nodiscard]] std::vector<std::vector<store::Saveset>> GoingBySession() const;
};
// Changes nothing. Fails if no saveset matches, or if `question.saveset` is in use or protected.
store::Status MakeExpirePlan(const ExpireQuestion& question, store::Store& store, ExpirePlan& plan);

// The name of one reason, for programs: `last`, `in_use` ...
[[nodiscard]] std::string KeptName(store::Kept kept);
// All reasons in one text, for people.
[[nodiscard]] std::string KeptText(const std::set<store::Kept>& kept);

}  // namespace korvo
