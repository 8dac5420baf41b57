// Results that are written and read: nothing is lost, and what is no result is refused with its place.
#include "report/result_json.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "report/result_members.h"
#include "report/result_text.h"

namespace primfit::report {

namespace {

using Json = nlohmann::ordered_json;

/// Gives every member of a result a random value, odd ones among them.
class Random {
 public:
  explicit Random(unsigned seed) : bits_(seed) {}

  template <class T>
  void Member(const char* /*key*/, T& value) {
    Fill(value);
  }
  void Member(const char* /*key*/, std::vector<double>& numbers, std::size_t size) {
    numbers.resize(size);
    for (double& number : numbers) Fill(number);
  }
  template <class T>
  void Optional(const char* /*key*/, std::optional<T>& value) {
    if (Below(3) > 0) Fill(value.emplace());
  }
  void Nothing(const char* /*key*/) {}

 private:
  std::uint64_t Below(std::uint64_t bound) { return bits_() % bound; }

  void Fill(bool& value) { value = Below(2) == 1; }
  void Fill(double& value) {
    constexpr double kOdd[] = {0, -0.0, 1, std::numeric_limits<double>::quiet_NaN(), 1e-310, 123456789};
    value = Below(2) == 1 ? kOdd[Below(std::size(kOdd))] : std::bit_cast<double>(bits_());
  }
  void Fill(std::uint64_t& value) { value = bits_() >> Below(64); }
  void Fill(std::int64_t& value) { value = static_cast<std::int64_t>(bits_()) >> Below(63); }
  void Fill(int& value) { value = static_cast<int>(Below(1U << 31)); }
  void Fill(std::string& value) {
    constexpr const char* kPieces[] = {"a", "\"", "\\", "\n", "\x1b", "\x7f", "é", "~", "/", "ft-us", "𝛑"};
    for (std::uint64_t i = Below(6); i > 0; --i) value += kPieces[Below(std::size(kPieces))];
  }
  void Fill(Vector& value) {
    for (double& number : value) Fill(number);
  }
  void Fill(OptionValue& value) {
    switch (Below(6)) {
      case 0:
        return Fill(value.emplace<bool>());
      case 1:
        return Fill(value.emplace<std::int64_t>());
      case 2:
        return Fill(value.emplace<double>());
      case 3:
        return Fill(value.emplace<std::string>());
      case 4:
        return Fill(value.emplace<std::vector<double>>());
      default:
        return Fill(value.emplace<std::vector<std::string>>());
    }
  }
  template <class T>
  void Fill(std::vector<T>& list) {
    list.resize(Below(4));
    for (T& value : list) Fill(value);
  }
  template <class T>
  void Fill(Named<T>& values) {
    values.resize(Below(4));
    for (std::size_t i = 0; i < values.size(); ++i) {
      Fill(values[i].first);
      values[i].first += std::to_string(i);
      Fill(values[i].second);
    }
  }
  template <class T>
  void Fill(T& value) {
    if constexpr (std::is_enum_v<T>)
      value = static_cast<T>(Below(Words<T>::kAll.size()));
    else
      Members(*this, value);
  }

