#include "zelvo/value.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace zelvo {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Doubles truncate and saturate, narrowing keeps the low bits, booleans are numbers, strings
// read their leading integer, other types give zero.
TEST(ValueTest, NumberConversionsBehaveLikeThePlatformsNumbers) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  struct Case { Value value; int64_t asLongLong; uint32_t asUnsigned; };
  for (const Case& c : {Case{Value(7.9), 7, 7u}, Case{Value(-7.9), -7, 4294967289u}, Case{Value(-1), -1, 4294967295u},
                        Case{Value(-1.0), -1, 4294967295u}, Case{Value(int64_t{0x1'0000'0005}), 0x1'0000'0005, 5u},
                        Case{Value(kNaN), 0, 0u}, Case{Value(1e300), kMax, 4294967295u}, Case{Value(-1e300), std::numeric_limits<int64_t>::min(), 0u},
                        Case{Value(-kInf), std::numeric_limits<int64_t>::min(), 0u}, Case{Value(9223372036854775807.0), kMax, 4294967295u},
                        Case{Value(true), 1, 1u}, Case{Value(false), 0, 0u}, Case{Value("  -42abc"), -42, 4294967254u},
                        Case{Value("abc"), 0, 0u}, Case{Value("99999999999999999999"), kMax, 4294967295u},
                        Case{Value(Value::Array{Value(1)}), 0, 0u}, Case{Value(), 0, 0u}}) {
    EXPECT_EQ(c.value.longLongValue(), c.asLongLong) << c.value.toTypedJson().value_or("?");
    EXPECT_EQ(c.value.unsignedIntValue(), c.asUnsigned) << c.value.toTypedJson().value_or("?");
  }
  EXPECT_EQ(Value("2.5").doubleValue(), 2.5);
  EXPECT_TRUE(Value(true).isNumber());
  EXPECT_FALSE(Value("1").isNumber());
  EXPECT_FALSE(Value(Date{1.0}).isNumber());
}

