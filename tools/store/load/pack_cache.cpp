#include "store/load/pack_cache.h"

namespace store {

// If two threads ask at once, one waits for the other: to open one pack twice would cost as much.
Status PackCache::Get(const Uid& id, Pack& pack) {
  const std::lock_guard lock(mutex_);
  if (const auto found = packs_.find(id); found != packs_.end()) {
    uses_.splice(uses_.begin(), uses_, found->second);
    pack = found->second->second;
    return {};
  }
  if (Status opened = open_(id, pack); !opened) {
    return opened;
  }
  uses_.emplace_front(id, pack);
  packs_[id] = uses_.begin();
  if (uses_.size() > most_) {
    packs_.erase(uses_.back().first);
    uses_.pop_back();
  }
  return {};
}

}  // namespace store
