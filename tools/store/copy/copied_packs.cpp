// Copies the packs of a saveset, with several threads.
#include <algorithm>
#include <map>
#include <mutex>

#include "platform/platform.h"
#include "store/copy/repository_copy.h"
#include "store/load/work_queue.h"
#include "store/pack/pack_reader.h"

namespace store {
namespace {

constexpr std::uint64_t kReadAtOnce = 4 * 1024 * 1024;

}  // namespace

Status RepositoryCopy::ListPacks(const Saveset& saveset, std::vector<PackFacts>& packs) {
  std::vector<Uid> uids;
  Status done = from_.Rows().ListPacksOf(saveset, uids);
  for (auto uid = uids.begin(); done && uid != uids.end(); ++uid) {
    std::optional<PackFacts> facts;
    done = from_.Rows().FindPackFacts(*uid, facts);
    if (done && !facts) {
      return Status::Missing("pack " + uid->Hex() + " is not there any more");
    }
    if (done) {
      packs.push_back(*facts);
    }
  }
  return done;
}

// A copy that is killed leaves no pack of which the second repository does not know.
Status RepositoryCopy::AnnouncePacks(const Saveset& saveset, const std::vector<PackFacts>& packs) {
  std::vector<PackFacts> coming = packs;
  std::erase_if(coming, [this](const PackFacts& pack) { return bad_.count(pack.uid) != 0; });
  return to_.Rows().AnnounceAdopted(saveset.uid, coming);
}

Status RepositoryCopy::CopyPacks(const std::vector<PackFacts>& packs) {
  std::mutex mutex;
  std::map<Uid, Status> failures;
  {
    WorkQueue workers(WorkQueue::UsualCount());
    for (const PackFacts& pack : packs) {
      if (bad_.count(pack.uid) != 0) {
        continue;
      }
      workers.Do([&, this] {
        bool came = false;
        Status copied = platform::Interrupted() ? Status::Interrupted() : CopyPackIfMissing(pack, came);
        const std::lock_guard lock(mutex);
        result_.packs += came ? 1U : 0U;
        if (came) {
          brought_.insert(pack.uid);
        }
        result_.bytes += came ? pack.size : 0;
        CountWork(came ? 1 : 0, 0);
        if (!copied) {
          failures.emplace(pack.uid, copied);
        }
      });
    }
  }
  for (const auto& [pack, failure] : failures) {
    Status told = IsDamage(failure) ? TellBadIfKnown(pack, failure) : failure;
    if (told) {
      told = to_.Rows().ForgetAnnounced({pack});
    }
    if (!told) {
      return told;
    }
  }
  return {};
}

// A pack that was deleted meanwhile is no damage.
Status RepositoryCopy::TellBadIfKnown(const Uid& pack, const Status& why) {
  std::optional<PackFacts> facts;
  if (Status asked = from_.Rows().FindPackFacts(pack, facts); !asked) {
    return asked;
  }
  return facts ? TellBad(pack, why) : why;
}

Status RepositoryCopy::TellBad(const Uid& pack, const Status& why) {
  bad_.insert(pack);
  ++result_.damages;
  listener_.damaged({why.Message(), pack});
  return from_.Rows().CanWrite() ? from_.Rows().MarkPackDamaged(pack) : Status();
}

// An object is either whole or not there at all.
Status RepositoryCopy::CopyPackIfMissing(const PackFacts& pack, bool& came) {
  std::optional<std::uint64_t> size;
  Status done = to_.Objects().Size(PackObject(pack.uid), size);
  if (done && size != pack.size) {
    done = CopyPack(pack);
    came = static_cast<bool>(done);
  }
  return done;
}

// Copies the pack as it is. A damaged one is not copied.
Status RepositoryCopy::CopyPack(const PackFacts& pack) {
  const std::string name = PackObject(pack.uid);
  std::shared_ptr<const PackReader> reader;
  std::unique_ptr<NewObject> object;
  Status done = PackReader::Open(from_.Objects(), from_.Secrets(), from_.Id(), pack.uid, reader);
  if (done) {
    done = to_.Objects().Create(name, object);
  }
  std::string bytes;
  const auto append = [&](std::uint64_t offset, std::uint64_t size) {
    Status got = from_.Objects().Get(name, offset, static_cast<std::size_t>(size), bytes);
    if (got) {
      got = object->Append(bytes);
    }
    CountWork(0, got ? size : 0);
    return got;
  };
  const std::size_t blocks = done ? reader->Tables().blocks.size() : 0;
  if (done) {
    done = append(0, reader->OffsetOf(0));
  }
  for (std::uint64_t number = 0; done && number < blocks; ++number) {
    done = append(reader->OffsetOf(number), reader->OffsetOf(number + 1) - reader->OffsetOf(number));
    if (done) {
      done = reader->CheckStored(number, bytes);
    }
  }
  std::uint64_t offset = done ? reader->OffsetOf(blocks) : pack.size;
  for (; done && offset < pack.size; offset += kReadAtOnce) {
    done = append(offset, std::min(kReadAtOnce, pack.size - offset));
  }
  return done ? object->Finish() : done;
}

// Deletes packs that were copied for items which do not come.
Status RepositoryCopy::DropBrought() {
  const std::vector<Uid> packs(brought_.begin(), brought_.end());
  Status named = to_.Rows().NameStrays(packs);
  return named ? to_.Rows().ForgetDeletedPacks(
                     packs, [this](const Uid& pack) { return to_.Objects().Delete(PackObject(pack)); })
               : named;
}

}  // namespace store
