// The bytes of the store's objects: they cannot change unnoticed, and none that are damaged pass for good.
#include "store/pack/format.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/base/checksum.h"
#include "store/keys/block_cipher.h"
#include "store/pack/map.h"
#include "store/pack/record.h"
#include "store/saveset_objects.h"
#include "support/run_program.h"

namespace store {
namespace {

Uid Filled(unsigned char byte) {
  Uid uid;
  uid.bytes.fill(byte);
  return uid;
}

const Uid kRepository = Filled(0x11);
const Uid kPack = Filled(0x22);
const Uid kSaveset = Filled(0x33);

std::string Hex(std::string_view bytes) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

const std::string kRepositoryHex = Times(16, "11");
const std::string kPackHex = Times(16, "22");
const std::string kSavesetHex = Times(16, "33");

ObjectHeader PlainHeader() { return {ObjectKind::kPack, kRepository, kPack, Cipher::kNone, {}}; }

PackTables SomeTables() {
  PackTables tables;
  tables.saveset = kSaveset;
  tables.items = 2;
  tables.blocks = {{BlockKind::kData, Codec::kZstd, 500, 70000, Filled(0x44)},
                   {BlockKind::kRecords, Codec::kPlain, 12, 12, Filled(0x55)}};
  tables.refersTo = {Filled(0x66)};
  return tables;
}

// A pack of which the blocks are nothing but their sizes.
std::string SomePack() {
  const std::string header = EncodeHeader(PlainHeader());
  const std::uint64_t tables = header.size() + 512;
  return header + std::string(512, 'b') + EncodeEnd(kPack, header, tables, SomeTables());
}

Status ReadPack(std::string_view pack, PackTables& tables) {
  ObjectHeader header;
  std::size_t headerSize = 0;
  Trailer trailer;
  if (Status size = HeaderSize(pack, headerSize); !size) {
    return size;
  }
  if (Status read = DecodeHeader(pack.substr(0, headerSize), PlainHeader(), header); !read) {
    return read;
  }
  if (Status read = DecodeTrailer(pack.substr(pack.size() - kTrailerSize), kPack, pack.size(), trailer);
      !read) {
    return read;
  }
  return DecodeTables(pack.substr(0, headerSize), pack.substr(trailer.tablesOffset, trailer.tablesSize),
                      trailer, tables);
}

Item SomeItem() {
  Item item;
  item.number = 300;
  item.name = "/db/system.dbf";
  item.facts.size = 70000;
  item.facts.modified = {-2, 999'999'999};
  item.facts.mode = 0640;
  item.facts.owner = 7;
  item.facts.group = 200;
  item.facts.sparse = true;
  item.changed = true;
  item.map = {kPack, 1, 2, 3};
  item.content = Filled(0x77);
  item.stored = 1;
  item.packs = {kPack, Filled(0x66)};
  item.unknown = Encoder().Varint(40).Text("later").Take();
  return item;
}

MapLeaf SomeLeaf() {
  MapLeaf leaf;
  leaf.chunkSize = 8192;
  leaf.packs = {kPack, Filled(0x66)};
  leaf.holes = {{8192, 4096}, {16384, 100}};
  leaf.chunks = {{Filled(1), false, 0, 3, 0},
                 {Filled(2), false, 0, 3, 8192},
                 {{}, true, 0, 0, 0},
                 {Filled(3), false, 1, 300, 64},
                 {Filled(4), false, 0, 3, 16384}};
  return leaf;
}

MapTree SomeTree() {
  MapTree tree;
  tree.chunkSize = 65536;
  tree.leaves = {{Filled(1), {kPack, 9, 0, 20000}},
                 {Filled(2), {Filled(0x66), 300, 7, 8}},
                 {Filled(3), {kPack, 9, 20000, 5}}};
  return tree;
}

// ---- The bytes -------------------------------------------------------------------------------------------

TEST(Format, PacksHaveTheBytesOfThePage) {
  EXPECT_EQ(Hex(EncodeHeader(PlainHeader())), Hex("KORVOBJ1") + "02000100" + Times(12, "00") +
                                                  kRepositoryHex + kPackHex + "0101000000000000" +
                                                  "3ddfbf3c1dee899a371bfa2a83632337");
  EXPECT_EQ(Hex(std::string_view(SomePack()).substr(80 + 512)),
            kSavesetHex + "02000000" + "02000000" + "0001f401000070110100" + Times(16, "44") +
                "02000c0000000c000000" + Times(16, "55") + "01000000" + Times(16, "66") + Hex("KORVEND1") +
                "f002000000000000" + "5002000000000000" + "6000000000000000" + kPackHex +
                "815194c9fa7fd476c300effb4659808b");
  EXPECT_EQ(BlockChecksum(kPack, 1, "stored").Hex(), "5eb0cf412178b4b28a2a9d6ff5008b14");
}

TEST(Format, RecordsHaveTheBytesOfThePage) {
  EXPECT_EQ(Hex(EncodeRecord(SomeItem(), kRepository, kSaveset)),
            "0102ac02"
            "020e" +
                Hex("/db/system.dbf") +
                "030100"
                "0403f0a204"
                "050cfeffffffffffffffffc99a3b"
                "0605a00307c801"
                "070105"
                "0b13" +
                kPackHex +
                "010203"
                "0c10" +
                Times(16, "77") +
                "0d080100000000000000"
                "0e20" +
                kPackHex + Times(16, "66") + "2805" + Hex("later") +
                "7f10"
                "374fdd884c5415c451c8f0d529c88451");
}

TEST(Format, MapsHaveTheBytesOfThePage) {
  EXPECT_EQ(Hex(EncodeLeaf(SomeLeaf())),
            "01"
            "8040"
            "02" +
                kPackHex + Times(16, "66") +
                "02"
                "80408020"
                "802064"
                "05"
                "05"
                "000300" +
                Times(16, "01") + Times(16, "02") +
                "02"
                "03"
                "01ac0240" +
                Times(16, "03") +
                "03"
                "0003808001" +
                Times(16, "04"));
  EXPECT_EQ(Hex(EncodeTree(SomeTree())),
            "02"
            "808004"
            "02" +
                kPackHex + Times(16, "66") + "03" + Times(16, "01") + "000900a09c01" + Times(16, "02") +
                "01ac020708" + Times(16, "03") + "0009a09c0105");
}

// ---- Damage ----------------------------------------------------------------------------------------------

// Every byte changed in every bit, and every beginning: `read` must refuse each.
void ExpectDamageIsRefused(const std::string& bytes, const std::function<bool(std::string_view)>& read) {
  ASSERT_TRUE(read(bytes));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(damaged[i] ^ (1 << bit));
      EXPECT_FALSE(read(damaged)) << "bit " << bit << " of byte " << i;
    }
    EXPECT_FALSE(read(std::string_view(bytes).substr(0, i))) << i;
  }
  EXPECT_FALSE(read(bytes + "x"));
}

