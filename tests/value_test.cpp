#include "zelvo/value.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

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
                           "{\"int\":18446744073709551615}", "{\"dict\":[]}"}) {
    Value::ReadFailure failure = Value::ReadFailure::kTooDeep;
    EXPECT_FALSE(Value::fromTypedJson(text, &failure).has_value()) << text;
    EXPECT_EQ(failure, Value::ReadFailure::kMalformed) << text;
  }
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
    const std::string plain = repeated("[", depth) + "1" + repeated("]", depth);
    const std::string typed = repeated("{\"array\":[", depth) + "{\"nil\":null}" + repeated("]}", depth);
    Value::ReadFailure plainFailure = Value::ReadFailure::kMalformed;
    Value::ReadFailure typedFailure = Value::ReadFailure::kMalformed;
    EXPECT_FALSE(Value::fromJson(plain, &plainFailure).has_value()) << depth;
    EXPECT_FALSE(Value::fromTypedJson(typed, &typedFailure).has_value()) << depth;
    EXPECT_EQ(plainFailure, Value::ReadFailure::kTooDeep) << depth;
    EXPECT_EQ(typedFailure, Value::ReadFailure::kTooDeep) << depth;
  }
}

}  // namespace
}  // namespace zelvo
