#include "store/pack/format.h"

#include "store/base/bytes.h"
#include "store/base/checksum.h"

namespace store {
namespace {

constexpr std::string_view kMagic = "KORVOBJ1";
constexpr std::string_view kEndMagic = "KORVEND1";
constexpr std::uint16_t kVersion = 1;
constexpr std::uint8_t kHashInUse = 1;
constexpr std::uint8_t kCodecInUse = 1;
constexpr std::size_t kMostSealed = 4096;
constexpr std::size_t kSealedSizeAt = kHeaderStart - sizeof(std::uint32_t);
constexpr std::size_t kBlockEntrySize = 26;
// A stored block is at most so much larger than before, with any cipher.
constexpr std::size_t kMostOverhead = 64;

Status Newer() { return Status::Failed("a newer release has written it: use the tools of that release"); }

Uid ChecksumOf(std::initializer_list<std::string_view> parts) {
  Checksum checksum;
  for (const std::string_view part : parts) {
    checksum.Add(part);
  }
  return checksum.Value();
}

// The trailer without its hash.
std::string TrailerStart(const Trailer& trailer) {
  return Encoder()
      .Raw(kEndMagic)
      .U64(trailer.size)
      .U64(trailer.tablesOffset)
      .U32(trailer.tablesSize)
      .U32(0)
      .Id(trailer.pack)
      .Take();
}

std::string EncodeTables(const PackTables& tables) {
  Encoder encoder;
  encoder.Id(tables.saveset).U32(tables.items).U32(static_cast<std::uint32_t>(tables.blocks.size()));
  for (const BlockEntry& block : tables.blocks) {
    encoder.U8(static_cast<std::uint8_t>(block.kind)).U8(static_cast<std::uint8_t>(block.codec));
    encoder.U32(block.stored).U32(block.plain).Id(block.checksum);
  }
  encoder.U32(static_cast<std::uint32_t>(tables.refersTo.size()));
  for (const Uid& pack : tables.refersTo) {
    encoder.Id(pack);
  }
  return encoder.Take();
}

bool IsSound(const BlockEntry& block) {
  const std::size_t most = block.kind == BlockKind::kData ? kBlockSize : kLargestBlock;
  return block.kind <= BlockKind::kRecords && block.codec <= Codec::kZstd && block.plain > 0 &&
         block.plain <= most && block.stored > 0 && block.stored <= block.plain + kMostOverhead;
}

bool ReadBlocks(Decoder& decoder, std::vector<BlockEntry>& blocks, std::uint64_t& stored) {
  const std::uint32_t count = decoder.U32();
  if (count > decoder.Left() / kBlockEntrySize) {
    return false;
  }
  blocks.resize(count);
  for (BlockEntry& block : blocks) {
    block.kind = static_cast<BlockKind>(decoder.U8());
    block.codec = static_cast<Codec>(decoder.U8());
    block.stored = decoder.U32();
    block.plain = decoder.U32();
    block.checksum = decoder.Id();
    stored += block.stored;
    if (!IsSound(block)) {
      return false;
    }
  }
  return true;
}

bool HasRecordsWithin(const PackTables& tables) {
  std::uint64_t records = 0;
  for (const BlockEntry& block : tables.blocks) {
    records += block.kind == BlockKind::kRecords ? block.plain : 0;
  }
  return records <= kMostRecordsOfPack && tables.items <= kMostItemsOfPack;
}

bool ReadIds(Decoder& decoder, std::vector<Uid>& ids) {
  const std::uint32_t count = decoder.U32();
  if (count > decoder.Left() / Uid::kSize) {
    return false;
  }
  ids.resize(count);
  for (Uid& id : ids) {
    id = decoder.Id();
  }
  return true;
}

}  // namespace

std::string EncodeHeader(const ObjectHeader& header) {
  Encoder encoder;
  encoder.Raw(kMagic).U16(static_cast<std::uint16_t>(header.kind)).U16(kVersion).U32(0).U32(0).U32(0);
  encoder.Id(header.repository).Id(header.object).U8(kHashInUse).U8(kCodecInUse);
  encoder.U8(static_cast<std::uint8_t>(header.cipher)).U8(0);
  encoder.U32(static_cast<std::uint32_t>(header.sealedKey.size())).Raw(header.sealedKey);
  return encoder.Id(ChecksumOf({encoder.Bytes()})).Take();
}

Status HeaderSize(std::string_view start, std::size_t& size) {
  if (start.size() < kHeaderStart || start.substr(0, kMagic.size()) != kMagic) {
    return Status::Damaged("it does not begin as an object of a repository");
  }
  const std::size_t sealed = Decoder(start.substr(kSealedSizeAt)).U32();
  if (sealed > kMostSealed) {
    return Status::Damaged("its header is damaged");
  }
  size = kHeaderStart + sealed + Uid::kSize;
  return {};
}

Status DecodeHeader(std::string_view bytes, const ObjectHeader& expected, ObjectHeader& header) {
  std::size_t size = 0;
  if (Status known = HeaderSize(bytes, size); !known) {
    return known;
  }
  if (bytes.size() < size ||
      Decoder(bytes.substr(size - Uid::kSize)).Id() != ChecksumOf({bytes.substr(0, size - Uid::kSize)})) {
    return Status::Damaged("its header is damaged");
  }
  Decoder decoder(bytes.substr(kMagic.size()));
  header.kind = static_cast<ObjectKind>(decoder.U16());
  const std::uint16_t version = decoder.U16();
  decoder.U32();  // features that a reader may ignore
  decoder.U32();  // features for writers; nothing is ever written into an existing object
  const std::uint32_t needed = decoder.U32();
  header.repository = decoder.Id();
  header.object = decoder.Id();
  const std::uint8_t hash = decoder.U8();
  const std::uint8_t codec = decoder.U8();
  header.cipher = static_cast<Cipher>(decoder.U8());
  decoder.U8();
  header.sealedKey = decoder.Raw(decoder.U32());
  if (version != kVersion || needed != 0 || hash != kHashInUse || codec != kCodecInUse ||
      header.cipher > Cipher::kXChaCha20Poly1305) {
    return Newer();
  }
  if (header.kind != expected.kind || header.object != expected.object) {
    return Status::Damaged("it is another object than its name says: " + header.object.Hex());
  }
  return header.repository == expected.repository
             ? Status()
             : Status::Damaged("it belongs to another repository: " + header.repository.Hex());
}

Uid BlockChecksum(const Uid& pack, std::uint32_t number, std::string_view stored) {
  return ChecksumOf({pack.Bytes(), Encoder().U32(number).Bytes(), stored});
}

std::string BlockPlace(const Uid& repository, const Uid& pack, std::uint32_t number,
                       const BlockEntry& entry) {
  return Encoder()
      .Id(repository)
      .Id(pack)
      .U32(number)
      .U8(static_cast<std::uint8_t>(entry.kind))
      .U8(static_cast<std::uint8_t>(entry.codec))
      .U32(entry.plain)
      .Take();
}

std::string EncodeEnd(const Uid& pack, std::string_view header, std::uint64_t tablesOffset,
                      const PackTables& tables) {
  const std::string encoded = EncodeTables(tables);
  Trailer trailer;
  trailer.tablesOffset = tablesOffset;
  trailer.tablesSize = static_cast<std::uint32_t>(encoded.size());
  trailer.size = tablesOffset + encoded.size() + kTrailerSize;
  trailer.pack = pack;
  const std::string start = TrailerStart(trailer);
  return Encoder().Raw(encoded).Raw(start).Id(ChecksumOf({header, encoded, start})).Take();
}

Status DecodeTrailer(std::string_view bytes, const Uid& pack, std::uint64_t objectSize, Trailer& trailer) {
  Decoder decoder(bytes);
  const bool magic = decoder.Raw(kEndMagic.size()) == kEndMagic;
  trailer.size = decoder.U64();
  trailer.tablesOffset = decoder.U64();
  trailer.tablesSize = decoder.U32();
  const std::uint32_t rest = decoder.U32();
  trailer.pack = decoder.Id();
  trailer.checksum = decoder.Id();
  if (!decoder.Done() || !magic || rest != 0 || trailer.pack != pack) {
    return Status::Damaged("its end is damaged");
  }
  if (trailer.size != objectSize) {
    return Status::Damaged("its size is " + std::to_string(objectSize) + " bytes instead of " +
                           std::to_string(trailer.size));
  }
  return trailer.tablesOffset <= objectSize && trailer.tablesSize <= objectSize &&
                 trailer.tablesSize <= kLargestTables &&
                 trailer.tablesOffset + trailer.tablesSize + kTrailerSize == objectSize
             ? Status()
             : Status::Damaged("its end is damaged");
}

Status DecodeTables(std::string_view header, std::string_view tables, const Trailer& trailer,
                    PackTables& decoded) {
  if (ChecksumOf({header, tables, TrailerStart(trailer)}) != trailer.checksum) {
    return Status::Damaged("its tables are damaged");
  }
  Decoder decoder(tables);
  decoded = {};
  decoded.saveset = decoder.Id();
  decoded.items = decoder.U32();
  std::uint64_t end = header.size();
  const bool read = ReadBlocks(decoder, decoded.blocks, end) && ReadIds(decoder, decoded.refersTo);
  if (read && !HasRecordsWithin(decoded)) {
    return Status::Damaged("its tables tell of more records than a pack can have");
  }
  return read && decoder.Done() && end == trailer.tablesOffset
             ? Status()
             : Status::Damaged("its tables contradict themselves");
}

std::string EncodeObject(const ObjectHeader& header, std::string_view content) {
  Encoder encoder;
  encoder.Raw(EncodeHeader(header)).U32(static_cast<std::uint32_t>(content.size())).Raw(content);
  return encoder.Id(ChecksumOf({encoder.Bytes()})).Take();
}

Status DecodeObject(std::string_view bytes, const ObjectHeader& expected, std::string& content) {
  std::size_t size = 0;
  ObjectHeader header;
  if (Status known = HeaderSize(bytes, size); !known) {
    return known;
  }
  if (Status decoded = DecodeHeader(bytes, expected, header); !decoded) {
    return decoded;
  }
  Decoder decoder(bytes.substr(size));
  content = decoder.Raw(decoder.U32());
  const Uid checksum = decoder.Id();
  return decoder.Done() && checksum == ChecksumOf({bytes.substr(0, bytes.size() - Uid::kSize)})
             ? Status()
             : Status::Damaged("its content is damaged");
}

}  // namespace store
