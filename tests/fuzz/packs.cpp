// The objects of a repository, with checksums that are right: whoever can write there can make them so. What
// is taken out of one is within its bounds and gives the same bytes again.
#include <zstd.h>

#include <algorithm>

#include "fuzz/fuzz.h"
#include "fuzz/memory_place.h"
#include "store/base/bytes.h"
#include "store/base/checksum.h"
#include "store/base/time.h"
#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/pack/pack_reader.h"
#include "store/saveset_objects.h"

namespace fuzz {
namespace {

using namespace store;

Uid IdOf(unsigned char number) {
  Uid uid;
  uid.bytes.fill(number);
  return uid;
}

const Uid kRepositoryId = IdOf(1);
const Uid kObjectId = IdOf(2);

std::string WithChecksum(std::string_view bytes) {
  Checksum checksum;
  checksum.Add(bytes);
  return Encoder().Raw(bytes).Id(checksum.Value()).Take();
}

const Keys& PlainKeys() {
  static const Keys keys = [] {
    Keys read;
    const bool good = static_cast<bool>(Keys::Read(std::string(33, '\0'), kRepositoryId, "", "", read));
    Require(good, "keys without encryption can be read");
    return read;
  }();
  return keys;
}

// ---- Packs ----

ObjectHeader PackHeader() {
  ObjectHeader header;
  header.repository = kRepositoryId;
  header.object = kObjectId;
  return header;
}

// Tables with the end that belongs to them.
std::string EndOf(std::string_view header, std::uint64_t offset, std::string_view tables) {
  const std::string start = Encoder()
                                .Raw("KORVEND1")
                                .U64(offset + tables.size() + kTrailerSize)
                                .U64(offset)
                                .U32(static_cast<std::uint32_t>(tables.size()))
                                .U32(0)
                                .Id(kObjectId)
                                .Take();
  Checksum checksum;
  for (const std::string_view part : {header, tables, std::string_view(start)}) {
    checksum.Add(part);
  }
  return Encoder().Raw(tables).Raw(start).Id(checksum.Value()).Take();
}

// Reads all of a pack that opens.
void ReadWhole(const std::string& bytes) {
  MemoryPlace place;
  place.objects[PackObject(kObjectId)] = bytes;
  std::shared_ptr<const PackReader> reader;
  const Status opened = PackReader::Open(place, PlainKeys(), kRepositoryId, kObjectId, reader);
  Require(opened || opened.Message().find(kObjectId.Hex()) != std::string::npos, "a refusal names the pack",
          opened.Message());
  if (!opened) {
    return;
  }
  const PackTables& tables = reader->Tables();
  const std::uint64_t end = reader->OffsetOf(tables.blocks.size());
  const std::string header = bytes.substr(0, static_cast<std::size_t>(reader->OffsetOf(0)));
  Require(EncodeEnd(kObjectId, header, end, tables) == bytes.substr(static_cast<std::size_t>(end)),
          "the tables of a pack that opens are those that were written");
  for (std::size_t number = 0; number <= tables.blocks.size(); ++number) {
    std::string block;
    const Status read = reader->ReadBlock(number, block);
    Require(read || read.Message().find(kObjectId.Hex()) != std::string::npos, "a refusal names the pack",
            read.Message());
    Require(!read || (number < tables.blocks.size() && block.size() == tables.blocks[number].plain &&
                      block.size() <= kLargestBlock),
            "a block that is read is as long as it must be");
    Require(!read || reader->CheckBlock(number), "a block that is read is whole");
  }
}

// Blocks whose entries say what the input likes, but their sizes and checksums fit.
std::string PackOfBlocks(Input input) {
  ObjectHeader header = PackHeader();
  PackTables tables;
  tables.saveset = IdOf(3);
  tables.items = input.Byte();
  std::string bytes = EncodeHeader(header);
  const std::string headerBytes = bytes;
  while (!input.AtEnd() && tables.blocks.size() < 16) {
    BlockEntry entry;
    entry.kind = static_cast<BlockKind>(input.Byte() % 4);
    entry.codec = static_cast<Codec>(input.Byte() % 3);
    entry.plain = static_cast<std::uint32_t>(input.Byte() | input.Byte() << 8 | input.Byte() << 16);
    const std::string_view stored = input.Bytes(input.Byte() | input.Byte() << 8);
    entry.stored = static_cast<std::uint32_t>(stored.size());
    entry.checksum = BlockChecksum(kObjectId, static_cast<std::uint32_t>(tables.blocks.size()), stored);
    tables.blocks.push_back(entry);
    bytes += stored;
  }
  return bytes + EncodeEnd(kObjectId, headerBytes, bytes.size(), tables);
}

void RunPack(std::string_view bytes) {
  Input input(bytes);
  const std::uint8_t how = input.Byte() % 4;
  if (how == 0) {
    ReadWhole(std::string(input.Rest()));
  } else if (how == 1) {
    ReadWhole(PackOfBlocks(input));
  } else if (how == 2) {
    // Any tables.
    const std::string header = EncodeHeader(PackHeader());
    const std::string_view blocks = input.Bytes(input.Byte());
    ReadWhole(header + std::string(blocks) + EndOf(header, header.size() + blocks.size(), input.Rest()));
  } else {
    // Any header.
    const std::string header = WithChecksum(input.Rest());
    ReadWhole(header + EndOf(header, header.size(), Encoder().Id(IdOf(3)).U32(0).U32(0).U32(0).Bytes()));
    ObjectHeader decoded;
    if (DecodeHeader(header, PackHeader(), decoded)) {
      const std::string again = EncodeHeader(decoded);
      Require(again.size() == header.size() && DecodeHeader(again, PackHeader(), decoded),
              "a header can be written again");
    }
  }
}

std::string BlockInput(BlockKind kind, Codec codec, std::string_view plain) {
  std::string stored(plain);
  if (codec == Codec::kZstd) {
    stored.resize(ZSTD_compressBound(plain.size()));
    stored.resize(ZSTD_compress(stored.data(), stored.size(), plain.data(), plain.size(), 3));
  }
  const std::string size = Encoder().U32(static_cast<std::uint32_t>(plain.size())).Take().substr(0, 3);
  return Encoder()
      .U8(static_cast<std::uint8_t>(kind))
      .U8(static_cast<std::uint8_t>(codec))
      .Raw(size)
      .U16(static_cast<std::uint16_t>(stored.size()))
      .Raw(stored)
      .Take();
}

void SeedPack(Corpus& corpus) {
  const std::string blocks = "\5" + BlockInput(BlockKind::kData, Codec::kPlain, "plain bytes of a file") +
                             BlockInput(BlockKind::kMaps, Codec::kZstd, std::string(3000, 'm')) +
                             BlockInput(BlockKind::kRecords, Codec::kZstd, "a record");
  corpus.Add("\1" + blocks);
  corpus.Add('\0' + PackOfBlocks(Input(blocks)));
  const std::string header = EncodeHeader(PackHeader());
  corpus.Add("\3" + header.substr(0, header.size() - Uid::kSize));
  ObjectHeader sealed = PackHeader();
  sealed.cipher = Cipher::kAes256Gcm;
  sealed.sealedKey = std::string(80, 's');
  const std::string long_ = EncodeHeader(sealed);
  corpus.Add("\3" + long_.substr(0, long_.size() - Uid::kSize));
  Encoder tables;
  tables.Id(IdOf(3))
      .U32(2)
      .U32(1)
      .U8(0)
      .U8(0)
      .U32(4)
      .U32(4)
      .Id(BlockChecksum(kObjectId, 0, "data"))
      .U32(1)
      .Id(IdOf(4));
  corpus.Add("\2\4data" + tables.Bytes());
}

// ---- Small objects ----

std::string ObjectOf(ObjectKind kind, const Uid& id, std::string_view content) {
  ObjectHeader header;
  header.kind = kind;
  header.repository = kRepositoryId;
  header.object = id;
  return EncodeObject(header, content);
}

void CheckRepository(const std::string& bytes) {
  Uid repository;
  std::string part;
  if (!DecodeRepository(bytes, repository, part)) {
    return;
  }
  Keys keys;
  if (!Keys::Read(part, repository, "", "", keys)) {
    return;
  }
  Require(keys.HeaderPart() == part, "keys that are read are those that were written");
  Require(keys.Encrypts() || keys.CanSave(), "a repository without encryption needs no key file");
  const std::string again = EncodeRepository(repository, keys, DecodeAbilities(bytes));
  Uid other;
  std::string otherPart;
  Require(DecodeRepository(again, other, otherPart) && other == repository && otherPart == part &&
              DecodeAbilities(again) == DecodeAbilities(bytes),
          "a repository's object can be written again");
}

bool Same(const Saveset& one, const Saveset& other) {
  return one.uid == other.uid && one.name == other.name && one.database == other.database &&
         one.pool == other.pool && one.created == other.created && one.id == other.id &&
         one.together == other.together && one.mover == other.mover && one.ended == other.ended &&
         one.items == other.items && one.failed == other.failed && one.warnings == other.warnings &&
         one.isProtected == other.isProtected && one.sessionFailed == other.sessionFailed;
}

void CheckSaveset(MemoryPlace& place) {
  const ObjectShelf shelf{place, PlainKeys(), kRepositoryId};
  SavesetObjects objects;
  const Status read = ReadSavesetObjects(shelf, kObjectId, objects);
  Require(read || read.Message().find(kObjectId.Hex()) != std::string::npos, "a refusal names the object",
          read.Message());
  const Saveset& saveset = objects.saveset;
  Require(saveset.uid == kObjectId && !(saveset.failed && saveset.warnings), "a saveset ends in one way");
  Require(IsTime(saveset.created) && IsTime(saveset.ended.value_or(0)),
          "a saveset's times can be counted with");
  if (!read || !objects.begun) {
    return;
  }
  MemoryPlace second;
  const ObjectShelf other{second, PlainKeys(), kRepositoryId};
  const State state = saveset.failed ? State::kFailed : saveset.warnings ? State::kWarnings : State::kGood;
  const bool written =
      PutSavesetBegin(other, saveset) &&
      (!saveset.ended || PutSavesetEnd(other, kObjectId, saveset.mover, saveset.items, *saveset.ended)) &&
      PutSavesetClosed(other, kObjectId, state, 0) &&
      (!saveset.sessionFailed || PutBackupFailed(other, kObjectId, 0)) &&
      (!saveset.isProtected || PutSavesetProtected(other, kObjectId, 0));
  SavesetObjects again;
  Require(written && ReadSavesetObjects(other, kObjectId, again) && Same(again.saveset, saveset),
          "a saveset's objects can be written again", saveset.name);
}

struct SmallObject {
  const char* which;
  ObjectKind kind;
};
constexpr SmallObject kSmallObjects[] = {{"begin", ObjectKind::kSavesetBegin},
                                         {"end", ObjectKind::kSavesetEnd},
                                         {"closed", ObjectKind::kSavesetClosed},
                                         {"failed", ObjectKind::kBackupFailed},
                                         {"protected", ObjectKind::kSavesetProtected}};

void RunObjects(std::string_view bytes) {
  Input input(bytes);
  const std::uint8_t how = input.Byte();
  if (how % 4 == 0) {
    CheckRepository(std::string(input.Rest()));
    return;
  }
  if (how % 4 == 1) {
    CheckRepository(ObjectOf(ObjectKind::kRepository, kRepositoryId, input.Rest()));
    return;
  }
  MemoryPlace place;
  for (const SmallObject& object : kSmallObjects) {
    const std::string_view content = input.Bytes(input.Byte());
    if (!content.empty()) {
      place.objects[SavesetObject(kObjectId, object.which)] =
          how % 4 == 2 ? ObjectOf(object.kind, kObjectId, content) : WithChecksum(content);
    }
  }
  CheckSaveset(place);
}

// Behind the header and the size.
std::string ContentOf(const std::string& object) {
  return object.substr(kHeaderStart + Uid::kSize + 4, object.size() - kHeaderStart - 2 * Uid::kSize - 4);
}

void SeedObjects(Corpus& corpus) {
  Saveset saveset;
  saveset.uid = saveset.together = kObjectId;
  saveset.id = 17;
  saveset.name = "C111700000000";
  saveset.database = "C11";
  saveset.pool = "pool";
  saveset.created = 1700000000;
  MemoryPlace place;
  const ObjectShelf shelf{place, PlainKeys(), kRepositoryId};
  Require(
      PutSavesetBegin(shelf, saveset) && PutSavesetEnd(shelf, kObjectId, Mover::kEndedClean, 5, 1700000009) &&
          PutSavesetClosed(shelf, kObjectId, State::kWarnings, 1700000010) &&
          PutBackupFailed(shelf, kObjectId, 1700000011) && PutSavesetProtected(shelf, kObjectId, 1700000011),
      "a saveset's objects can be put");
  std::string contents;
  for (const SmallObject& object : kSmallObjects) {
    const std::string content = ContentOf(place.objects[SavesetObject(kObjectId, object.which)]);
    contents += static_cast<char>(content.size()) + content;
  }
  corpus.Add("\2" + contents);
  for (const bool encrypts : {false, true}) {
    Keys keys;
    Require(static_cast<bool>(Keys::Make(encrypts, kRepositoryId, keys)), "keys can be made");
    const std::string object = EncodeRepository(kRepositoryId, keys, "locks");
    corpus.Add('\0' + object);
    corpus.Add("\1" + ContentOf(object));
  }
}

}  // namespace

const Target kPack = {"pack", RunPack, SeedPack, {"KORVOBJ1", "KORVEND1"}};
const Target kObjects = {"objects", RunObjects, SeedObjects, {"KORVOBJ1"}};

}  // namespace fuzz