TEST(Format, DamageOfAnyBitIsRefused) {
  ExpectDamageIsRefused(EncodeHeader(PlainHeader()) + EncodeEnd(kPack, EncodeHeader(PlainHeader()), 80, {}),
                        [](std::string_view pack) {
                          PackTables tables;
                          return pack.size() > kTrailerSize && ReadPack(pack, tables);
                        });
  ExpectDamageIsRefused(EncodeRecord(SomeItem(), kRepository, kSaveset), [](std::string_view bytes) {
    Item item;
    return static_cast<bool>(DecodeRecord(bytes, kRepository, kSaveset, item));
  });
  ObjectHeader header = PlainHeader();
  header.kind = ObjectKind::kSavesetBegin;
  ExpectDamageIsRefused(EncodeObject(header, "content"), [&header](std::string_view bytes) {
    std::string content;
    return static_cast<bool>(DecodeObject(bytes, header, content));
  });
}

// The hashes are right, but no writer makes such tables.
TEST(Format, TablesThatNoWriterMakesAreRefused) {
  const std::string header = EncodeHeader(PlainHeader());
  const auto reads = [&header](const std::vector<BlockEntry>& blocks, std::uint32_t items,
                               std::uint64_t gap) {
    PackTables tables = SomeTables();
    tables.blocks = blocks;
    tables.items = items;
    std::uint64_t begin = header.size() + gap;
    for (const BlockEntry& block : blocks) {
      begin += block.stored;
    }
    const std::string end = EncodeEnd(kPack, header, begin, tables);
    const std::string_view bytes = end;
    const std::size_t size = end.size() - kTrailerSize;
    Trailer trailer;
    return DecodeTrailer(bytes.substr(size), kPack, begin + end.size(), trailer) &&
           DecodeTables(header, bytes.substr(0, size), trailer, tables);
  };
  const BlockEntry data{BlockKind::kData, Codec::kPlain, kBlockSize + 64, kBlockSize, {}};
  const BlockEntry maps{BlockKind::kMaps, Codec::kZstd, 1, kLargestBlock, {}};
  const BlockEntry records{BlockKind::kRecords, Codec::kZstd, 1, kLargestBlock, {}};
  const BlockEntry one{BlockKind::kRecords, Codec::kZstd, 1, 1, {}};
  EXPECT_TRUE(reads({data, maps, records, records}, kMostItemsOfPack, 0));
  EXPECT_FALSE(reads({data}, kMostItemsOfPack + 1, 0));
  EXPECT_FALSE(reads({data}, 2, 1));
  EXPECT_FALSE(reads({records, records, one}, 2, 0));
  const std::vector<BlockEntry> bad = {{BlockKind::kData, Codec::kPlain, 1, kBlockSize + 1, {}},
                                       {BlockKind::kData, Codec::kPlain, 66, 1, {}},
                                       {BlockKind::kData, Codec::kPlain, 0, 1, {}},
                                       {BlockKind::kData, Codec::kPlain, 1, 0, {}},
                                       {BlockKind::kMaps, Codec::kPlain, 1, kLargestBlock + 1, {}},
                                       {static_cast<BlockKind>(3), Codec::kPlain, 1, 1, {}},
                                       {BlockKind::kData, static_cast<Codec>(2), 1, 1, {}}};
  for (std::size_t i = 0; i < bad.size(); ++i) {
    EXPECT_FALSE(reads({bad[i]}, 2, 0)) << i;
  }
  // The numbers in front of the trailer's hash have to fit by themselves: they tell what is read next.
  const std::string end = EncodeEnd(kPack, header, 592, SomeTables());
  const std::string trailer = end.substr(end.size() - kTrailerSize);
  ExpectDamageIsRefused(trailer.substr(0, 48), [&](std::string_view start) {
    Trailer decoded;
    return static_cast<bool>(
        DecodeTrailer(std::string(start) + trailer.substr(48), kPack, 592 + end.size(), decoded));
  });
}

