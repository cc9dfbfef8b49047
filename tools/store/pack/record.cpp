#include "store/pack/record.h"

#include "store/base/bytes.h"
#include "store/base/checksum.h"
#include "store/pack/format.h"

namespace store {
namespace {

// The numbers are in the packs.
enum Tag : std::uint64_t {
  kNumber = 1,
  kName = 2,
  kKind = 3,
  kSize = 4,
  kModified = 5,
  kRights = 6,
  kFlags = 7,
  kLinkText = 8,
  kDirectoryNumber = 9,
  kEntries = 10,
  kMap = 11,
  kContent = 12,
  kStored = 13,
  kPacks = 14,
  kHash = 127,
};

// Bits of the flags.
constexpr std::uint64_t kSparse = 1;
constexpr std::uint64_t kMarker = 2;
constexpr std::uint64_t kChanged = 4;

// `kHash` as a varint, the size of the hash as one, the hash.
constexpr std::size_t kHashFieldSize = 2 + Uid::kSize;
constexpr std::uint32_t kNanoseconds = 1'000'000'000;
// No map is for a larger file.
constexpr std::uint64_t kMostBytes = 2 * kLargestFile;

Status Damaged() { return Status::Damaged("the record of an item is damaged"); }

Uid HashOf(const Uid& repository, const Uid& saveset, std::string_view fields) {
  Checksum hash;
  hash.Add(repository.Bytes());
  hash.Add(saveset.Bytes());
  hash.Add(fields);
  return hash.Value();
}

void PutField(Encoder& record, Tag tag, const Encoder& value) { record.Varint(tag).Text(value.Bytes()); }

// Empty fields are left out.
void PutNumber(Encoder& record, Tag tag, std::uint64_t number) {
  if (number != 0) {
    PutField(record, tag, Encoder().Varint(number));
  }
}

void PutText(Encoder& record, Tag tag, std::string_view text) {
  if (!text.empty()) {
    record.Varint(tag).Text(text);
  }
}

Encoder EncodeTime(const platform::FileTime& time) {
  return Encoder().I64(time.seconds).U32(time.nanoseconds);
}

void PutFacts(Encoder& record, const platform::FileFacts& facts) {
  PutNumber(record, kSize, facts.size);
  PutField(record, kModified, EncodeTime(facts.modified));
  PutField(record, kRights, Encoder().Varint(facts.mode).Varint(facts.owner).Varint(facts.group));
}

std::uint64_t FlagsOf(const Item& item) {
  std::uint64_t flags = 0;
  flags |= item.facts.sparse ? kSparse : 0;
  flags |= item.marker ? kMarker : 0;
  flags |= item.changed ? kChanged : 0;
  return flags;
}

void PutMap(Encoder& record, const Item& item) {
  if (item.map.size != 0) {
    PutField(
        record, kMap,
        Encoder().Id(item.map.pack).Varint(item.map.block).Varint(item.map.offset).Varint(item.map.size));
    PutField(record, kContent, Encoder().Id(item.content));
  }
}

bool TakeKind(std::uint8_t number, ItemKind& kind) {
  kind = static_cast<ItemKind>(number);
  return number <= static_cast<std::uint8_t>(ItemKind::kFirstLevel);
}

bool TakePacks(Decoder& value, std::vector<Uid>& packs) {
  packs.resize(value.Left() / Uid::kSize);
  for (Uid& pack : packs) {
    pack = value.Id();
  }
  return true;
}

bool TakeTime(Decoder& value, platform::FileTime& time) {
  time.seconds = value.I64();
  time.nanoseconds = value.U32();
  return time.nanoseconds < kNanoseconds;
}

bool TakeSmall(Decoder& value, std::uint32_t& number) {
  const std::uint64_t whole = value.Varint();
  number = static_cast<std::uint32_t>(whole);
  return number == whole;
}

bool TakeFlags(Decoder& value, Item& item) {
  const std::uint64_t flags = value.Varint();
  item.facts.sparse = (flags & kSparse) != 0;
  item.marker = (flags & kMarker) != 0;
  item.changed = (flags & kChanged) != 0;
  return true;
}

// A name has no zero byte: the system would take that for its end, and anything could be behind it.
bool TakePath(Decoder& value, std::string& text) {
  text = value.Raw(value.Left());
  return text.find('\0') == std::string::npos;
}

bool TakeMap(Decoder& value, MapPlace& map) {
  map.pack = value.Id();
  map.block = value.Varint();
  map.offset = value.Varint();
  map.size = value.Varint();
  return map.size != 0;
}

// False if the value does not fit the tag. `known` is false for a tag that is not known here.
bool TakeField(std::uint64_t tag, std::string_view bytes, Item& item, bool& known) {
  Decoder value(bytes);
  bool good = true;
  known = true;
  switch (tag) {
    case kNumber:
      item.number = value.Varint();
      break;
    case kName:
      good = TakePath(value, item.name);
      break;
    case kKind:
      good = TakeKind(value.U8(), item.kind);
      break;
    case kSize:
      item.facts.size = value.Varint();
      good = item.facts.size <= kMostBytes;
      break;
    case kModified:
      good = TakeTime(value, item.facts.modified);
      break;
    case kRights:
      good = TakeSmall(value, item.facts.mode) && TakeSmall(value, item.facts.owner) &&
             TakeSmall(value, item.facts.group);
      break;
    case kFlags:
      good = TakeFlags(value, item);
      break;
    case kLinkText:
      good = TakePath(value, item.link);
      break;
    case kDirectoryNumber:
      item.directory = value.Varint();
      break;
    case kEntries:
      item.entries = value.Varint();
      break;
    case kMap:
      good = TakeMap(value, item.map);
      break;
    case kContent:
      item.content = value.Id();
      break;
    case kStored:
      item.stored = value.I64();
      break;
    case kPacks:
      good = TakePacks(value, item.packs);
      break;
    default:
      known = false;
      return true;
  }
  return good && value.Done();
}

}  // namespace

std::string EncodeRecord(const Item& item, const Uid& repository, const Uid& saveset) {
  Encoder record;
  PutNumber(record, kNumber, item.number);
  PutText(record, kName, item.name);
  PutField(record, kKind, Encoder().U8(static_cast<std::uint8_t>(item.kind)));
  PutFacts(record, item.facts);
  PutNumber(record, kFlags, FlagsOf(item));
  PutText(record, kLinkText, item.link);
  PutNumber(record, kDirectoryNumber, item.directory);
  PutNumber(record, kEntries, item.entries);
  PutMap(record, item);
  PutField(record, kStored, Encoder().I64(item.stored));
  if (!item.packs.empty()) {
    Encoder packs;
    for (const Uid& pack : item.packs) {
      packs.Id(pack);
    }
    PutField(record, kPacks, packs);
  }
  record.Raw(item.unknown);
  const Uid hash = HashOf(repository, saveset, record.Bytes());
  PutField(record, kHash, Encoder().Id(hash));
  return record.Take();
}

Status DecodeRecord(std::string_view bytes, const Uid& repository, const Uid& saveset, Item& item) {
  item = {};
  if (bytes.size() < kHashFieldSize) {
    return Damaged();
  }
  const std::string_view fields = bytes.substr(0, bytes.size() - kHashFieldSize);
  const std::string hash = Encoder().Varint(kHash).Text(HashOf(repository, saveset, fields).Bytes()).Take();
  if (bytes.substr(fields.size()) != hash) {
    return Damaged();
  }
  Decoder decoder(fields);
  while (decoder.Left() > 0 && !decoder.Failed()) {
    const std::size_t begin = fields.size() - decoder.Left();
    const std::uint64_t tag = decoder.Varint();
    const std::string_view value = decoder.Text();
    bool known = true;
    if (decoder.Failed() || !TakeField(tag, value, item, known)) {
      return Damaged();
    }
    if (!known) {
      item.unknown += fields.substr(begin, fields.size() - decoder.Left() - begin);
    }
  }
  return decoder.Done() ? Status() : Damaged();
}

}  // namespace store
