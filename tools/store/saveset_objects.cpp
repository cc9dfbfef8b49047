#include "store/saveset_objects.h"

#include <algorithm>
#include <array>
#include <map>

#include "platform/data_file.h"
#include "store/base/bytes.h"
#include "store/base/time.h"
#include "store/pack/format.h"

namespace store {
namespace {

constexpr const char* kBegin = "begin";
constexpr const char* kEnd = "end";
constexpr const char* kClosed = "closed";
constexpr const char* kProtected = "protected";
constexpr const char* kFailed = "failed";
constexpr std::uint64_t kLargestObject = 1024 * 1024;

// Tags of the contents' fields. The time has the same tag in all of them.
constexpr std::uint64_t kTime = 4;
enum RepositoryTag : std::uint64_t { kKeys = 1, kAbilities = 2 };
enum BeginTag : std::uint64_t { kName = 1, kDatabase = 2, kPool = 3, kNumber = 5, kHost = 6, kTogether = 7 };
enum EndTag : std::uint64_t { kOutcome = 1, kItems = 2 };

using Fields = std::map<std::uint64_t, std::string>;

std::string EncodeFields(const Fields& fields) {
  Encoder encoder;
  for (const auto& [tag, value] : fields) {
    encoder.Varint(tag).Text(value);
  }
  return encoder.Take();
}

// Fields of newer releases are read too, but nobody asks for them.
bool DecodeFields(std::string_view bytes, Fields& fields) {
  Decoder decoder(bytes);
  while (decoder.Left() > 0 && !decoder.Failed()) {
    const std::uint64_t tag = decoder.Varint();
    fields[tag] = decoder.Text();
  }
  return decoder.Done();
}

std::string EncodeTime(std::int64_t time) { return Encoder().I64(time).Take(); }

bool HasGoodTime(const Fields& fields) {
  const auto time = fields.find(kTime);
  return time == fields.end() || IsTime(Decoder(time->second).I64());
}

// ---- One object of a saveset --------------------------------------------------------------------

Status Put(const ObjectShelf& shelf, const Uid& saveset, ObjectKind kind, const char* which,
           const Fields& fields) {
  std::string content;
  if (Status encrypted =
          shelf.keys.EncryptObject(static_cast<std::uint16_t>(kind), saveset, EncodeFields(fields), content);
      !encrypted) {
    return encrypted;
  }
  ObjectHeader header;
  header.kind = kind;
  header.repository = shelf.repository;
  header.object = saveset;
  header.cipher = shelf.keys.ObjectCipher();
  return shelf.place.Put(SavesetObject(saveset, which), EncodeObject(header, content));
}

Status Decode(const ObjectShelf& shelf, const Uid& saveset, ObjectKind kind, std::string_view bytes,
              Fields& fields) {
  ObjectHeader expected;
  expected.kind = kind;
  expected.repository = shelf.repository;
  expected.object = saveset;
  std::string content;
  if (Status decoded = DecodeObject(bytes, expected, content); !decoded) {
    return decoded;
  }
  std::string plain;
  if (Status decrypted = shelf.keys.DecryptObject(static_cast<std::uint16_t>(kind), saveset, content, plain);
      !decrypted) {
    return decrypted;
  }
  if (DecodeFields(plain, fields) && HasGoodTime(fields)) {
    return {};
  }
  fields.clear();
  return Status::Damaged("its content is damaged");
}

// If there is no such object, there are no fields, and the status is good.
Status Get(const ObjectShelf& shelf, const Uid& saveset, ObjectKind kind, const char* which, Fields& fields) {
  const std::string name = SavesetObject(saveset, which);
  std::optional<std::uint64_t> size;
  if (Status found = shelf.place.Size(name, size); !found || !size) {
    return found;
  }
  if (*size > kLargestObject) {
    return Status::Damaged("object " + name + " is larger than such an object can be");
  }
  std::string bytes;
  if (Status got = shelf.place.Get(name, 0, static_cast<std::size_t>(*size), bytes); !got) {
    return got;
  }
  return Decode(shelf, saveset, kind, bytes, fields).Within("object " + name);
}

std::uint8_t SmallNumber(const Fields& fields, std::uint64_t tag) {
  const auto field = fields.find(tag);
  return field == fields.end() ? std::uint8_t{0} : Decoder(field->second).U8();
}

std::int64_t ItemsOf(const Fields& end) {
  const auto items = end.find(kItems);
  return items == end.end() ? 0 : static_cast<std::int64_t>(Decoder(items->second).Varint() & INT64_MAX);
}

void TakeBegin(Fields& fields, Saveset& saveset) {
  saveset.name = fields[kName];
  saveset.database = fields[kDatabase];
  saveset.pool = fields[kPool];
  saveset.created = Decoder(fields[kTime]).I64();
  saveset.id = static_cast<std::int64_t>(Decoder(fields[kNumber]).Varint());
  Uid together;
  if (Uid::FromBytes(fields[kTogether], together)) {
    saveset.together = together;
  }
}

}  // namespace

// ---- The repository -----------------------------------------------------------------------------

std::string EncodeRepository(const Uid& repository, const Keys& keys, const std::string& abilities) {
  ObjectHeader header;
  header.kind = ObjectKind::kRepository;
  header.repository = repository;
  header.object = repository;
  Fields fields = {{kKeys, keys.HeaderPart()}};
  if (!abilities.empty()) {
    fields[kAbilities] = abilities;
  }
  return EncodeObject(header, EncodeFields(fields));
}

namespace {

Status DecodeRepositoryFields(std::string_view bytes, Uid& repository, Fields& fields) {
  // The id is not known before: it is taken from the header, and the rest of the header is checked.
  constexpr std::size_t kIdOffset = 24;
  ObjectHeader expected;
  expected.kind = ObjectKind::kRepository;
  if (bytes.size() >= kIdOffset + Uid::kSize) {
    (void)Uid::FromBytes(bytes.substr(kIdOffset, Uid::kSize), expected.repository);
  }
  expected.object = expected.repository;
  std::string content;
  if (Status decoded = DecodeObject(bytes, expected, content); !decoded) {
    return decoded;
  }
  repository = expected.repository;
  return DecodeFields(content, fields) ? Status() : Status::Damaged("its content is damaged");
}

}  // namespace

Status DecodeRepository(std::string_view bytes, Uid& repository, std::string& keysPart) {
  Fields fields;
  Status decoded = DecodeRepositoryFields(bytes, repository, fields);
  keysPart = fields[kKeys];
  return decoded;
}

std::string DecodeAbilities(std::string_view bytes) {
  Uid repository;
  Fields fields;
  return DecodeRepositoryFields(bytes, repository, fields) ? fields[kAbilities] : "";
}

// ---- Savesets -----------------------------------------------------------------------------------

Status PutSavesetBegin(const ObjectShelf& shelf, const Saveset& saveset) {
  return Put(shelf, saveset.uid, ObjectKind::kSavesetBegin, kBegin,
             {{kName, saveset.name},
              {kDatabase, saveset.database},
              {kPool, saveset.pool},
              {kTime, EncodeTime(saveset.created)},
              {kNumber, Encoder().Varint(static_cast<std::uint64_t>(saveset.id)).Take()},
              {kHost, platform::HostName()},
              {kTogether, std::string(saveset.together.Bytes())}});
}

Status PutSavesetEnd(const ObjectShelf& shelf, const Uid& saveset, Mover mover, std::int64_t items,
                     std::int64_t time) {
  return Put(shelf, saveset, ObjectKind::kSavesetEnd, kEnd,
             {{kOutcome, Encoder().U8(static_cast<std::uint8_t>(mover)).Take()},
              {kItems, Encoder().Varint(static_cast<std::uint64_t>(items)).Take()},
              {kTime, EncodeTime(time)}});
}

Status PutSavesetClosed(const ObjectShelf& shelf, const Uid& saveset, State state, std::int64_t time) {
  return Put(shelf, saveset, ObjectKind::kSavesetClosed, kClosed,
             {{kOutcome, Encoder().U8(static_cast<std::uint8_t>(state)).Take()}, {kTime, EncodeTime(time)}});
}

Status PutBackupFailed(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time) {
  return Put(shelf, saveset, ObjectKind::kBackupFailed, kFailed, {{kTime, EncodeTime(time)}});
}

Status PutSavesetProtected(const ObjectShelf& shelf, const Uid& saveset, std::int64_t time) {
  return Put(shelf, saveset, ObjectKind::kSavesetProtected, kProtected, {{kTime, EncodeTime(time)}});
}

Status DeleteSavesetProtected(Place& place, const Uid& saveset) {
  return place.Delete(SavesetObject(saveset, kProtected));
}

Status ReadSavesetEnd(const ObjectShelf& shelf, const Uid& saveset, std::optional<std::int64_t>& items) {
  Fields end;
  Status read = Get(shelf, saveset, ObjectKind::kSavesetEnd, kEnd, end);
  items = end.empty() ? std::nullopt : std::optional(ItemsOf(end));
  return read;
}

Status WriteMissingObjects(const ObjectShelf& shelf, const Saveset& saveset, std::optional<State> closed,
                           int& written) {
  const std::int64_t time = saveset.ended.value_or(saveset.created);
  const auto mend = [&](ObjectKind kind, const char* which, bool belongs, const auto& put) {
    Fields fields;
    Status done = belongs ? Get(shelf, saveset.uid, kind, which, fields) : Status();
    if (belongs && (done ? fields.empty() : IsDamage(done))) {
      done = put();
      written += done ? 1 : 0;
    }
    return done;
  };
  written = 0;
  Status done =
      mend(ObjectKind::kSavesetBegin, kBegin, true, [&] { return PutSavesetBegin(shelf, saveset); });
  if (done) {
    done = mend(ObjectKind::kSavesetEnd, kEnd, saveset.ended.has_value(),
                [&] { return PutSavesetEnd(shelf, saveset.uid, saveset.mover, saveset.items, time); });
  }
  if (done) {
    done = mend(ObjectKind::kSavesetClosed, kClosed, closed.has_value(),
                [&] { return PutSavesetClosed(shelf, saveset.uid, *closed, time); });
  }
  if (done) {
    done = mend(ObjectKind::kSavesetProtected, kProtected, saveset.isProtected,
                [&] { return PutSavesetProtected(shelf, saveset.uid, time); });
  }
  return done ? mend(ObjectKind::kBackupFailed, kFailed, saveset.sessionFailed,
                     [&] { return PutBackupFailed(shelf, saveset.uid, time); })
              : done;
}

Status DeleteSavesetObjects(Place& place, const Uid& saveset) {
  for (const char* which : {kProtected, kFailed, kEnd, kClosed, kBegin}) {
    if (Status gone = place.Delete(SavesetObject(saveset, which)); !gone) {
      return gone;
    }
  }
  return {};
}

Status ReadSavesetObjects(const ObjectShelf& shelf, const Uid& uid, SavesetObjects& objects) {
  objects = SavesetObjects();
  Fields begin;
  Fields end;
  Fields closed;
  Fields kept;
  Fields failed;
  const std::array<Status, 5> read = {Get(shelf, uid, ObjectKind::kSavesetBegin, kBegin, begin),
                                      Get(shelf, uid, ObjectKind::kSavesetEnd, kEnd, end),
                                      Get(shelf, uid, ObjectKind::kSavesetClosed, kClosed, closed),
                                      Get(shelf, uid, ObjectKind::kSavesetProtected, kProtected, kept),
                                      Get(shelf, uid, ObjectKind::kBackupFailed, kFailed, failed)};
  Saveset& saveset = objects.saveset;
  saveset.uid = uid;
  saveset.together = uid;
  objects.begun = !begin.empty();
  if (objects.begun) {
    TakeBegin(begin, saveset);
  }
  const bool endedWell = SmallNumber(end, kOutcome) == static_cast<std::uint8_t>(Mover::kEndedClean);
  saveset.mover = endedWell ? Mover::kEndedClean : Mover::kEndedFailed;
  if (!end.empty()) {
    saveset.ended = Decoder(end[kTime]).I64();
    saveset.items = ItemsOf(end);
  }
  saveset.failed = SmallNumber(closed, kOutcome) == static_cast<std::uint8_t>(State::kFailed);
  saveset.warnings = SmallNumber(closed, kOutcome) == static_cast<std::uint8_t>(State::kWarnings);
  saveset.isProtected = !kept.empty() || IsDamage(read[3]);
  saveset.sessionFailed = !failed.empty() || IsDamage(read[4]);
  // An object that could not be looked at may be there; the damage of another one must not hide that.
  auto bad = std::find_if(read.begin(), read.end(), [](const Status& one) { return !one && !IsDamage(one); });
  if (bad == read.end()) {
    bad = std::find_if(read.begin(), read.end(), [](const Status& one) { return !one; });
  }
  return bad == read.end() ? Status() : *bad;
}

}  // namespace store