TEST(Format, MapsThatNoWriterMakesAreRefused) {
  MapLeaf leaf;
  MapTree tree;
  const std::string leafBytes = EncodeLeaf(SomeLeaf());
  const std::string treeBytes = EncodeTree(SomeTree());
  ASSERT_TRUE(DecodeLeaf(leafBytes, leaf) && DecodeTree(treeBytes, tree));
  EXPECT_EQ(EncodeLeaf(leaf), leafBytes);
  EXPECT_EQ(EncodeTree(tree), treeBytes);
  EXPECT_FALSE(DecodeLeaf(leafBytes + "x", leaf) || DecodeTree(treeBytes + "x", tree));
  EXPECT_FALSE(DecodeLeaf(treeBytes, leaf) || DecodeTree(leafBytes, tree));
  const auto reads = [](const std::function<void(MapLeaf&)>& change) {
    MapLeaf some = SomeLeaf();
    change(some);
    return static_cast<bool>(DecodeLeaf(EncodeLeaf(some), some));
  };
  const std::map<std::uint32_t, bool> sizes = {
      {4096, false}, {8192, true}, {12288, false}, {1U << 20, true}, {1U << 21, false}};
  for (const auto& entry : sizes) {
    EXPECT_EQ(reads([&entry](MapLeaf& some) { some.chunkSize = entry.first; }), entry.second) << entry.first;
  }
  const auto holes = [&reads](const std::vector<Hole>& all) {
    return reads([&all](MapLeaf& some) { some.holes = all; });
  };
  constexpr std::uint64_t kAll = 8192 * kChunksOfLeaf;
  EXPECT_TRUE(holes({{0, kAll}}) && holes({{kAll - 1, 1}}) && holes({{100, 100}, {kAll - 100, 100}}));
  EXPECT_FALSE(holes({{0, 0}}) || holes({{0, kAll + 1}}) || holes({{kAll, 1}}) || holes({{kAll + 1, 1}}));
  EXPECT_FALSE(holes({{100, 100}, {kAll - 100, 101}}) || holes({{100, 100}, {kAll + 50, 1}}));
  std::vector<Hole> many;
  for (std::uint64_t i = 0; i < 8192; ++i) {
    many.push_back({2 * i, 1});
  }
  EXPECT_TRUE(holes(many));
  many.push_back({std::uint64_t{2} * 8192, 1});
  EXPECT_FALSE(holes(many)) << "denser than one in 1,024 bytes";
  const auto chunks = [&reads](const std::vector<ChunkPlace>& all) {
    return reads([&all](MapLeaf& some) { some.chunks = all; });
  };
  const ChunkPlace zero{{}, true, 0, 0, 0};
  constexpr std::uint32_t kEnd = kBlockSize;
  EXPECT_TRUE(chunks(std::vector<ChunkPlace>(kChunksOfLeaf, zero)));
  EXPECT_FALSE(chunks(std::vector<ChunkPlace>(kChunksOfLeaf + 1, zero)));
  EXPECT_TRUE(chunks({{kPack, false, 1, UINT32_MAX, kEnd - 1}}));
  EXPECT_TRUE(chunks({{kPack, false, 0, 3, kEnd - 8193}, {kPack, false, 0, 3, kEnd - 1}}));
  EXPECT_FALSE(chunks({{kPack, false, 0, 3, kEnd - 8192}, {kPack, false, 0, 3, kEnd}}));
  EXPECT_FALSE(chunks({{kPack, false, 0, 3, kEnd}}) || chunks({{kPack, false, 2, 3, 0}}));
  // What the encoder cannot be made to write.
  const auto run = [&leaf](std::uint64_t head) {
    return static_cast<bool>(
        DecodeLeaf(Encoder().U8(1).Varint(8192).Varint(0).Varint(0).Varint(1).Varint(head).Bytes(), leaf));
  };
  EXPECT_TRUE(run(2));
  EXPECT_FALSE(run(0) || run(4));
  EXPECT_FALSE(DecodeLeaf(Encoder()
                              .U8(1)
                              .Varint(8192)
                              .Varint(1)
                              .Id(kPack)
                              .Varint(0)
                              .Varint(1)
                              .Varint(3)
                              .Varint(0)
                              .Varint(std::uint64_t{1} << 32)
                              .Varint(0)
                              .Id(kPack)
                              .Bytes(),
                          leaf));
  const auto oneLeaf = [&tree](std::uint64_t chunkSize, std::uint64_t pack) {
    return static_cast<bool>(DecodeTree(Encoder()
                                            .U8(2)
                                            .Varint(chunkSize)
                                            .Varint(1)
                                            .Id(kPack)
                                            .Varint(1)
                                            .Id(kPack)
                                            .Varint(pack)
                                            .Varint(0)
                                            .Varint(0)
                                            .Varint(5)
                                            .Bytes(),
                                        tree));
  };
  EXPECT_TRUE(oneLeaf(8192, 0));
  EXPECT_FALSE(oneLeaf(8192, 1) || oneLeaf(4096, 0));
  constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;
  const std::map<std::uint64_t, std::uint32_t> sizeFor = {{0, 8},
                                                          {64 * kGiB, 8},
                                                          {64 * kGiB + 1, 16},
                                                          {256 * kGiB, 16},
                                                          {256 * kGiB + 1, 32},
                                                          {1024 * kGiB, 32},
                                                          {1024 * kGiB + 1, 64},
                                                          {4096 * kGiB, 64},
                                                          {4096 * kGiB + 65536, 128},
                                                          {kLargestFile, 1024}};
  for (const auto& [size, kib] : sizeFor) {
    EXPECT_EQ(ChunkSizeFor(size), kib * 1024) << size;
  }
}

