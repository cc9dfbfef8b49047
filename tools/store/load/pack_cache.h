// The packs that are being read from; each is opened once. Safe to use by several threads at once.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "store/base/uid.h"
#include "store/pack/pack_reader.h"
#include "store/status.h"

namespace store {

class PackCache {
 public:
  using Pack = std::shared_ptr<const PackReader>;
  using Open = std::function<Status(const Uid&, Pack&)>;

  // At most `most` packs stay open, those that were asked for last.
  PackCache(Open open, std::size_t most) : open_(std::move(open)), most_(most) {}

  Status Get(const Uid& id, Pack& pack);

 private:
  using Uses = std::list<std::pair<Uid, Pack>>;  // the last one in front

  Open open_;
  std::size_t most_;
  std::mutex mutex_;
  Uses uses_;
  std::unordered_map<Uid, Uses::iterator, UidHash> packs_;
};

}  // namespace store
