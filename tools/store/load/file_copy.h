// Copies one item's bytes into a file.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/data_file.h"
#include "store/base/uid.h"
#include "store/keys/keys.h"
#include "store/load/block_cache.h"
#include "store/load/map_walk.h"
#include "store/load/pack_cache.h"
#include "store/load/work_queue.h"
#include "store/pack/record.h"
#include "store/progress.h"
#include "store/status.h"

namespace store {

// What all copies of a restore have in common.
struct LoadTools {
  const Keys& keys;
  PackCache& packs;
  BlockCache& blocks;
  WorkQueue& workers;
  Progress& work;
};

class FileCopy {
 public:
  // `target` may be null: then everything is read and checked, but written nowhere. `item` has to outlive
  // this.
  FileCopy(LoadTools tools, const Item& item, platform::DataFile* target)
      : tools_(tools), item_(item), target_(target) {}

  Status Run();
  // Gives its bytes to `take` from the first to the last, holes as zeros. Needs no target.
  using Take = std::function<Status(std::string_view bytes)>;
  Status Stream(const Take& take);
  // How many of its bytes are not in a hole.
  Status Measure(std::uint64_t& bytes);
  // The pack that caused the failure; null if none did.
  [[nodiscard]] const Uid& BadPack() const { return badPack_; }

 private:
  Status Walk(const std::function<Status(FilePart&)>& each);
  Status CopyPart(FilePart& part);
  Status StreamPart(const FilePart& part, const Take& take);
  void CopyBlock(const FilePart::FromBlock& from, const std::vector<Hole>& holes);
  Status FetchMap(const MapPlace& place, const Uid& id, std::string& bytes);
  Status Check(const FilePart::FromBlock& from, const WantedChunk& chunk, std::string_view block);
  Status CopyRun(const FilePart::FromBlock& from, std::string_view block, const std::vector<Hole>& holes,
                 std::size_t& begin);
  Status WriteZeros(const FilePart& part);
  Status WriteAround(std::uint64_t offset, std::string_view bytes, const std::vector<Hole>& holes);
  Status Write(std::uint64_t offset, std::string_view bytes);
  Status GetBlock(const Uid& pack, std::uint64_t number, bool keep, BlockCache::Block& block);
  Status Bad(const Uid& pack, std::uint64_t number, const std::string& what);
  void NoteBad(const Uid& pack);
  void Fail(Status status);
  [[nodiscard]] Status Failure();

  LoadTools tools_;
  const Item& item_;
  platform::DataFile* target_;
  Pending pending_;
  std::atomic<std::uint64_t> written_ = 0;
  std::mutex mutex_;
  Status failure_;  // the first one
  Uid badPack_;
};

}  // namespace store