TEST(Format, RecordsThatNoWriterMakesAreRefused) {
  Item item;
  for (const unsigned flag : {1U, 2U, 4U}) {
    Item some = SomeItem();
    some.facts.sparse = flag == 1;
    some.marker = flag == 2;
    some.changed = flag == 4;
    some.link = "to";
    some.directory = 3;
    some.entries = 4;
    const std::string bytes = EncodeRecord(some, kRepository, kSaveset);
    ASSERT_TRUE(DecodeRecord(bytes, kRepository, kSaveset, item));
    EXPECT_EQ(EncodeRecord(item, kRepository, kSaveset), bytes);
    EXPECT_TRUE(item.facts.sparse == (flag == 1) && item.marker == (flag == 2) &&
                item.changed == (flag == 4));
  }
  const auto reads = [&item](std::uint64_t tag, const Encoder& value) {
    const std::string fields = Encoder().Varint(tag).Text(value.Bytes()).Take();
    Checksum hash;
    hash.Add(kRepository.Bytes());
    hash.Add(kSaveset.Bytes());
    hash.Add(fields);
    return static_cast<bool>(DecodeRecord(
        Encoder().Raw(fields).Varint(127).Text(hash.Value().Bytes()).Bytes(), kRepository, kSaveset, item));
  };
  constexpr std::uint64_t kSmall = UINT32_MAX;
  EXPECT_TRUE(reads(3, Encoder().U8(3)) && reads(4, Encoder().Varint(2 * kLargestFile)) &&
              reads(5, Encoder().I64(0).U32(999'999'999)) &&
              reads(6, Encoder().Varint(kSmall).Varint(kSmall).Varint(kSmall)) &&
              reads(11, Encoder().Id(kPack).Varint(0).Varint(0).Varint(1)));
  EXPECT_FALSE(reads(3, Encoder().U8(4)) || reads(3, Encoder().U16(0)) ||
               reads(4, Encoder().Varint(2 * kLargestFile + 1)) ||
               reads(5, Encoder().I64(0).U32(1'000'000'000)));
  EXPECT_FALSE(reads(6, Encoder().Varint(kSmall + 1).Varint(0).Varint(0)) ||
               reads(6, Encoder().Varint(0).Varint(kSmall + 1).Varint(0)) ||
               reads(6, Encoder().Varint(0).Varint(0).Varint(kSmall + 1)));
  EXPECT_FALSE(reads(2, Encoder().Raw("a").U8(0).Raw("b")) || reads(8, Encoder().U8(0)) ||
               reads(11, Encoder().Id(kPack).Varint(0).Varint(0).Varint(0)) ||
               reads(12, Encoder().Raw("short")) || reads(14, Encoder().Id(kPack).U8(1)));
  // A number of more than 64 bits, a text that is longer than its bytes.
  const std::string most = Encoder().Varint(UINT64_MAX).Take();
  Decoder whole(most);
  EXPECT_TRUE(whole.Varint() == UINT64_MAX && whole.Done());
  for (const std::string& end : {std::string("\x02"), std::string("\x81\0", 2), std::string()}) {
    const std::string wrong = most.substr(0, 9) + end;
    Decoder decoder(wrong);
    decoder.Varint();
    EXPECT_TRUE(decoder.Failed()) << end.size();
  }
  Decoder cut(
      "\x05"
      "ab");
  EXPECT_EQ(cut.Text(), "");
  EXPECT_TRUE(cut.Failed());
  EXPECT_EQ(cut.U8(), 0);
}

TEST(Format, WhatBelongsElsewhereIsRefused) {
  const std::string record = EncodeRecord(SomeItem(), kRepository, kSaveset);
  Item item;
  EXPECT_FALSE(DecodeRecord(record, kSaveset, kSaveset, item));
  EXPECT_FALSE(DecodeRecord(record, kRepository, kPack, item));
  ObjectHeader header;
  for (const ObjectHeader& expected :
       {ObjectHeader{ObjectKind::kPack, kPack, kPack, Cipher::kNone, {}},
        ObjectHeader{ObjectKind::kPack, kRepository, kSaveset, Cipher::kNone, {}},
        ObjectHeader{ObjectKind::kRepository, kRepository, kPack, Cipher::kNone, {}}}) {
    EXPECT_EQ(DecodeHeader(EncodeHeader(PlainHeader()), expected, header).What(), Status::Kind::kDamaged);
  }
  EXPECT_NE(BlockChecksum(kPack, 1, "stored"), BlockChecksum(kPack, 2, "stored"));
  EXPECT_NE(BlockChecksum(kPack, 1, "stored"), BlockChecksum(kSaveset, 1, "stored"));
}

TEST(Format, ANewerReleaseIsToldFromDamage) {
  ObjectHeader header;
  // Version, needed features, hash, codec and cipher are; the two features for others are not.
  const std::map<std::size_t, bool> newer = {{10, true}, {12, false}, {16, false}, {20, true},
                                             {56, true}, {57, true},  {58, true}};
  for (const auto& [offset, isNewer] : newer) {
    std::string bytes = EncodeHeader(PlainHeader()).substr(0, kHeaderStart);
    bytes[offset] = static_cast<char>(bytes[offset] + 3);
    Checksum checksum;
    checksum.Add(bytes);
    const Status read = DecodeHeader(bytes + std::string(checksum.Value().Bytes()), PlainHeader(), header);
    EXPECT_EQ(read.What(), isNewer ? Status::Kind::kFailed : Status::Kind::kGood) << offset;
    EXPECT_EQ(read.Message().find("newer release") != std::string::npos, isNewer) << offset;
  }
  ObjectHeader known = PlainHeader();
  known.cipher = Cipher::kXChaCha20Poly1305;
  known.sealedKey.assign(4096, 'k');
  EXPECT_TRUE(DecodeHeader(EncodeHeader(known), PlainHeader(), header));
  known.sealedKey += 'k';
  EXPECT_EQ(DecodeHeader(EncodeHeader(known), PlainHeader(), header).What(), Status::Kind::kDamaged);
}

// ---- Keys ------------------------------------------------------------------------------------------------

class KeysTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Keys::Make(true, kRepository, keys_));
    ASSERT_TRUE(keys_.WriteFiles(secret_, key_));
  }

  Status Read(const std::string& secret, const std::string& key, Keys& keys) const {
    return Keys::Read(keys_.HeaderPart(), kRepository, secret, key, keys);
  }

  support::TemporaryDirectory directory_;
  const std::string secret_ = directory_.Path() + "/secret";
  const std::string key_ = directory_.Path() + "/key";
  Keys keys_;
};