  std::mt19937_64 bits_;
};

TEST(ResultJson, KeepsEveryMemberOnItsWayThroughText) {
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Random random(seed);
    Result result;
    Members(random, result);
    const std::string text = WriteResult(result);
    const Result again = ReadResult(text);
    ASSERT_EQ(WriteResult(again), text) << seed;
    ASSERT_EQ(TextOf(again), TextOf(result)) << seed;
  }
}

TEST(ResultJson, KeepsNumbersToTheLastBitAndCallsWhatIsNotFiniteNull) {
  Result result;
  result.shift = {0.1, std::numeric_limits<double>::infinity(), 5e-324};
  const Json json = Json::parse(WriteResult(result));
  EXPECT_EQ(json["shift"][0].get<double>(), 0.1);
  EXPECT_TRUE(json["shift"][1].is_null());
  EXPECT_EQ(ReadResult(json.dump()).shift[2], 5e-324);
}

TEST(ResultJson, ReplacesWhatIsNoUtf8) {
  EXPECT_EQ(Utf8("a\xff\"\n\xc3\xa9"), "a\xef\xbf\xbd\"\n\xc3\xa9");
  Result result;
  result.command = "\xc3(";
  EXPECT_EQ(ReadResult(WriteResult(result)).command, "\xef\xbf\xbd(");
}

/// A result with one shape, as JSON.
Json Sample() {
  Result result;
  FoundShape& shape = result.shapes.emplace_back();
  shape.kind = "sphere";
  shape.parts = {{"center", {.quantity = Quantity::kPosition, .value = {1, 2, 3}, .standardDeviation = {}}},
                 {"radius", {.quantity = Quantity::kLength, .value = {4}, .standardDeviation = 0.1}}};
  return Json::parse(WriteResult(result));
}

TEST(ResultJson, LeavesUnknownMembersAside) {
  Json json = Sample();
  const std::string plain = json.dump();
  json["shapes"][0]["colour"] = {1, 2};
  json["later"] = "x";
  EXPECT_EQ(WriteResult(ReadResult(json.dump())), WriteResult(ReadResult(plain)));
}

TEST(ResultJson, RefusesWithThePlace) {
  const struct {
    const char* pointer;
    Json value;  // discarded: the member goes
    const char* error;
  } rows[] = {
      {"/status", Json::value_t::discarded, "/status: is missing"},
      {"/status", "fine",
       "/status: one of \"read\", \"fitted\", \"nothing\", \"stopped\" was expected, and not \"fine\""},
      {"/shapes/0/parts/radius/value", "4",
       "/shapes/0/parts/radius/value: a number or null was expected, and not \"4\""},
      {"/shapes/0/parts/radius/held", 1,
       "/shapes/0/parts/radius/held: true or false was expected, and not 1"},
      {"/shapes/0/parts/center/value",
       {1, 2},
       "/shapes/0/parts/center/value: a list of 3 numbers was expected, and not array"},
      {"/shapes/0/inliers", -1, "/shapes/0/inliers: a whole number from 0 was expected, and not -1"},
      {"/shapes/0/id", 4294967296, "/shapes/0/id: a whole number from 0 was expected, and not 4294967296"},
      {"/points/used", 2.5, "/points/used: a whole number from 0 was expected, and not 2.5"},
      {"/joints", Json::value_t::discarded, "/joints: is missing"},
      {"/arguments", "x", "/arguments: a list was expected, and not \"x\""},
      {"/options",
       {{"a/b\n", Json::object()}},
       "/options/a~1b?: true, false, a number, a text or a list was expected, and not object"},
      {"/report", Json::value_t::null, "/report: an object was expected, and not null"},
      {"/schema", Json::value_t::discarded, "/schema: is missing; name a result that primfit has written"},
      {"/schema/name", "other", "/schema/name: \"primfit-result\" was expected; name a result of primfit"},
      {"/schema/version", 2,
       "/schema/version: 2 is newer than 1, the newest that this program knows; use a newer primfit"},
  };
  for (const auto& row : rows) {
    Json json = Sample();
    const Json::json_pointer place(row.pointer);
    if (row.value.is_discarded())
      json.at(place.parent_pointer()).erase(place.back());
    else
      json.at(place) = row.value;
    try {
      ReadResult(json.dump());
      ADD_FAILURE() << row.error;
    } catch (const ResultError& error) {
      EXPECT_STREQ(error.what(), row.error);
    }
  }
  for (const char* text : {"", "1 2 3", "{\"schema\":"}) {
    try {
      ReadResult(text);
      ADD_FAILURE() << text;
    } catch (const ResultError& error) {
      EXPECT_NE(std::string(error.what()).find("this is no JSON; name a result"), std::string::npos);
    }
  }
}

}  // namespace

}  // namespace primfit::report
