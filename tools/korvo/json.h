// What a command tells programs: one JSON document on standard output. Keys are stable and in snake case.
// Times are RFC 3339 text in UTC, sizes are bytes. Only json.cpp includes the library that writes JSON
// (nlohmann-json): every file that includes it takes five times as long to compile.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "store/catalog/catalog.h"

namespace korvo {

class Json;

// A template, because a Json contains such members: it is instantiated only once Json is complete.
template <class T>
struct Named {
  std::string name;
  T value;
};
using JsonMember = Named<Json>;

// A value of a document: text, a number, true or false, null, a list, or an object, whose members keep their
// order.
class Json {
 public:
  using Elements = std::vector<Json>;
  using Members = std::vector<JsonMember>;
  using Value =
      std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, Elements, Members>;

  Json(std::nullptr_t) {}                                                      // NOLINT: converts on purpose
  Json(bool truth) : value_(truth) {}                                          // NOLINT
  Json(std::signed_integral auto number) : value_(std::int64_t{number}) {}     // NOLINT
  Json(std::unsigned_integral auto number) : value_(std::uint64_t{number}) {}  // NOLINT
  Json(double number) : value_(number) {}                                      // NOLINT
  Json(const char* text) : value_(text) {}                                     // NOLINT
  Json(std::string text) : value_(std::move(text)) {}                          // NOLINT
  // An object: {{"name", "a"}, {"size", 1}}.
  Json(std::initializer_list<JsonMember> members);
  static Json Array();

  // Only for an object. The member with this name; it is added, as null, if there is none.
  Json& operator[](const std::string& name);
  // Only for objects. Adds all members of `object`, or replaces those of the same names.
  void Update(const Json& object);

  // Only for a list. `Last` needs at least one element.
  void Add(Json element);
  [[nodiscard]] bool IsEmpty() const;
  [[nodiscard]] Json& Last();

  [[nodiscard]] const Value& Get() const { return value_; }

 private:
  Value value_;
};

// Text in UTF-8, as JSON needs it. Each byte that is not part of a character becomes U+FFFD.
[[nodiscard]] Json JsonText(std::string_view text);
// Seconds since 1970 as text; null without a value.
[[nodiscard]] Json JsonTime(std::int64_t seconds);
[[nodiscard]] Json JsonTime(const std::optional<std::int64_t>& seconds);
// What is known of a saveset: name, database, pool, created, ended, state, reason, protected, marked,
// backup_failed, items, bytes.
[[nodiscard]] Json JsonSaveset(const store::Saveset& saveset);

// The document on one line, or indented by `indent` blanks per level.
[[nodiscard]] std::string JsonAsText(const Json& json, std::optional<int> indent = {});

// Prints the whole document, indented.
void PrintJson(const Json& document);

// A document whose last member is a list. The list may be too long for the memory, so each element is printed
// at once.
class JsonList {
 public:
  // `head` is an object with the members in front of the list, at least one. `key` is the name of the list.
  JsonList(const Json& head, const std::string& key);
  void Add(const Json& element);
  // Completes the document.
  void End();

 private:
  bool first_ = true;
};

}  // namespace korvo
