// Copies again what a check found damaged or missing in the copy.
#include "platform/platform.h"
#include "store/copy/repository_copy.h"
#include "store/pack/pack_reader.h"

namespace store {

Status RepositoryCopy::MendDamaged() {
  std::vector<PackFacts> damaged;
  Status done = to_.Rows().ListDamagedPacks(damaged);
  for (auto pack = damaged.begin(); done && pack != damaged.end(); ++pack) {
    std::optional<PackFacts> good;
    done = platform::Interrupted() ? Status::Interrupted() : from_.Rows().FindPackFacts(pack->uid, good);
    if (done && good && !good->damaged) {
      done = Mend(*good);
    }
  }
  return done;
}

Status RepositoryCopy::Mend(const PackFacts& pack) {
  // If the copy has the bytes as they were stored, the fault came from the first repository.
  if (CheckBytes(pack.uid)) {
    return {};
  }
  if (Status copied = CopyPack(pack); IsDamage(copied)) {
    std::optional<PackFacts> still;
    Status asked = from_.Rows().FindPackFacts(pack.uid, still);
    return asked && still ? TellBad(pack.uid, copied) : asked;
  } else if (!copied) {
    return copied;
  }
  std::optional<PackFacts> needed;
  if (Status asked = to_.Rows().FindPackFacts(pack.uid, needed); !asked || !needed) {
    return asked ? to_.Objects().Delete(PackObject(pack.uid)) : asked;  // deleted meanwhile
  }
  if (Status checked = CheckBytes(pack.uid); !checked) {
    return checked.Within("pack " + pack.uid.Hex() + " could not be replaced");
  }
  ++result_.mended;
  return to_.Rows().NoteChecked({pack.uid}, true);
}

// Whether the copy has every byte of the pack as it was stored.
Status RepositoryCopy::CheckBytes(const Uid& pack) {
  std::shared_ptr<const PackReader> reader;
  Status done = PackReader::Open(to_.Objects(), to_.Secrets(), to_.Id(), pack, reader);
  const std::size_t blocks = done ? reader->Tables().blocks.size() : 0;
  std::string bytes;
  for (std::uint64_t number = 0; done && number < blocks; ++number) {
    const std::uint64_t offset = reader->OffsetOf(number);
    done = to_.Objects().Get(PackObject(pack), offset,
                             static_cast<std::size_t>(reader->OffsetOf(number + 1) - offset), bytes);
    if (done) {
      done = reader->CheckStored(number, bytes);
    }
  }
  return done;
}

}  // namespace store
