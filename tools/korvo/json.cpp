#include "korvo/json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "korvo/output.h"
#include "korvo/text.h"
#include "platform/terminal.h"

namespace korvo {
namespace {

constexpr int kIndent = 2;

using Written = nlohmann::ordered_json;

struct Writer {
  Written operator()(const auto& plain) const { return plain; }
  Written operator()(const Json::Elements& elements) const {
    Written list = Written::array();
    for (const Json& element : elements) {
      list.push_back(std::visit(*this, element.Get()));
    }
    return list;
  }
  Written operator()(const Json::Members& members) const {
    Written object = Written::object();
    for (const JsonMember& member : members) {
      object[member.name] = std::visit(*this, member.value.Get());
    }
    return object;
  }
};

}  // namespace

Json::Json(std::initializer_list<JsonMember> members) : value_(Members(members)) {}

Json Json::Array() {
  Json list(nullptr);
  list.value_ = Elements();
  return list;
}

Json& Json::operator[](const std::string& name) {
  Members& members = std::get<Members>(value_);
  auto found = std::find_if(members.begin(), members.end(),
                            [&name](const JsonMember& member) { return member.name == name; });
  if (found == members.end()) {
    found = members.insert(found, {name, nullptr});
  }
  return found->value;
}

void Json::Update(const Json& object) {
  for (const JsonMember& member : std::get<Members>(object.value_)) {
    (*this)[member.name] = member.value;
  }
}

void Json::Add(Json element) { std::get<Elements>(value_).push_back(std::move(element)); }

bool Json::IsEmpty() const { return std::get<Elements>(value_).empty(); }

Json& Json::Last() { return std::get<Elements>(value_).back(); }

std::string JsonAsText(const Json& json, std::optional<int> indent) {
  return std::visit(Writer(), json.Get())
      .dump(indent.value_or(-1), ' ', false, Written::error_handler_t::replace);
}

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
          {"backup_failed", saveset.sessionFailed},
          {"items", saveset.items},
          {"bytes", saveset.bytes}};
}

void PrintJson(const Json& document) { PrintBytes(JsonAsText(document, kIndent) + "\n"); }

JsonList::JsonList(const Json& head, const std::string& key) {
  // The last line of the head, a brace, comes after the list.
  std::string text = JsonAsText(head, kIndent);
  text.erase(text.size() - 2);
  PrintBytes(text + ",\n  " + JsonAsText(key) + ": [");
}

void JsonList::Add(const Json& element) {
  PrintBytes((first_ ? "\n    " : ",\n    ") + JsonAsText(element));
  first_ = false;
}

void JsonList::End() { PrintBytes(first_ ? "]\n}\n" : "\n  ]\n}\n"); }

}  // namespace korvo
