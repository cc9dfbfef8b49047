// Compares the records of the packs with the rows of the catalog.
#include "store/base/bytes.h"
#include "store/check/pack_batch.h"

namespace store {

Status PackBatch::CheckRecords(const Checking& checking) {
  const std::vector<BlockEntry>& blocks = checking.reader->Tables().blocks;
  std::map<std::uint64_t, std::string> records;
  std::size_t count = 0;
  for (std::uint64_t number = 0; number < blocks.size(); ++number) {
    if (blocks[static_cast<std::size_t>(number)].kind != BlockKind::kRecords) {
      continue;
    }
    std::string bytes;
    if (Status read = checking.reader->ReadBlock(number, bytes); !read) {
      NoteBad(checking.facts.uid, number, read);
      bad_[checking.facts.uid].recordsLost = true;
      return Failure();
    }
    Decoder decoder(bytes);
    while (decoder.Left() > 0 && !decoder.Failed() && count <= checking.reader->Tables().items) {
      const std::string record(decoder.Text());
      Item item;
      if (!decoder.Failed() && DecodeRecord(record, store_.Id(), checking.reader->Tables().saveset, item)) {
        records[item.number] = record;
        ++count;
      }
    }
  }
  if (count != checking.reader->Tables().items) {
    NoteBad(checking.facts.uid, blocks.size(),
            Status::Damaged("pack " + checking.facts.uid.Hex() + " has " + std::to_string(count) + " of " +
                            std::to_string(checking.reader->Tables().items) + " records of items"));
  }
  return CompareRecords(checking, records);
}

Status PackBatch::CompareRecords(const Checking& checking, std::map<std::uint64_t, std::string>& records) {
  const std::string pack = "pack " + checking.facts.uid.Hex();
  Status listed = store_.Rows().ListItemsOfPack(checking.facts.uid, true, [&](const Catalog::PackItem& row) {
    const auto record = records.find(row.item.number);
    if (record == records.end() || record->second != row.record) {
      differs_.insert(checking.facts.uid);
      tell_({pack + " has not the record that the catalog has of item " + row.item.name + " of saveset " +
                 row.savesetName + ": if the catalog were lost, the item would be",
             checking.facts.uid});
    }
    if (record != records.end()) {
      records.erase(record);
    }
    return Status();
  });
  return listed ? TellMissingRows(checking, records) : listed;
}

// Only an item that could be restored is missed. A record without a row is usual if its item was given up.
Status PackBatch::TellMissingRows(const Checking& checking,
                                  const std::map<std::uint64_t, std::string>& records) {
  const Uid& uid = checking.reader->Tables().saveset;
  for (const auto& [number, bytes] : records) {
    Item item;
    std::optional<Saveset> saveset;
    bool noLoss = false;
    Status looked = DecodeRecord(bytes, store_.Id(), uid, item);
    if (looked) {
      looked = IsNoLoss(checking, item, noLoss);
    }
    // Last, so that a deletion that took the row out is noticed.
    if (looked) {
      looked = store_.Rows().FindSavesetByUid(uid, saveset);
    }
    if (!looked) {
      return looked;
    }
    if (saveset && !noLoss) {
      differs_.insert(checking.facts.uid);
      tell_({"the catalog lacks item " + item.name + " of saveset " + saveset->name + ", which is in pack " +
                 checking.facts.uid.Hex() + ": korvo rebuild brings it back",
             checking.facts.uid});
      listener_.lost(saveset->name, item.name);
    }
  }
  return {};
}

// No loss is a directory that was given up, a file that was saved again, or one that lacks a pack anyway.
Status PackBatch::IsNoLoss(const Checking& checking, const Item& item, bool& noLoss) {
  const Uid& saveset = checking.reader->Tables().saveset;
  if (item.directory != 0) {
    bool whole = false;
    Status looked = store_.Rows().HasItem(saveset, item.directory, "", whole);
    noLoss = !whole;
    if (!looked || noLoss) {
      return looked;
    }
  }
  if (Status looked = store_.Rows().HasItem(saveset, item.number, item.name, noLoss); !looked || noLoss) {
    return looked;
  }
  for (const Uid& pack : item.packs) {
    std::optional<PackFacts> facts;
    if (Status looked = store_.Rows().FindPackFacts(pack, facts); !looked) {
      return looked;
    }
    noLoss = noLoss || !facts || facts->damaged;
  }
  return {};
}

}  // namespace store
