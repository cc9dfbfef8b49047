// Blocks as they were before they were compressed and encrypted. Each is loaded once, even if several threads
// want it at the same time. Those that are expected to be wanted again are kept, up to a number of bytes.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "store/base/pool.h"
#include "store/base/uid.h"
#include "store/status.h"

namespace store {

struct BlockKey {
  Uid pack;
  std::uint64_t number = 0;
  bool operator==(const BlockKey&) const = default;
};

class BlockCache {
 public:
  using Block = std::shared_ptr<const std::string>;
  using Load = std::function<Status(const BlockKey&, std::string&)>;

  // `load` is called by the thread that asks for a block that is not here, for different blocks by several at
  // once.
  BlockCache(Load load, std::size_t mostBytes) : load_(std::move(load)), most_(mostBytes) {}

  // `keep`: the block is expected to be wanted again. The cache must outlive the block.
  Status Get(const BlockKey& key, bool keep, Block& block);

 private:
  struct KeyHash {
    std::size_t operator()(const BlockKey& key) const {
      return UidHash()(key.pack) ^ static_cast<std::size_t>(key.number * 0x9E3779B97F4A7C15U);
    }
  };
  struct Entry {
    Block block;  // null while it is being loaded
    Status status;
    bool loaded = false;
    bool keep = false;
    std::list<BlockKey>::iterator use;  // its place in `uses_`, if it is kept
  };

  void Finish(const BlockKey& key, Entry& entry);
  void Shrink();

  Load load_;
  std::size_t most_;
  // The memory of blocks that have gone: fresh memory costs more than everything that is done with it.
  using Buffers = Pool<std::string>;
  Buffers buffers_{[] { return std::make_unique<std::string>(); }};
  std::mutex mutex_;
  std::condition_variable loaded_;
  std::unordered_map<BlockKey, std::shared_ptr<Entry>, KeyHash> entries_;
  std::list<BlockKey> uses_;  // the kept blocks, last used in front
  std::size_t bytes_ = 0;     // of the kept blocks
};

}  // namespace store
