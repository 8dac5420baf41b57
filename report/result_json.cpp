// The writer and the reader visit the same members (result_members.h), so that neither knows one that the
// other does not.
#include "report/result_json.h"

#include <fmt/format.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "report/result_members.h"

namespace primfit::report {

namespace {

using Json = nlohmann::ordered_json;

// Writing. The functions call one another, so all of them are named before the first.

Json ToJson(const OptionValue& value);
template <class T>
Json ToJson(const std::vector<T>& list);
template <class T>
Json ToJson(const Named<T>& values);
template <class T>
Json ToJson(const T& value);

class Writer {
 public:
  template <class T>
  void Member(const char* key, const T& value) {
    json_[key] = ToJson(value);
  }
  /// Numbers of which one stands alone.
  void Member(const char* key, const std::vector<double>& numbers, std::size_t size) {
    json_[key] = size == 1 ? Json(numbers[0]) : Json(numbers);
  }
  template <class T>
  void Optional(const char* key, const std::optional<T>& value) {
    if (value) Member(key, *value);
  }
  /// A list that is empty in this version.
  void Nothing(const char* key) { json_[key] = Json::array(); }

  Json& Object() { return json_; }

 private:
  Json json_ = Json::object();
};

Json ToJson(const OptionValue& value) {
  return std::visit([](const auto& held) { return Json(held); }, value);
}
template <class T>
Json ToJson(const std::vector<T>& list) {
  Json json = Json::array();
  for (const T& value : list) json.push_back(ToJson(value));
  return json;
}
template <class T>
Json ToJson(const Named<T>& values) {
  Json json = Json::object();
  for (const auto& [name, value] : values) json[name] = ToJson(value);
  return json;
}
template <class T>
Json ToJson(const T& value) {
  if constexpr (std::is_enum_v<T>) {
    return Words<T>::kAll.at(static_cast<std::size_t>(value));
  } else if constexpr (std::is_constructible_v<Json, T>) {
    return value;
  } else {
    Writer writer;
    T members = value;  // the reader visits what it fills, the writer a copy
    Members(writer, members);
    return std::move(writer.Object());
  }
}

/// @param indent  blanks a level; -1 for one line
std::string Dump(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// Reading.

/// A name as a step of a JSON pointer.
std::string Step(std::string_view name) {
  std::string step = "/";
  for (const char c : name) {
    if (c == '~' || c == '/')
      step += c == '~' ? "~0" : "~1";
    else
      step += static_cast<unsigned char>(c) < ' ' ? '?' : c;
  }
  return step;
}

[[noreturn]] void Fail(const std::string& place, const std::string& reason) {
  throw ResultError(fmt::format("{}: {}", place.empty() ? "the whole" : place, reason));
}

[[noreturn]] void FailAsNo(const std::string& expected, const Json& json, const std::string& place) {
  const std::string found = json.is_primitive() ? Dump(json, -1) : json.type_name();
  Fail(place, fmt::format("{} was expected, and not {}", expected, found));
}

/// A value of the document with its place in it.
struct Value {
  const Json& json;
  std::string place;

  void Require(bool valid, const char* expected) const {
    if (!valid) FailAsNo(expected, json, place);
  }
  Value At(std::size_t i) const { return {json[i], place + Step(std::to_string(i))}; }
};

void FromJson(const Value& from, bool& value);
void FromJson(const Value& from, double& value);
void FromJson(const Value& from, std::uint64_t& value);
void FromJson(const Value& from, int& value);
void FromJson(const Value& from, std::string& value);
void FromJson(const Value& from, Vector& value);
void FromJson(const Value& from, OptionValue& value);
template <class T>
void FromJson(const Value& from, std::vector<T>& list);
template <class T>
void FromJson(const Value& from, Named<T>& values);
template <class T>
void FromJson(const Value& from, T& value);

class Reader {
 public:
  explicit Reader(const Value& from) : from_(from) { from.Require(from.json.is_object(), "an object"); }

  template <class T>
  void Member(const char* key, T& value) {
    FromJson(Find(key), value);
  }
  void Member(const char* key, std::vector<double>& numbers, std::size_t size) {
    if (size == 1) {
      FromJson(Find(key), numbers.emplace_back());
    } else {
      Vector vector{};
      FromJson(Find(key), vector);
      numbers.assign(vector.begin(), vector.end());
    }
  }
  template <class T>
  void Optional(const char* key, std::optional<T>& value) {
    if (from_.json.contains(key)) FromJson(Find(key), value.emplace());
  }
  void Nothing(const char* key) { Find(key).Require(Find(key).json.is_array(), "a list"); }

 private:
  Value Find(const char* key) const {
    const auto member = from_.json.find(key);
    if (member == from_.json.end()) Fail(from_.place + Step(key), "is missing");
    return {*member, from_.place + Step(key)};
  }

  const Value& from_;
};

void FromJson(const Value& from, bool& value) {
  from.Require(from.json.is_boolean(), "true or false");
  value = from.json.get<bool>();
}
void FromJson(const Value& from, double& value) {
  from.Require(from.json.is_number() || from.json.is_null(), "a number or null");
  value = from.json.is_null() ? std::numeric_limits<double>::quiet_NaN() : from.json.get<double>();
}
void FromJson(const Value& from, std::uint64_t& value) {
  from.Require(from.json.is_number_unsigned(), "a whole number from 0");
  value = from.json.get<std::uint64_t>();
}
void FromJson(const Value& from, int& value) {
  from.Require(from.json.is_number_unsigned() &&
                   from.json.get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<int>::max()},
               "a whole number from 0");
  value = from.json.get<int>();
}
void FromJson(const Value& from, std::string& value) {
  from.Require(from.json.is_string(), "a text");
  value = from.json.get<std::string>();
}
void FromJson(const Value& from, Vector& value) {
  from.Require(from.json.is_array() && from.json.size() == value.size(), "a list of 3 numbers");
  for (std::size_t i = 0; i < value.size(); ++i) FromJson(from.At(i), value[i]);
}
void FromJson(const Value& from, OptionValue& value) {
  const Json& json = from.json;
  if (json.is_boolean()) {
    value = json.get<bool>();
  } else if (json.is_number_integer()) {
    value = json.get<std::int64_t>();
  } else if (json.is_number() || json.is_null()) {
    FromJson(from, value.emplace<double>());
  } else if (json.is_string()) {
    value = json.get<std::string>();
  } else if (json.is_array() && !json.empty() && json[0].is_string()) {
    FromJson(from, value.emplace<std::vector<std::string>>());
  } else {
    from.Require(json.is_array(), "true, false, a number, a text or a list");
    FromJson(from, value.emplace<std::vector<double>>());
  }
}
template <class T>
void FromJson(const Value& from, std::vector<T>& list) {
  from.Require(from.json.is_array(), "a list");
  for (std::size_t i = 0; i < from.json.size(); ++i) FromJson(from.At(i), list.emplace_back());
}
template <class T>
void FromJson(const Value& from, Named<T>& values) {
  from.Require(from.json.is_object(), "an object");
  for (const auto& [name, json] : from.json.items())
    FromJson(Value{json, from.place + Step(name)}, values.emplace_back(name, T{}).second);
}
/// The value of an enumeration that a word stands for.
template <class Enum>
Enum ValueOf(const std::string& word, const Value& from) {
  const auto& words = Words<Enum>::kAll;
  std::string expected = "one of";
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == word) return static_cast<Enum>(i);
    expected.append(i == 0 ? " \"" : ", \"").append(words[i]) += '"';
  }
  FailAsNo(expected, from.json, from.place);
}
template <class T>
void FromJson(const Value& from, T& value) {
  if constexpr (std::is_enum_v<T>) {
    std::string word;
    FromJson(from, word);
    value = ValueOf<T>(word, from);
  } else {
    Reader reader(from);
    Members(reader, value);
  }
}