TEST(ValueTest, JsonRoundTripKeepsStructureAndSortsKeys) {
  const Value v(Value::Dictionary{
      {"z", Value(Value::Array{Value(true), Value(), Value("x\"\n\xC3\xA9"), Value(-3)})},
      {"a", Value(1.5)},
      {"m", Value(Value::Dictionary{})},
  });
  const auto text = v.toJson();
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(*text, "{\"a\":1.5,\"m\":{},\"z\":[true,null,\"x\\\"\\n\xC3\xA9\",-3]}");
  EXPECT_EQ(Value::fromJson(*text), v);

  EXPECT_EQ(Value::fromJson("12")->type(), Value::Type::kInt);
  EXPECT_EQ(Value::fromJson("12.0")->type(), Value::Type::kDouble);
  EXPECT_EQ(Value::fromJson("-9223372036854775808")->asInt(), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(Value::fromJson("18446744073709551615")->type(), Value::Type::kDouble);
}

TEST(ValueTest, TypedJsonKeepsEveryBit) {
  const double doubles[] = {0.1 + 0.2, -0.0, kNaN, kInf, -kInf, 5e-324, std::numeric_limits<double>::max(), 1.0 / 3};
  for (double d : doubles) {
    for (const Value& v : {Value(d), Value(Date{d})}) {
      const std::string text = v.toTypedJson().value();
      const auto back = Value::fromTypedJson(text);
      ASSERT_TRUE(back.has_value()) << text;
      ASSERT_EQ(back->type(), v.type());
      const double got = v.asDate() ? back->asDate()->seconds : *back->asDouble();
      EXPECT_EQ(std::bit_cast<uint64_t>(got), std::bit_cast<uint64_t>(d)) << text;
    }
  }
  const Value nested(Value::Dictionary{
      {"list", Value(Value::Array{Value(int64_t{-1}), Value(false), Value(), Value("s"), Value(Date{3.25})})},
      {"n", Value(std::numeric_limits<int64_t>::max())},
  });
  EXPECT_EQ(Value::fromTypedJson(nested.toTypedJson().value()), nested);
  EXPECT_EQ(Value("\xC3\xA9").toTypedJson(), "{\"string\":\"\xC3\xA9\"}") << "text stays UTF-8, unescaped";
  // 1 and 1.0 and true stay distinct.
  EXPECT_EQ(Value::fromTypedJson(Value(1.0).toTypedJson().value())->type(), Value::Type::kDouble);
  EXPECT_EQ(Value::fromTypedJson(Value(true).toTypedJson().value())->type(), Value::Type::kBool);
}

TEST(ValueTest, JsonRefusesWhatItCannotHold) {
  EXPECT_FALSE(Value(Date{0}).toJson().has_value());
  EXPECT_FALSE(Value(Value::Array{Value(1), Value(Date{0})}).toJson().has_value());
  EXPECT_FALSE(Value(kNaN).toJson().has_value());
  EXPECT_FALSE(Value(Value::Dictionary{{"k", Value(-kInf)}}).toJson().has_value());
  EXPECT_FALSE(Value("bad \xFF utf-8").toJson().has_value());
  EXPECT_FALSE(Value(Value::Dictionary{{"\xC3", Value(1)}}).toJson().has_value());
}

TEST(ValueTest, ParsersRejectGarbage) {
  for (const char* text : {"", "{", "[1,]", "nul", "{\"a\":1}x", "{'a':1}", "\"\xFF\"", "01", "NaN"}) {
    Value::ReadFailure failure = Value::ReadFailure::kTooDeep;
    EXPECT_FALSE(Value::fromJson(text, &failure).has_value()) << text;
    EXPECT_EQ(failure, Value::ReadFailure::kMalformed) << text;
  }
  for (const char* text : {"", "[]", "{}", "{\"int\":\"1\"}", "{\"int\":1.5}", "{\"double\":\"nanx\"}",
                           "{\"int\":1,\"bool\":true}", "{\"array\":[{\"int\":1},2]}", "{\"what\":1}",
                           "{\"int\":18446744073709551615}", "{\"dict\":[]}", "{\"bool\":1}"}) {
    Value::ReadFailure failure = Value::ReadFailure::kTooDeep;
    EXPECT_FALSE(Value::fromTypedJson(text, &failure).has_value()) << text;
    EXPECT_EQ(failure, Value::ReadFailure::kMalformed) << text;
  }
}

// The reader's corners, each with the typed form of what it reads ("" where it refuses the text).
TEST(ValueTest, ReaderCornersAsTheTypedFormOfWhatTheyRead) {
  struct Case { std::string_view text; std::string_view typed; };
  using namespace std::string_view_literals;
  for (const Case& c : {Case{"\xEF\xBB\xBF [1]", "{\"array\":[{\"int\":1}]}"}, Case{"\xEF\xBB[1]", ""}, Case{" \xEF\xBB\xBF[1]", ""},
                        Case{"\"\\u00e9\\ud83d\\ude00\\/\\b\"", "{\"string\":\"\xC3\xA9\xF0\x9F\x98\x80/\\b\"}"},
                        Case{"\"\\ud800\"", ""}, Case{"\"\\udc00\"", ""}, Case{"\"\\udfff\"", ""},
                        Case{"\"\\udbff\\udfff\"", "{\"string\":\"\xF4\x8F\xBF\xBF\"}"}, Case{"\"\\ud800\\u0041\"", ""}, Case{"\"\\u12G4\"", ""},
                        Case{"\"\x01\"", ""}, Case{"\"\xED\xA0\x80\"", ""}, Case{"{\"a\":1,\"a\":2}", "{\"dict\":{\"a\":{\"int\":2}}}"},
                        Case{"-0", "{\"int\":0}"}, Case{"1E2", "{\"double\":100.0}"}, Case{"-1e-400", "{\"double\":-0.0}"},
                        Case{"0.001e-321", "{\"double\":0.0}"}, Case{"1e400", ""}, Case{"1000e-3000000000000", "{\"double\":0.0}"},
                        Case{"18446744073709551616", "{\"double\":1.8446744073709552e+19}"},
                        Case{"-9223372036854775809", "{\"double\":-9.223372036854776e+18}"}, Case{" true \0junk"sv, "{\"bool\":true}"},
                        Case{"[1\0]"sv, ""}, Case{"{\"k\" : 1, \"l\":2}", "{\"dict\":{\"k\":{\"int\":1},\"l\":{\"int\":2}}}"}, Case{"-", ""}, Case{"1.", ""}, Case{".5", ""}, Case{"1e", ""}, Case{"+1", ""}, Case{"-01", ""}}) {
    const std::optional<Value> value = Value::fromJson(c.text);
    EXPECT_EQ(value ? value->toTypedJson().value() : "", c.typed) << c.text;
  }
  // Too small to hold once its fraction's leading zeros are counted, though its exponent is positive.
  EXPECT_EQ(Value::fromJson("0." + std::string(400, '0') + "1e5"), Value(0.0));
}

// What the writers write, byte for byte: stored rows and pings keep their text.
TEST(ValueTest, WritersKeepTheirText) {
  EXPECT_EQ(Value("\x01\x7f\b\f\r\t/").toJson(), "\"\\u0001\x7f\\b\\f\\r\\t/\"");
  // Doubles in their Grisu2 digits, which are once in a while one more than the shortest.
  for (const auto& [d, text] : {std::pair{1e21, "1e+21"}, {1e-7, "1e-07"}, {100.0, "100.0"}, {-0.0, "-0.0"},
                                {77734751.57149825, "77734751.57149824"}, {0.1, "0.1"}}) {
    EXPECT_EQ(Value(d).toJson(), text) << text;
  }
  // Each broken UTF-8 character is one U+FFFD in the typed form (the plain one refuses it).
  EXPECT_EQ(Value("a\xE0\x80" "b\xF0\x9F").toTypedJson(), "{\"string\":\"a\xEF\xBF\xBD\xEF\xBF\xBD" "b\xEF\xBF\xBD\"}");
}

std::string repeated(std::string_view part, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += part;
  return text;
}

// Every reader and writer stops at the nesting limit instead of recursing on: text from a
// server or a damaged store row 100,000 deep would otherwise overflow the decoding thread.
TEST(ValueTest, NestingIsBoundedInEveryReaderAndWriter) {
  constexpr int kLimit = Value::kMaxNesting;
  Value deepest(1);
  for (int i = 0; i < kLimit; ++i) {
    deepest = i % 2 ? Value(Value::Array{std::move(deepest)}) : Value(Value::Dictionary{{"k", std::move(deepest)}});
  }
  ASSERT_TRUE(deepest.toJson() && deepest.toTypedJson());
  EXPECT_EQ(Value::fromJson(*deepest.toJson()), deepest);
  EXPECT_EQ(Value::fromTypedJson(*deepest.toTypedJson()), deepest);
  for (const Value& tooDeep : {Value(Value::Array{deepest}), Value(Value::Dictionary{{"k", deepest}})}) {
    EXPECT_FALSE(tooDeep.toJson().has_value());
    EXPECT_FALSE(tooDeep.toTypedJson().has_value());
  }

  for (int depth : {kLimit + 1, 100000}) {
    // An escape in what is skipped past the limit is read over, not decoded.
    const std::string plain = repeated("[", depth) + "\"\\u00e9\"" + repeated("]", depth);
    const std::string typed = repeated("{\"array\":[", depth) + "{\"nil\":null}" + repeated("]}", depth);
    Value::ReadFailure plainFailure = Value::ReadFailure::kMalformed;
    Value::ReadFailure typedFailure = Value::ReadFailure::kMalformed;
    EXPECT_FALSE(Value::fromJson(plain, &plainFailure).has_value()) << depth;
    EXPECT_FALSE(Value::fromTypedJson(typed, &typedFailure).has_value()) << depth;
    EXPECT_EQ(plainFailure, Value::ReadFailure::kTooDeep) << depth;
    EXPECT_EQ(typedFailure, Value::ReadFailure::kTooDeep) << depth;
  }
  // The typed text of a value n deep is 2n + 1 deep, and one level more is too deep already.
  Value::ReadFailure failure = Value::ReadFailure::kMalformed;
  EXPECT_FALSE(Value::fromTypedJson(repeated("{\"array\":[", kLimit) + "[{\"nil\":null}]" + repeated("]}", kLimit), &failure));
  EXPECT_EQ(failure, Value::ReadFailure::kTooDeep);
}

}  // namespace
}  // namespace zelvo
