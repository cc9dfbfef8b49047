// What a command tells, for programs: one JSON document on standard output. Keys are stable and in snake
// case, times are RFC 3339 text in UTC, sizes are bytes.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "store/catalog/catalog.h"

namespace korvo {

using Json = nlohmann::ordered_json;

// Text as JSON takes it: in UTF-8, with U+FFFD for bytes that are no part of any character.
[[nodiscard]] Json JsonText(std::string_view text);
[[nodiscard]] Json JsonTime(std::int64_t seconds);
[[nodiscard]] Json JsonTime(const std::optional<std::int64_t>& seconds);
// What is known of a saveset: name, database, pool, created, ended, state, protected, marked, items, bytes.
[[nodiscard]] Json JsonSaveset(const store::Saveset& saveset);

// The whole document.
void PrintJson(const Json& document);

// A document whose last member is a list that may be too long for the memory: each element is printed as it
// comes.
class JsonList {
 public:
  // `head` has the members in front of the list.
  JsonList(const Json& head, const std::string& key);
  void Add(const Json& element);
  void End();

 private:
  bool first_ = true;
};

}  // namespace korvo
