#include "store/place/place.h"

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

std::string PackObject(const Uid& pack) {
  const std::string id = pack.Hex();
  return kPackPrefix + id.substr(0, 2) + "/" + id;
}

std::string SavesetObject(const Uid& saveset, std::string_view which) {
  return kSavesetPrefix + saveset.Hex() + "." + std::string(which);
}

std::string RunObject(const Uid& run) { return kRunPrefix + run.Hex(); }

}  // namespace store
