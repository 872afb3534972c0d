// SPDX-License-Identifier: Apache-2.0

#include "template/value.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using tov_template::NullValue;
using tov_template::Value;

static_assert(std::is_empty_v<NullValue>);
static_assert(std::is_copy_constructible_v<Value> && std::is_copy_assignable_v<Value>);
static_assert(std::is_convertible_v<std::string, Value>);
static_assert(std::is_convertible_v<const char*, Value>);
static_assert(std::is_convertible_v<NullValue, Value>);

std::string Shown(const Value& value) {
  return value.IsNull() ? "null \"" + value.Str() + "\"" : "\"" + value.Str() + "\"";
}

TEST(Value, IsMadeFromATextOrFromNull) {
  EXPECT_EQ(Shown(Value()), "\"\"") << "the default is empty, not null";
  EXPECT_EQ(Shown(Value(std::string("a"))), "\"a\"");
  EXPECT_EQ(Shown(Value(std::string())), "\"\"");
  EXPECT_EQ(Shown(Value("a")), "\"a\"");
  EXPECT_EQ(Shown(Value("")), "\"\"");
  EXPECT_EQ(Shown(Value(NullValue())), "null \"\"");
}

TEST(Value, OfANullPointerIsNull) {
  const char* const none = nullptr;
  EXPECT_EQ(Shown(Value(nullptr)), "null \"\"");
  EXPECT_EQ(Shown(Value(none)), "null \"\"");
  Value value = "x";
  value = none;
  EXPECT_EQ(Shown(value), "null \"\"");
  value = "y";
  EXPECT_EQ(Shown(value), "\"y\"");
  value = nullptr;
  EXPECT_EQ(Shown(value), "null \"\"");
}

TEST(Value, StandsWhereverAValueIsExpected) {
  const std::string text = "80";
  EXPECT_EQ(Shown("80"), "\"80\"");
  EXPECT_EQ(Shown(text), "\"80\"");
  EXPECT_EQ(Shown(NullValue()), "null \"\"");
}

TEST(Value, KeepsTheBytesOfAText) {
  const std::string bytes("a\0\xff\n", 4);
  EXPECT_EQ(Value(bytes).Str(), bytes);
  EXPECT_EQ(Value(bytes.c_str()).Str(), "a");
}

TEST(Value, AssigningACharacterStringMakesItNonNull) {
  Value value = NullValue();
  EXPECT_EQ(&(value = "x"), &value);
  EXPECT_EQ(Shown(value), "\"x\"");
  value = "";
  EXPECT_EQ(Shown(value), "\"\"");
  value = NullValue();
  value = "";
  EXPECT_EQ(Shown(value), "\"\"") << "empty and null are different states";
}

TEST(Value, AssigningAStringMakesItNonNull) {
  Value value = NullValue();
  value = std::string("x");
  EXPECT_EQ(Shown(value), "\"x\"");
}

TEST(Value, AssigningNullEmptiesIt) {
  Value value = "x";
  EXPECT_EQ(&(value = NullValue()), &value);
  EXPECT_EQ(Shown(value), "null \"\"");
  value = NullValue();
  EXPECT_EQ(Shown(value), "null \"\"");
}

TEST(Value, CopiesTextAndState) {
  const Value text = "x";
  const Value null = NullValue();
  Value copy = text;
  EXPECT_EQ(Shown(copy), "\"x\"");
  copy = null;
  EXPECT_EQ(Shown(copy), "null \"\"");
  copy = text;
  EXPECT_EQ(Shown(copy), "\"x\"");
  copy.Str() = "y";
  EXPECT_EQ(Shown(text), "\"x\"");
}

TEST(Value, TheConstStrReturnsACopy) {
  const Value value = "x";
  static_assert(std::is_same_v<decltype(value.Str()), std::string>);
  value.Str() += "y";
  EXPECT_EQ(value.Str(), "x");
}

TEST(Value, TheNonConstStrIsTheTextItself) {
  Value value = "x";
  static_assert(std::is_same_v<decltype(value.Str()), std::string&>);
  value.Str() += "y";
  EXPECT_EQ(Shown(value), "\"xy\"");
}

TEST(Value, WritingThroughStrDoesNotTouchTheNullState) {
  Value value = NullValue();
  value.Str() = "x";
  EXPECT_EQ(Shown(value), "null \"x\"");
  value = NullValue();
  EXPECT_EQ(Shown(value), "null \"\"");

  Value empty = "x";
  empty.Str().clear();
  EXPECT_EQ(Shown(empty), "\"\"");
}

}  // namespace
