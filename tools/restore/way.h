// The way below a directory that a restore may write to. No link is followed there but one that the restore
// has found leading to a directory: what it makes itself never leads it elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>

#include "store/status.h"

class Way {
 public:
  // Whether a link that was there before is followed.
  enum class Links { kFollow, kRefuse };

  // Looks at every component below `root` down to `directory`, which is below it, or is it. What is missing
  // may be made.
  store::Status Check(std::string_view root, const std::string& directory, Links links);

  // A link that this restore has made; and whether what bears the name is one.
  void NoteLink(std::string_view place);
  [[nodiscard]] bool IsOwnLink(std::string_view place) const;

 private:
  [[nodiscard]] bool LeadsOverOwnLink(std::string_view root) const;
  [[nodiscard]] store::Status CheckOne(const std::string& directory, Links links, bool& missing) const;

  std::unordered_set<std::uint64_t> ownLinks_;  // hashes of their names: one too many refused does no harm
};
