// SPDX-License-Identifier: Apache-2.0

#include "template/framework/tov_err.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>

namespace {

using tov_err::Error;

constexpr tov_access::AccessMask kMask = 0xE0000000;

static_assert(std::is_base_of_v<std::exception, Error>);
static_assert(std::is_copy_constructible_v<Error>);
static_assert(sizeof(tov_access::AccessMask) == 4);

TEST(Error, CarriesTypeAndObject) {
  const Error both("template", "circular_import");
  EXPECT_EQ(both.type(), "template");
  EXPECT_EQ(both.object(), "circular_import");
  EXPECT_TRUE(both.params().empty());

  const Error type_only("file");
  EXPECT_EQ(type_only.type(), "file");
  EXPECT_EQ(type_only.object(), "");
}

TEST(Error, CarriesParametersInTheOrderInWhichTheyWereAdded) {
  Error error("a", "b");
  error.add_param("z", "1", kMask).add_param("a", "2", 0).add_param("z", "3", 7);
  ASSERT_EQ(error.params().size(), 3U);
  EXPECT_EQ(error.params()[0].name, "z");
  EXPECT_EQ(error.params()[0].value, "1");
  EXPECT_EQ(error.params()[0].mask, kMask);
  EXPECT_EQ(error.params()[1].name, "a");
  EXPECT_EQ(error.params()[1].value, "2");
  EXPECT_EQ(error.params()[1].mask, 0U);
  EXPECT_EQ(error.params()[2].name, "z");
  EXPECT_EQ(error.params()[2].value, "3");
  EXPECT_EQ(error.params()[2].mask, 7U);
}

TEST(Error, AddParamReturnsTheErrorItself) {
  Error error("a");
  EXPECT_EQ(&error.add_param("n", "v", kMask), &error);
}

TEST(Error, HasAReadableWhat) {
  EXPECT_STREQ(Error("template").what(), "template");
  EXPECT_STREQ(Error("template", "").what(), "template");
  EXPECT_STREQ(Error("file", "read").what(), "file: read");
  EXPECT_STREQ(Error("template", "circular_import").add_param("filename", "/x", kMask).what(),
               "template: circular_import (filename=/x)");
  EXPECT_STREQ(Error("template").add_param("filename", "/x", kMask).what(),
               "template (filename=/x)");
  EXPECT_STREQ(Error("a", "b").add_param("c", "d", kMask).add_param("e", "f", kMask).what(),
               "a: b (c=d, e=f)");
  EXPECT_STREQ(Error("a", "b").add_param("c", "", kMask).what(), "a: b (c=)");
}

TEST(Error, WhatFollowsTheParameters) {
  Error error("a", "b");
  EXPECT_STREQ(error.what(), "a: b");
  error.add_param("c", "d", kMask);
  EXPECT_STREQ(error.what(), "a: b (c=d)");
}

TEST(Error, CopiesAreIndependent) {
  Error original("a", "b");
  original.add_param("c", "d", kMask);
  Error copy(original);
  copy.add_param("e", "f", kMask);
  EXPECT_EQ(original.params().size(), 1U);
  EXPECT_STREQ(original.what(), "a: b (c=d)");
  EXPECT_EQ(copy.params().size(), 2U);
  EXPECT_STREQ(copy.what(), "a: b (c=d, e=f)");

  original = Error("g");
  EXPECT_STREQ(original.what(), "g");
  EXPECT_STREQ(copy.what(), "a: b (c=d, e=f)");
}

TEST(Error, IsThrownByValueAndCaughtAsAStandardException) {
  try {
    throw Error("template", "circular_import").add_param("filename", "/x", kMask);
  } catch (const std::exception& caught) {
    EXPECT_STREQ(caught.what(), "template: circular_import (filename=/x)");
    const auto* error = dynamic_cast<const Error*>(&caught);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->type(), "template");
    EXPECT_EQ(error->object(), "circular_import");
    ASSERT_EQ(error->params().size(), 1U);
    EXPECT_EQ(error->params()[0].name, "filename");
    EXPECT_EQ(error->params()[0].value, "/x");
  }
}

}  // namespace
