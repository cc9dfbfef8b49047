#include "store/pack_image.h"

#include <gtest/gtest.h>
#include <zstd.h>

#include "store/base/bytes.h"
#include "store/base/checksum.h"
#include "store/pack/pack_reader.h"

namespace store {
namespace {

std::string HashOf(std::initializer_list<std::string_view> parts) {
  Checksum checksum;
  for (const std::string_view part : parts) {
    checksum.Add(part);
  }
  return std::string(checksum.Value().Bytes());
}

void Apply(const std::vector<Patch>& patches, Patch::Part part, std::string& bytes) {
  for (const Patch& patch : patches) {
    for (std::size_t i = 0; patch.part == part && i < patch.width && patch.offset + i < bytes.size(); ++i) {
      bytes[patch.offset + i] = static_cast<char>(patch.value >> (8 * i));
    }
  }
}

// The hash stands at the end.
void Rehash(std::string& bytes) {
  bytes.resize(bytes.size() - Uid::kSize);
  bytes += HashOf({bytes});
}

std::string Compress(std::string_view plain) {
  std::string compressed(ZSTD_compressBound(plain.size()), '\0');
  compressed.resize(ZSTD_compress(compressed.data(), compressed.size(), plain.data(), plain.size(), 3));
  return compressed;
}

}  // namespace

Status PackImage::Read(Place& place, const Keys& keys, const Uid& repository, const Uid& id,
                       PackImage& pack) {
  std::shared_ptr<const PackReader> reader;
  if (Status opened = PackReader::Open(place, keys, repository, id, reader); !opened) {
    return opened;
  }
  pack = {};
  pack.id = id;
  pack.tables = reader->Tables();
  for (std::uint64_t number = 0; number < pack.tables.blocks.size(); ++number) {
    Block block{pack.tables.blocks[number].kind, {}, Codec::kZstd};
    if (Status read = reader->ReadBlock(number, block.plain); !read) {
      return read;
    }
    if (block.kind != BlockKind::kRecords) {
      pack.blocks.push_back(std::move(block));
      continue;
    }
    Decoder decoder(block.plain);
    while (decoder.Left() > 0) {
      if (Status decoded =
              DecodeRecord(decoder.Text(), repository, pack.tables.saveset, pack.items.emplace_back());
          !decoded) {
        return decoded;
      }
    }
  }
  return {};
}

std::uint64_t PackImage::Add(BlockKind kind, std::string plain, Codec codec) {
  blocks.push_back({kind, std::move(plain), codec});
  return blocks.size() - 1;
}

std::string PackImage::Encode(const Keys& keys, const Uid& repository) const {
  PackCiphers ciphers;
  EXPECT_TRUE(keys.NewPack(id, ciphers));
  ObjectHeader header;
  header.repository = repository;
  header.object = id;
  header.cipher = ciphers.cipher;
  header.sealedKey = ciphers.sealedKey;
  std::string bytes = EncodeHeader(header);
  Apply(patches, Patch::Part::kHeader, bytes);
  Rehash(bytes);
  const std::string head = bytes;
  std::vector<Block> all = blocks;
  Encoder records;
  for (const Item& item : items) {
    records.Text(EncodeRecord(item, repository, tables.saveset));
  }
  if (!items.empty()) {
    all.push_back({BlockKind::kRecords, records.Take(), Codec::kZstd});
  }
  PackTables made = tables;
  made.blocks.clear();
  for (const Block& block : all) {
    const auto number = static_cast<std::uint32_t>(made.blocks.size());
    BlockEntry entry;
    entry.kind = block.kind;
    entry.codec = block.codec;
    entry.plain = static_cast<std::uint32_t>(block.plain.size());
    std::string stored = block.codec == Codec::kZstd ? Compress(block.plain) : block.plain;
    if (ciphers.cipher != Cipher::kNone) {
      const BlockCipher& cipher = block.kind == BlockKind::kData ? *ciphers.data : *ciphers.meta;
      std::string encrypted;
      EXPECT_TRUE(cipher.Encrypt(number, BlockPlace(repository, id, number, entry), stored, encrypted));
      stored = encrypted;
    }
    entry.stored = static_cast<std::uint32_t>(stored.size());
    entry.checksum = BlockChecksum(id, number, stored);
    made.blocks.push_back(entry);
    bytes += stored;
  }
  const std::string end = EncodeEnd(id, head, bytes.size(), made);
  std::string encoded = end.substr(0, end.size() - kTrailerSize);
  std::string trailer = end.substr(encoded.size(), kTrailerSize - Uid::kSize);
  Apply(patches, Patch::Part::kTables, encoded);
  Apply(patches, Patch::Part::kTrailer, trailer);
  return bytes + encoded + trailer + HashOf({head, encoded, trailer});
}

void PackImage::SetMap(const Keys& keys, Item& item, const std::string& map) {
  item.map = {id, Add(BlockKind::kMaps, map), 0, map.size()};
  item.content = keys.IdOf(map);
}

std::string PackImage::MapOf(const Item& item) const {
  return blocks[static_cast<std::size_t>(item.map.block)].plain.substr(
      static_cast<std::size_t>(item.map.offset), static_cast<std::size_t>(item.map.size));
}

Status ObjectImage::Read(std::string_view bytes, const Keys& keys, const ObjectHeader& expected,
                         ObjectImage& image) {
  image = {};
  image.header = expected;
  std::string content;
  std::string plain;
  if (Status decoded = DecodeObject(bytes, expected, content); !decoded) {
    return decoded;
  }
  if (Status opened =
          keys.DecryptObject(static_cast<std::uint16_t>(expected.kind), expected.object, content, plain);
      !opened) {
    return opened;
  }
  Decoder decoder(plain);
  while (decoder.Left() > 0 && !decoder.Failed()) {
    const std::uint64_t tag = decoder.Varint();
    image.fields.emplace_back(tag, decoder.Text());
  }
  return decoder.Done() ? Status() : Status::Damaged("no list of fields");
}

std::string ObjectImage::Encode(const Keys& keys) const {
  Encoder plain;
  for (const auto& [tag, value] : fields) {
    plain.Varint(tag).Text(value);
  }
  std::string content;
  EXPECT_TRUE(
      keys.EncryptObject(static_cast<std::uint16_t>(header.kind), header.object, plain.Bytes(), content));
  std::string head = EncodeHeader(header);
  const std::size_t size = head.size();
  Apply(patches, Patch::Part::kHeader, head);
  Rehash(head);
  std::string bytes = head + EncodeObject(header, content).substr(size);
  Rehash(bytes);
  return bytes;
}

}  // namespace store
