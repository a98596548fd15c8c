// MD5 hex digests against the reference vectors, and over bytes that are not text.
#include "Platform/Foundation/MD5.h"

#include <gtest/gtest.h>

#include <string>

namespace dm {
namespace {

TEST(MD5Test, MatchesReferenceVectors) {
  EXPECT_EQ(md5Hex(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5Hex("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(md5Hex("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5Hex("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(md5Hex("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(md5Hex("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(md5Hex("123456789012345678901234567890123456789012345678901234567890123456789012"
                   "34567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(MD5Test, DigestsEmbeddedNulBytesAndUtf8) {
  // A string_view with a NUL must be digested whole, not up to the NUL.
  std::string withNul("a\0b", 3);
  EXPECT_NE(md5Hex(withNul), md5Hex("a"));
  EXPECT_EQ(md5Hex(withNul), "70350f6027bce3713f6b76473084309b");
  std::string hex = md5Hex("Гречка");
  EXPECT_EQ(hex.size(), 32u);
  EXPECT_EQ(hex.find_first_not_of("0123456789abcdef"), std::string::npos);
}

}  // namespace
}  // namespace dm
