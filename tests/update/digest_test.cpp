// SPDX-License-Identifier: Apache-2.0

// What is told apart by a digest.

#include "update/digest.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace {

using tov_update::Digest;
using tov_update::DigestOf;

constexpr std::size_t kPiece = 256;

std::uint64_t DigestOf(std::string_view text) {
  return DigestOf(text, kPiece);
}

std::string Random(std::size_t size, std::mt19937& random) {
  std::uniform_int_distribution<int> byte(-128, 127);
  std::string text;
  while (text.size() < size) text += static_cast<char>(byte(random));
  return text;
}

TEST(Digests, AreTheSameForTheSameTextHoweverItComes) {
  std::mt19937 random(1);
  const std::string text = Random(2 * kPiece + 77, random);
  Digest digest;
  digest.Add(std::string_view(text).substr(0, kPiece));
  digest.Add(std::string_view(text).substr(kPiece, kPiece));
  EXPECT_NE(digest.Value(), DigestOf(text));
  digest.Add(std::string(text, 2 * kPiece));
  EXPECT_EQ(digest.Value(), DigestOf(text));
}

// The size of the text tells nothing there.
TEST(Digests, TellAChangeOfOneBitWhereverItIs) {
  std::mt19937 random(2);
  for (const std::size_t size : {1U, 7U, 63U, 64U, 65U, 127U, 256U, 257U, 600U}) {
    std::string text = Random(size, random);
    std::set<std::uint64_t> seen = {DigestOf(text)};
    for (char& byte : text) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        const char old = byte;
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << bit));
        EXPECT_TRUE(seen.insert(DigestOf(text)).second) << size << " bytes, bit " << bit;
        byte = old;
      }
    }
    EXPECT_EQ(seen.size(), 8 * size + 1);
  }
}

TEST(Digests, TellTextsOfOneByteByTheirSize) {
  for (const char byte : {'\0', ' ', '\xff'}) {
    std::set<std::uint64_t> seen;
    for (std::size_t size = 0; size < 1000; ++size) seen.insert(DigestOf(std::string(size, byte)));
    EXPECT_EQ(seen.size(), 1000U);
  }
}

TEST(Digests, TellWhatHasChangedPlaces) {
  std::mt19937 random(3);
  for (const std::size_t unit : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U, 256U}) {
    std::string text = Random(4 * kPiece, random);
    std::set<std::uint64_t> seen = {DigestOf(text)};
    std::size_t texts = 1;
    for (std::size_t at = unit; at + unit <= text.size(); at += unit) {
      std::string swapped = text;
      swapped.replace(0, unit, text, at, unit).replace(at, unit, text, 0, unit);
      if (swapped == text) continue;
      ++texts;
      EXPECT_TRUE(seen.insert(DigestOf(swapped)).second) << unit << " bytes at " << at;
    }
    EXPECT_EQ(seen.size(), texts);
  }
}

TEST(Digests, TellTextsThatDifferInTwoNumbers) {
  std::set<std::uint64_t> seen;
  std::size_t texts = 0;
  for (int port = 0; port < 400; ++port) {
    for (int other = 0; other < 400; ++other, ++texts) {
      seen.insert(DigestOf("listen 127.0.0.1:" + std::to_string(port) +
                           ";\n\troot /srv/site;\nproxy_pass http://" +
                           "backend.example:" + std::to_string(other) + ";\n"));
    }
  }
  EXPECT_EQ(seen.size(), texts);
}

}  // namespace
