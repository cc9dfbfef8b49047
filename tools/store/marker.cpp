#include "store/marker.h"

#include "backint/base/marker_name.h"
#include "platform/data_file.h"
#include "store/digest.h"
#include "store/names.h"

namespace store {

bool IsMarker(const Item& item) {
  const std::string content = kMarkerName;
  const std::string end = platform::FoldName("/" + content);
  if (item.kind != ItemKind::kFile || item.facts.size != content.size() ||
      !ItemKey(item.name).ends_with(end)) {
    return false;
  }
  Digest digest;
  digest.Add(content);
  return digest.Value() == item.hash;
}

}  // namespace store