TEST_F(KeysTest, NoRepositoryHasThoseOfAnother) {
  for (const bool encrypt : {false, true}) {
    std::set<std::string> ids;
    std::set<std::string> parts;
    for (int i = 0; i < 3; ++i) {
      Keys keys;
      ASSERT_TRUE(Keys::Make(encrypt, kRepository, keys));
      ids.insert(keys.IdOf("bytes").Hex());
      parts.insert(keys.HeaderPart());
    }
    EXPECT_EQ(ids.size(), 3U);
    EXPECT_EQ(parts.size(), 3U);
  }
}

TEST_F(KeysTest, WhatThePlaceCanDoIsNotedBesideThem) {
  for (const std::string abilities : {"", "object_lock"}) {
    EXPECT_EQ(DecodeAbilities(EncodeRepository(kRepository, keys_, abilities)), abilities);
  }
}

TEST_F(KeysTest, ASaverCannotReadAndAReaderCan) {
  Keys saver;
  Keys reader;
  ASSERT_TRUE(Read(secret_, "", saver));
  ASSERT_TRUE(Read(secret_, key_, reader));
  EXPECT_TRUE(saver.CanSave());
  EXPECT_NE(saver.CanRead().Message().find("key_file"), std::string::npos);
  EXPECT_EQ(saver.IdOf("bytes"), reader.IdOf("bytes"));
  EXPECT_NE(saver.IdOf("bytes"), saver.IdOf("byteS"));

  PackCiphers written;
  PackCiphers read;
  PackCiphers again;
  ASSERT_TRUE(saver.NewPack(kPack, written));
  ASSERT_TRUE(reader.OpenPack(kPack, written.cipher, written.sealedKey, read));
  ASSERT_TRUE(saver.OpenPack(kPack, written.cipher, written.sealedKey, again));
  EXPECT_EQ(again.data, nullptr);
  std::string stored;
  std::string plain;
  ASSERT_TRUE(written.data->Encrypt(3, "place", "plain", stored));
  ASSERT_TRUE(read.data->Decrypt(3, "place", stored, plain));
  EXPECT_EQ(plain, "plain");
  EXPECT_EQ(read.data->Decrypt(4, "place", stored, plain).What(), Status::Kind::kDamaged);
  EXPECT_EQ(read.data->Decrypt(3, "place of another", stored, plain).What(), Status::Kind::kDamaged);
  EXPECT_EQ(read.meta->Decrypt(3, "place", stored, plain).What(), Status::Kind::kDamaged);
  ASSERT_TRUE(written.meta->Encrypt(3, "place", "plain", stored));
  EXPECT_TRUE(again.meta->Decrypt(3, "place", stored, plain));
  written.sealedKey.back() = static_cast<char>(written.sealedKey.back() ^ 1);
  EXPECT_EQ(reader.OpenPack(kPack, written.cipher, written.sealedKey, read).What(), Status::Kind::kDamaged);
}

