// What a check or a copy of a repository tells.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "store/check/repository_check.h"

namespace store {

struct Told {
  // Everything that comes is noted here, for as long as this object lives.
  CheckListener Listener() {
    return {[this](const Damage& damage) { damages.push_back(damage.what); },
            [this](const std::string& saveset, const std::string& item) { lost.emplace(saveset, item); }};
  }
  // Checks the repository, and notes nothing but what this tells.
  Status Check(Store& store, const CheckScope& scope = {}) {
    damages.clear();
    lost.clear();
    return RepositoryCheck(store, Listener()).Run(scope, result);
  }

  std::vector<std::string> damages;                    // a sentence for each
  std::set<std::pair<std::string, std::string>> lost;  // savesets and their items
  RepositoryCheck::Result result;
};

}  // namespace store
