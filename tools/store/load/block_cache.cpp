#include "store/load/block_cache.h"

namespace store {

Status BlockCache::Get(const BlockKey& key, bool keep, Block& block) {
  std::unique_lock lock(mutex_);
  const auto [found, isNew] = entries_.try_emplace(key);
  if (isNew) {
    found->second = std::make_shared<Entry>();
  }
  const std::shared_ptr<Entry> entry = found->second;
  entry->keep = entry->keep || keep;
  if (isNew) {
    lock.unlock();
    const auto bytes = std::make_shared<Buffers::Loan>(buffers_);
    Status status = load_(key, *bytes->Get());
    lock.lock();
    entry->status = std::move(status);
    entry->block = Block(bytes, bytes->Get());
    Finish(key, *entry);
  } else if (entry->loaded) {
    uses_.splice(uses_.begin(), uses_, entry->use);
  } else {
    loaded_.wait(lock, [&] { return entry->loaded; });
  }
  block = entry->block;
  return entry->status;
}

// A load that failed is forgotten: the next one may succeed.
void BlockCache::Finish(const BlockKey& key, Entry& entry) {
  entry.loaded = true;
  loaded_.notify_all();
  if (!entry.status || !entry.keep) {
    entries_.erase(key);
    return;
  }
  uses_.push_front(key);
  entry.use = uses_.begin();
  bytes_ += entry.block->size();
  Shrink();
}

void BlockCache::Shrink() {
  while (bytes_ > most_) {
    const auto oldest = entries_.find(uses_.back());
    bytes_ -= oldest->second->block->size();
    entries_.erase(oldest);
    uses_.pop_back();
  }
}

}  // namespace store
