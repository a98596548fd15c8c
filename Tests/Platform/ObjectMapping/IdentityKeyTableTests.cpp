// The flat identity-key table: numbering, numeric equality across kinds, compound keys and
// growth far past its first capacity.
#include <gtest/gtest.h>

#include <string>

#include "Platform/ObjectMapping/IdentityKeyTable.h"

namespace dm {
namespace {

TEST(IdentityKeyTableTest, NumbersKeysInFirstSeenOrderAcrossGrowth) {
  IdentityKeyTable table;
  constexpr long long kCount = 50000;
  // Descending ids, so that neither order nor contiguity helps the table.
  for (long long i = kCount; i > 0; --i) {
    Value key(i);
    bool added = false;
    ASSERT_EQ(table.insert(&key, added), static_cast<std::size_t>(kCount - i));
    ASSERT_TRUE(added);
  }
  ASSERT_EQ(table.size(), static_cast<std::size_t>(kCount));
  for (long long i = 1; i <= kCount; ++i) {
    Value again(static_cast<double>(i));  // 7.0 is the key 7
    bool added = true;
    ASSERT_EQ(table.insert(&again, added), static_cast<std::size_t>(kCount - i));
    ASSERT_FALSE(added);
  }
  EXPECT_EQ(table.size(), static_cast<std::size_t>(kCount));
  Value missing(kCount + 1), fractional(1.5), text(std::string("1"));
  EXPECT_EQ(table.find(&missing), IdentityKeyTable::npos);
  EXPECT_EQ(table.find(&fractional), IdentityKeyTable::npos);
  EXPECT_EQ(table.find(&text), IdentityKeyTable::npos);  // texts never equal numbers
  EXPECT_EQ(*table.key(0), Value(kCount));
}

TEST(IdentityKeyTableTest, CompoundKeysCompareEveryPart) {
  IdentityKeyTable table(2);
  table.reserve(4);
  auto insert = [&](Value a, Value b, bool& added) {
    Value key[] = {std::move(a), std::move(b)};
    return table.insert(key, added);
  };
  bool added = false;
  EXPECT_EQ(insert(Value(1), Value(std::string("a")), added), 0u);
  EXPECT_EQ(insert(Value(1), Value(std::string("b")), added), 1u);
  EXPECT_EQ(insert(Value(std::string("a")), Value(1), added), 2u);  // order matters
  EXPECT_TRUE(added);
  EXPECT_EQ(insert(Value(1.0), Value(std::string("b")), added), 1u);
  EXPECT_FALSE(added);
  EXPECT_EQ(table.size(), 3u);
  EXPECT_EQ(table.key(1)[1], Value(std::string("b")));
  const Value probe[] = {Value(1), Value()};
  EXPECT_EQ(table.find(probe), IdentityKeyTable::npos);
}

}  // namespace
}  // namespace dm
