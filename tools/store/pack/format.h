// The bytes of packs and of the small objects: encoding, decoding, checksums. docs/store.md has the format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/uid.h"
#include "store/keys/keys.h"
#include "store/status.h"

namespace store {

// The most bytes of a data block before it is compressed.
inline constexpr std::size_t kBlockSize = 2 * 1024 * 1024;
// Blocks of maps and records are as large as the largest thing in them, up to this size.
inline constexpr std::size_t kLargestBlock = 16 * 1024 * 1024;

// A larger file is not saved, because the tree of its map might not fit into a block.
inline constexpr std::uint64_t kLargestFile = std::uint64_t{512} << 40;

// No pack has more than this, so a reader need not keep more.
inline constexpr std::uint32_t kMostItemsOfPack = 64 * 1024;
inline constexpr std::size_t kMostRecordsOfPack = 2 * kLargestBlock;  // bytes of all its records
inline constexpr std::size_t kLargestTables = 64 * 1024 * 1024;

// The numbers are stored in the objects.
enum class ObjectKind : std::uint16_t {
  kRepository = 1,
  kPack = 2,
  kSavesetBegin = 3,
  kSavesetEnd = 4,
  kSavesetClosed = 5,
  kSavesetProtected = 6,
  kBackupFailed = 7
};
enum class BlockKind : std::uint8_t { kData = 0, kMaps = 1, kRecords = 2 };
enum class Codec : std::uint8_t { kPlain = 0, kZstd = 1 };

struct ObjectHeader {
  ObjectKind kind = ObjectKind::kPack;
  Uid repository;
  Uid object;
  Cipher cipher = Cipher::kNone;
  std::string sealedKey;
};
[[nodiscard]] std::string EncodeHeader(const ObjectHeader& header);
// The first `kHeaderStart` bytes of a header tell its size.
inline constexpr std::size_t kHeaderStart = 64;
Status HeaderSize(std::string_view start, std::size_t& size);
// kDamaged for anything that is not expected, also for an object of another repository or of another name.
// kFailed, with advice, if it needs features of a newer release.
Status DecodeHeader(std::string_view bytes, const ObjectHeader& expected, ObjectHeader& header);

struct BlockEntry {
  BlockKind kind = BlockKind::kData;
  Codec codec = Codec::kPlain;
  std::uint32_t stored = 0;
  std::uint32_t plain = 0;
  Uid checksum;  // of the pack's id, the block's number and the stored bytes
};

struct PackTables {
  Uid saveset;
  std::vector<BlockEntry> blocks;
  std::vector<Uid> refersTo;  // the other packs that its items need
  std::uint32_t items = 0;
};

[[nodiscard]] Uid BlockChecksum(const Uid& pack, std::uint32_t number, std::string_view stored);
// What a block's encryption is bound to.
[[nodiscard]] std::string BlockPlace(const Uid& repository, const Uid& pack, std::uint32_t number,
                                     const BlockEntry& entry);

// Tables and trailer, which end the pack. `header`: its bytes as stored; `tablesOffset`: the size of all
// before the tables.
[[nodiscard]] std::string EncodeEnd(const Uid& pack, std::string_view header, std::uint64_t tablesOffset,
                                    const PackTables& tables);
inline constexpr std::size_t kTrailerSize = 64;
struct Trailer {
  std::uint64_t size = 0;  // of the whole pack
  std::uint64_t tablesOffset = 0;
  std::uint32_t tablesSize = 0;
  Uid pack;
  Uid checksum;  // of header, tables and the numbers above
};
Status DecodeTrailer(std::string_view bytes, const Uid& pack, std::uint64_t objectSize, Trailer& trailer);
Status DecodeTables(std::string_view header, std::string_view tables, const Trailer& trailer,
                    PackTables& decoded);

// A small object: header, its content (encrypted in a repository that encrypts), checksum.
[[nodiscard]] std::string EncodeObject(const ObjectHeader& header, std::string_view content);
Status DecodeObject(std::string_view bytes, const ObjectHeader& expected, std::string& content);

}  // namespace store
