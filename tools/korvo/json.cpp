#include "korvo/json.h"

#include "korvo/output.h"
#include "korvo/text.h"
#include "platform/terminal.h"

namespace korvo {
namespace {

constexpr int kIndent = 2;

std::string Dump(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

Json JsonText(std::string_view text) { return platform::ToUtf8(text); }

Json JsonTime(std::int64_t seconds) { return UtcText(seconds); }

Json JsonTime(const std::optional<std::int64_t>& seconds) {
  return seconds ? JsonTime(*seconds) : Json(nullptr);
}

Json JsonSaveset(const store::Saveset& saveset) {
  return {{"name", JsonText(saveset.name)},
          {"database", JsonText(saveset.database)},
          {"pool", JsonText(saveset.pool)},
          {"created", JsonTime(saveset.created)},
          {"ended", JsonTime(saveset.ended)},
          {"state", StateName(saveset)},
          {"reason", saveset.reason.empty() ? Json(nullptr) : JsonText(saveset.reason)},
          {"protected", saveset.isProtected},
          {"marked", saveset.marked},
          {"items", saveset.items},
          {"bytes", saveset.bytes}};
}

void PrintJson(const Json& document) { PrintBytes(Dump(document, kIndent) + "\n"); }

JsonList::JsonList(const Json& head, const std::string& key) {
  // Its end, a line of one brace, comes behind the list.
  std::string text = Dump(head, kIndent);
  text.erase(head.empty() ? 1 : text.size() - 2);
  PrintBytes(text + (head.empty() ? "\n" : ",\n") + "  " + Dump(key, -1) + ": [");
}

void JsonList::Add(const Json& element) {
  PrintBytes((first_ ? "\n    " : ",\n    ") + Dump(element, -1));
  first_ = false;
}

void JsonList::End() { PrintBytes(first_ ? "]\n}\n" : "\n  ]\n}\n"); }

}  // namespace korvo
