#include "xfr/plan.h"

#include "store/names.h"

Plan MakePlan(const std::vector<std::string>& items) {
  Plan plan;
  std::map<std::string, std::string> firstOf;
  for (const std::string& item : items) {
    const auto [entry, isNew] = firstOf.emplace(store::ItemKey(item), item);
    if (isNew) {
      plan.items.push_back(item);
    }
    plan.spellings[entry->second].push_back(item);
  }
  return plan;
}
