// What a command tells, for programs: one JSON document on standard output. Keys are stable and in snake
// case, times are RFC 3339 text in UTC, sizes are bytes. The library that writes it (nlohmann-json) is known
// to json.cpp alone: every file that uses it takes five times as long to compile.
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

// A template, so that it is made when a value is known whole, which one of it is a part of.
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

  // A member of an object, which is added if there is none; all members of another object.
  Json& operator[](const std::string& name);
  void Update(const Json& object);

  // The elements of a list.
  void Add(Json element);
  [[nodiscard]] bool IsEmpty() const;
  [[nodiscard]] Json& Last();

  [[nodiscard]] const Value& Get() const { return value_; }

 private:
  Value value_;
};

// Text as JSON takes it: in UTF-8, with U+FFFD for bytes that are no part of any character.
[[nodiscard]] Json JsonText(std::string_view text);
[[nodiscard]] Json JsonTime(std::int64_t seconds);
[[nodiscard]] Json JsonTime(const std::optional<std::int64_t>& seconds);
// What is known of a saveset: name, database, pool, created, ended, state, protected, marked, backup_failed,
// items, bytes.
[[nodiscard]] Json JsonSaveset(const store::Saveset& saveset);

// On one line, or indented by so many blanks a level.
[[nodiscard]] std::string JsonAsText(const Json& json, std::optional<int> indent = {});

// The whole document.
void PrintJson(const Json& document);

// A document whose last member is a list that may be too long for the memory: each element is printed as it
// comes.
class JsonList {
 public:
  // `head` is an object with the members in front of the list, at least one.
  JsonList(const Json& head, const std::string& key);
  void Add(const Json& element);
  void End();

 private:
  bool first_ = true;
};

}  // namespace korvo
