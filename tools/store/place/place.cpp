#include "store/place/place.h"

#include "platform/platform.h"

namespace store {

Status Place::Put(const std::string& name, std::string_view bytes) {
  std::unique_ptr<NewObject> object;
  if (Status created = Create(name, object); !created) {
    return created;
  }
  if (Status appended = object->Append(bytes); !appended) {
    return appended;
  }
  return object->Finish();
}

Status Place::GetSmall(const std::string& name, std::uint64_t most, std::optional<std::uint64_t>& size,
                       std::string& bytes) {
  constexpr int kMostTries = 20;
  constexpr std::uint32_t kPauseMilliseconds = 50;
  for (int tries = 1;; ++tries) {
    bytes.clear();
    if (Status found = Size(name, size); !found || size.value_or(0) > most) {
      return found;
    }
    Status got;
    if (size) {
      got = Get(name, 0, static_cast<std::size_t>(*size), bytes);
    }
    bool lost = got.What() == Status::Kind::kMissing;
    if (!size) {
      if (Status looked = IsListed(name, lost); !looked) {
        return looked;
      }
    }
    if (!lost || tries == kMostTries) {
      return got;
    }
    platform::SleepMilliseconds(kPauseMilliseconds);
  }
}

Status Place::IsListed(const std::string& name, bool& listed) {
  listed = false;
  return List(name, [&](const std::string& found, std::uint64_t) {
    listed = listed || found == name;
    return Status();
  });
}

std::string PackObject(const Uid& pack) {
  const std::string id = pack.Hex();
  return kPackPrefix + id.substr(0, 2) + "/" + id;
}

bool UidOfPack(std::string_view name, Uid& uid) {
  return Uid::FromHex(name.substr(name.rfind('/') + 1), uid);
}

std::string SavesetObject(const Uid& saveset, std::string_view which) {
  return kSavesetPrefix + saveset.Hex() + "." + std::string(which);
}

bool UidOfSaveset(std::string_view name, Uid& uid) {
  const std::string_view prefix = kSavesetPrefix;
  if (!name.starts_with(prefix)) {
    return false;
  }
  name.remove_prefix(prefix.size());
  return Uid::FromHex(name.substr(0, name.find('.')), uid);
}

std::string RunObject(const Uid& run) { return kRunPrefix + run.Hex(); }

}  // namespace store