TEST_F(KeysTest, AWrongFileIsToldAtOnce) {
  Keys keys;
  Keys others;
  EXPECT_FALSE(Read(key_, "", keys));
  EXPECT_FALSE(Read("", secret_, keys));
  EXPECT_FALSE(Read(directory_.Path() + "/missing", "", keys));
  EXPECT_FALSE(keys_.WriteFiles(secret_, directory_.Path() + "/new"));
  // Of another repository by name, and of one that took this one's id.
  EXPECT_NE(Keys::Read(keys_.HeaderPart(), kPack, secret_, "", keys).Message().find("belongs to repository"),
            std::string::npos);
  ASSERT_TRUE(Keys::Make(true, kRepository, others));
  EXPECT_FALSE(Keys::Read(others.HeaderPart(), kRepository, secret_, "", keys));
  EXPECT_FALSE(Keys::Read(others.HeaderPart(), kRepository, "", key_, keys));
  // A key that a person typed from paper may end without a line end, but in nothing else.
  const std::string typed = directory_.Path() + "/typed";
  const std::string text = support::ReadWholeFile(secret_);
  for (const std::string ending : {"\n", "", "\r\n", "x", "\nx"}) {
    support::WriteWholeFile(typed, text.substr(0, text.size() - 1) + ending);
    EXPECT_EQ(static_cast<bool>(Read(typed, "", keys)), ending.find('x') == std::string::npos) << ending;
  }
  // It may end behind its second line, as those of an earlier revision do, but nowhere else.
  const std::size_t second = text.find("\npublic key");
  for (std::size_t size = 0; size + 1 < text.size(); ++size) {
    support::WriteWholeFile(typed, text.substr(0, size));
    EXPECT_EQ(static_cast<bool>(Read(typed, "", keys)), size == second || size == second + 1) << size;
  }
  support::WriteWholeFile(typed, text.substr(0, second));
  EXPECT_FALSE(Keys::Read(others.HeaderPart(), kRepository, typed, "", keys));
  const std::string part = keys_.HeaderPart();
  for (const std::string& wrong : {part + "x", part.substr(1), "\x02" + part.substr(1), std::string()}) {
    EXPECT_EQ(Keys::Read(wrong, kRepository, "", "", keys).What(), Status::Kind::kDamaged);
  }
  ASSERT_TRUE(Read("", "", keys));
  EXPECT_NE(keys.CanSave().Message().find("secret_file"), std::string::npos);
}