/// Name and version of what a document is written by.
struct Schema {
  std::string name{kSchemaName};
  int version = kSchemaVersion;
};
template <class Visit>
void Members(Visit& visit, Schema& schema) {
  visit.Member("name", schema.name);
  visit.Member("version", schema.version);
}

Json Parsed(std::string_view text) {
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    Fail(fmt::format("byte {}", error.byte), "this is no JSON; name a result that primfit has written");
  }
}

/// Refuses what is no result, and what only a newer program understands.
void CheckSchema(const Json& json) {
  if (!json.is_object() || !json.contains("schema"))
    Fail("/schema", "is missing; name a result that primfit has written");
  Schema schema;
  Reader(Value{json, ""}).Member("schema", schema);
  if (schema.name != kSchemaName)
    Fail("/schema/name", fmt::format("\"{}\" was expected; name a result of primfit", kSchemaName));
  if (schema.version > kSchemaVersion)
    Fail("/schema/version",
         fmt::format("{} is newer than {}, the newest that this program knows; use a newer primfit",
                     schema.version, kSchemaVersion));
}

}  // namespace

std::string WriteResult(const Result& result) {
  Writer writer;
  writer.Member("schema", Schema());
  Result members = result;
  Members(writer, members);
  return Dump(writer.Object(), 2) + "\n";
}

Result ReadResult(std::string_view text) {
  const Json json = Parsed(text);
  CheckSchema(json);
  Result result;
  FromJson(Value{json, ""}, result);
  return result;
}

std::string Utf8(std::string_view text) { return Json::parse(Dump(Json(text), -1)).get<std::string>(); }

}  // namespace primfit::report
