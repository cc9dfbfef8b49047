#include "store/rebuild/object_import.h"

#include <algorithm>
#include <memory>

#include "store/base/bytes.h"

namespace store {
namespace {

// Names are told one in a line.
bool IsNameOfSaveset(const std::string& name) {
  constexpr std::size_t kLongest = 1024;
  return !name.empty() && name.size() <= kLongest &&
         std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) > ' '; });
}

}  // namespace

Status ObjectImport::Run(Store::Rebuilt& rebuilt) {
  Status done = ImportSavesets();
  if (done) {
    done = ImportPacks();
  }
  if (done) {
    NoteOthers(rebuilt);
    done = catalog_.FinishImport(tell_);
  }
  if (done) {
    done = CompareItems();
  }
  // If something is lost, somebody may bring it back, and then these packs are needed again.
  if (done && lossless_) {
    done = catalog_.NameUnneededPacks(rebuilt.unneeded);
  }
  rebuilt.savesets = savesets_.size();
  rebuilt.packs = packs_;
  return done;
}

Status ObjectImport::ImportSavesets() {
  std::set<Uid> uids;
  Status listed = shelf_.place.List(kSavesetPrefix, [&uids](const std::string& name, std::uint64_t /*size*/) {
    Uid uid;
    if (UidOfSaveset(name, uid)) {
      uids.insert(uid);
    }
    return Status();
  });
  // Those that have lost their numbers come last: they must not take those of others.
  std::vector<Uid> last;
  for (auto uid = uids.begin(); listed && uid != uids.end(); ++uid) {
    listed = ImportSaveset(*uid, &last);
  }
  for (auto uid = last.begin(); listed && uid != last.end(); ++uid) {
    listed = ImportSaveset(*uid, nullptr);
  }
  return listed;
}

std::string ObjectImport::RecoveredName(const Uid& uid) const {
  constexpr std::size_t kDigits = 16;
  const std::string usual = "RECOVERED_" + uid.Hex().substr(0, kDigits);
  return names_.count(usual) == 0 ? usual : "RECOVERED_" + uid.Hex() + "_" + Uid::Random().Hex();
}

// What is in a saveset whose own object is damaged can still be restored, under a name that tells what
// happened.
Status ObjectImport::ImportSaveset(const Uid& uid, std::vector<Uid>* withoutNumber) {
  SavesetObjects objects;
  Status read = ReadSavesetObjects(shelf_, uid, objects);
  if (!read && !IsDamage(read)) {
    return read;
  }
  if (!objects.begun && withoutNumber != nullptr) {
    withoutNumber->push_back(uid);
    return {};
  }
  if (!read) {
    tell_(read.Message());
  }
  Saveset& saveset = objects.saveset;
  if (!objects.begun) {
    saveset.name = RecoveredName(uid);
    saveset.mover = Mover::kEndedFailed;
    tell_("name, database and pool of saveset " + uid.Hex() + " are lost: it is " + saveset.name + " now");
  } else if (!IsNameOfSaveset(saveset.name) || names_.count(saveset.name) != 0) {
    saveset.name = RecoveredName(uid);
    tell_("saveset " + uid.Hex() + " has the name of another one, or one that none can have: it is " +
          saveset.name + " now");
  }
  names_.insert(saveset.name);
  savesets_.insert(uid);
  promised_[uid] = saveset.items;
  return catalog_.ImportSaveset(saveset);
}

Status ObjectImport::ImportPacks() {
  return shelf_.place.List(kPackPrefix, [this](const std::string& name, std::uint64_t size) {
    Uid uid;
    if (!UidOfPack(name, uid) || name != PackObject(uid)) {
      tell_("object " + name + " is no pack: it is passed over");
      return Status();
    }
    return ImportPack(uid, size);
  });
}

Status ObjectImport::ImportPack(const Uid& uid, std::uint64_t size) {
  std::shared_ptr<const PackReader> pack;
  if (Status opened = PackReader::Open(shelf_.place, shelf_.keys, shelf_.repository, uid, size, pack);
      IsDamage(opened)) {
    tell_(opened.Message() + "; lost is what was completed with this pack, and what refers to it");
    return {};
  } else if (!opened) {
    return opened;
  }
  ++packs_;
  std::vector<std::string> records;
  if (savesets_.count(pack->Tables().saveset) == 0) {
    others_[pack->Tables().saveset] += pack->Tables().items;
  } else if (Status read = ReadRecords(*pack, records); !read) {
    return read;
  }
  Pack row;
  row.uid = uid;
  row.size = size;
  Status imported = catalog_.ImportPack(row, pack->Tables().saveset, records);
  if (imported.What() == Status::Kind::kDamaged) {
    tell_("pack " + uid.Hex() + ": " + imported.Message() + "; lost is what was completed with it");
    return {};
  }
  return imported;
}

Status ObjectImport::ReadRecords(const PackReader& pack, std::vector<std::string>& records) {
  const std::vector<BlockEntry>& blocks = pack.Tables().blocks;
  for (std::uint64_t number = 0; number < blocks.size(); ++number) {
    if (blocks[number].kind != BlockKind::kRecords) {
      continue;
    }
    std::string bytes;
    if (Status read = pack.ReadBlock(number, bytes); IsDamage(read)) {
      tell_(read.Message() + "; lost are the items whose records are in this block");
      continue;
    } else if (!read) {
      return read;
    }
    Decoder decoder(bytes);
    while (decoder.Left() > 0 && !decoder.Failed() && records.size() <= pack.Tables().items) {
      records.emplace_back(decoder.Text());
    }
    if (decoder.Failed() || records.size() > pack.Tables().items) {
      records.pop_back();
      tell_(pack.DamagedBlock(number, "its records are damaged").Message());
    }
  }
  return {};
}

// Normal after a deletion: a pack stays as long as an item of another saveset refers to it.
void ObjectImport::NoteOthers(Store::Rebuilt& rebuilt) const {
  for (const auto& [uid, items] : others_) {
    rebuilt.notes.push_back("packs of saveset " + uid.Hex() +
                            " are there and its beginning is not, as after a deletion: its " +
                            std::to_string(items) + " items stay deleted");
  }
}

// If an item's record is gone with its pack, nothing that is left names the item.
Status ObjectImport::CompareItems() {
  for (const auto& [uid, items] : promised_) {
    std::optional<Saveset> saveset;
    if (Status found = catalog_.FindSavesetByUid(uid, saveset); !found) {
      return found;
    }
    if (!saveset || saveset->items >= items) {
      continue;
    }
    tell_("of the " + std::to_string(items) + " items of the saveset " + saveset->name + ", " +
          std::to_string(items - saveset->items) + " are not there: packs are missing or damaged");
    // It does not count as a good backup any more.
    if (Status noted = catalog_.NoteTorn(saveset->id, "items were lost with packs"); !noted) {
      return noted;
    }
  }
  return {};
}

}  // namespace store