TEST_F(KeysTest, BothSoftwareAndProcessorReadTheSameCipher) {
  // The number, the place and the key are fixed: the cipher's bytes are those of every machine.
  const std::string key(kCipherKeySize, 'k');
  std::string stored;
  std::string plain;
  for (const auto& cipher : {MakeBlockCipher(Cipher::kAes256Gcm, key), MakeSoftwareAes256Gcm(key)}) {
    ASSERT_TRUE(cipher->Encrypt(258, "place", "plain", stored));
    EXPECT_EQ(Hex(stored), "84f4b740acf6ee3c9d758c6c1599f3fcb28c960134");
    ASSERT_TRUE(cipher->Decrypt(258, "place", stored, plain));
    stored[2] ^= 1;
    EXPECT_FALSE(cipher->Decrypt(258, "place", stored, plain));
  }
  const auto other = MakeBlockCipher(Cipher::kXChaCha20Poly1305, key);
  ASSERT_TRUE(other->Encrypt(258, "place", "plain", stored));
  EXPECT_EQ(Hex(stored), "ec569afe8db3cd3b3a6f64e09fd001e4b22f530ebd");
}

TEST_F(KeysTest, SmallObjectsAreBoundToWhatTheyAre) {
  std::string stored;
  std::string plain;
  ASSERT_TRUE(keys_.EncryptObject(3, kSaveset, "content", stored));
  ASSERT_TRUE(keys_.DecryptObject(3, kSaveset, stored, plain));
  EXPECT_EQ(plain, "content");
  EXPECT_FALSE(keys_.DecryptObject(4, kSaveset, stored, plain));
  EXPECT_FALSE(keys_.DecryptObject(3, kPack, stored, plain));
  EXPECT_FALSE(keys_.DecryptObject(3, kSaveset, stored.substr(0, 10), plain));
  ASSERT_TRUE(keys_.EncryptObject(3, kSaveset, "", stored));
  EXPECT_TRUE(keys_.DecryptObject(3, kSaveset, stored, plain) && plain.empty());
}

}  // namespace
}  // namespace store
