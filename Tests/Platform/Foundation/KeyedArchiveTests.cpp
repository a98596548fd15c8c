// Keyed archives: round trips, refusal of disallowed kinds, and garbage input.
#include <random>

#include <gtest/gtest.h>

#include "Platform/Foundation/KeyedArchive.h"

namespace dm {
namespace {

using nlohmann::json;
using Bytes = std::vector<std::uint8_t>;

TEST(KeyedArchiveTest, NestedTreesRoundTrip) {
  const json trees[] = {
      json::parse(R"([{"repeats": 12, "weight": 40.5}, {"repeats": "10", "weight": null}])"),
      json::parse(R"({"a": {"b": {"c": [1, -2, 3.25, true, false, "text", [], {}]}}, "": 0})"),
      json("Ünïcode ✓"),
      json(nullptr),
      json(18446744073709551615ULL),
      json::array(),
  };
  for (const auto& tree : trees) {
    auto bytes = KeyedArchive::archivedData(tree);
    ASSERT_TRUE(bytes) << tree;
    auto back = KeyedArchive::unarchivedObject(*bytes);
    ASSERT_TRUE(back) << tree;
    EXPECT_EQ(*back, tree);
  }
}

TEST(KeyedArchiveTest, DisallowedKindsAreRefused) {
  json withBinary = {{"list", json::array({1, json::binary({1, 2, 3})})}};
  EXPECT_FALSE(KeyedArchive::archivedData(withBinary));

  // A CBOR byte string inside an otherwise valid archive decodes to a binary value.
  Bytes bytes = {'D', 'M', 'K', 'A', KeyedArchive::kFormatVersion, 0x81, 0x42, 0x01, 0x02};
  EXPECT_FALSE(KeyedArchive::unarchivedObject(bytes));
  // A tagged item (tag 1, epoch date) is refused too.
  bytes = {'D', 'M', 'K', 'A', KeyedArchive::kFormatVersion, 0xC1, 0x01};
  EXPECT_FALSE(KeyedArchive::unarchivedObject(bytes));

  json deep = json::array();
  for (std::size_t i = 0; i < KeyedArchive::kMaximumDepth + 5; ++i) deep = json::array({deep});
  EXPECT_FALSE(KeyedArchive::archivedData(deep));
}

TEST(KeyedArchiveTest, HeaderAndBodyDamageGiveNothing) {
  auto good = *KeyedArchive::archivedData(json{{"k", json::array({1, 2, 3})}});
  EXPECT_FALSE(KeyedArchive::unarchivedObject(Bytes{}));
  EXPECT_FALSE(KeyedArchive::unarchivedObject(Bytes(good.begin(), good.begin() + 5)));

  Bytes wrongMagic = good;
  wrongMagic[0] = 'X';
  EXPECT_FALSE(KeyedArchive::unarchivedObject(wrongMagic));
  Bytes wrongVersion = good;
  wrongVersion[4] = KeyedArchive::kFormatVersion + 1;
  EXPECT_FALSE(KeyedArchive::unarchivedObject(wrongVersion));

  for (std::size_t length = 6; length < good.size(); ++length) {
    EXPECT_FALSE(KeyedArchive::unarchivedObject(Bytes(good.begin(), good.begin() + length)))
        << "truncated to " << length;
  }
  Bytes trailing = good;
  trailing.push_back(0x00);
  EXPECT_FALSE(KeyedArchive::unarchivedObject(trailing));
}

TEST(KeyedArchiveTest, HostileBytesNeverCrash) {
  const Bytes header = {'D', 'M', 'K', 'A', KeyedArchive::kFormatVersion};
  // A million nested one-element arrays would exhaust a recursive decoder's stack.
  Bytes deep = header;
  deep.insert(deep.end(), 1'000'000, 0x81);
  deep.push_back(0x00);
  EXPECT_FALSE(KeyedArchive::unarchivedObject(deep));
  // Indefinite-length lists nest without a count.
  deep.resize(header.size());
  deep.insert(deep.end(), 100000, 0x9f);
  EXPECT_FALSE(KeyedArchive::unarchivedObject(deep));
  json nested = json::array();
  for (int i = 0; i < 100000; ++i) nested = json::array({std::move(nested)});
  EXPECT_FALSE(KeyedArchive::archivedData(nested));
  // Counts and lengths far beyond the input.
  Bytes huge = header;
  huge.insert(huge.end(), {0x9B, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_FALSE(KeyedArchive::unarchivedObject(huge));
  huge = header;
  huge.insert(huge.end(), {0x7B, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 'a'});
  EXPECT_FALSE(KeyedArchive::unarchivedObject(huge));

  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    Bytes bytes = header;
    const auto length = random() % 64;
    for (unsigned i = 0; i < length; ++i) bytes.push_back(static_cast<std::uint8_t>(random()));
    auto tree = KeyedArchive::unarchivedObject(bytes);
    if (tree) {
      EXPECT_TRUE(KeyedArchive::holdsOnlyAllowedKinds(*tree));
    }
  }
}

}  // namespace
}  // namespace dm
