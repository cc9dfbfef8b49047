#include "korvo/item_rows.h"

#include "korvo/text.h"

namespace korvo {
namespace {

std::string KindName(const store::Item& item) {
  switch (item.kind) {
    case store::ItemKind::kDirectory:
      return "directory";
    case store::ItemKind::kLink:
      return "link";
    case store::ItemKind::kFirstLevel:
      return "first_level";
    case store::ItemKind::kFile:
      break;
  }
  return "file";
}

}  // namespace

std::string ItemSize(const store::Item& item) {
  switch (item.kind) {
    case store::ItemKind::kDirectory:
    case store::ItemKind::kFirstLevel:
      return "directory";
    case store::ItemKind::kLink:
      return "link";
    case store::ItemKind::kFile:
      break;
  }
  return SizeText(item.facts.size);
}

std::string ItemTime(const store::Item& item) {
  return item.kind == store::ItemKind::kFirstLevel ? "" : TimeText(item.facts.modified.seconds);
}

std::string ItemName(const store::Item& item) {
  return item.name + (item.kind == store::ItemKind::kLink ? " -> " + item.link : "");
}

Json JsonItem(const store::Item& item) {
  Json json = {
      {"name", JsonText(item.name)},
      {"kind", KindName(item)},
      {"size", item.facts.size},
      {"modified",
       item.kind == store::ItemKind::kFirstLevel ? Json(nullptr) : JsonTime(item.facts.modified.seconds)}};
  if (item.kind == store::ItemKind::kLink) {
    json["target"] = JsonText(item.link);
  }
  return json;
}

}  // namespace korvo
