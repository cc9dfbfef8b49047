// Checks the way below a directory that a restore may write to. There, a link is followed only if it was
// there before and leads to a directory. So no link that the restore itself makes can lead it elsewhere.
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

  // Checks every component below `root` down to `directory`, which is `root` or below it. Fails if one is in
  // the way, or if `root` itself leads over a link of this restore. A missing component is no failure: it may
  // be made.
  store::Status Check(std::string_view root, const std::string& directory, Links links);

  // Remembers a link that this restore has made.
  void NoteLink(std::string_view place);
  // Whether this is the name of such a link.
  [[nodiscard]] bool IsOwnLink(std::string_view place) const;

 private:
  [[nodiscard]] bool LeadsOverOwnLink(std::string_view root) const;
  [[nodiscard]] store::Status CheckOne(const std::string& directory, Links links, bool& missing) const;

  std::unordered_set<std::uint64_t> ownLinks_;  // hashes of names; a collision only refuses one link more
};
