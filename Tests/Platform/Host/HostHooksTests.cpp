// The host hooks: the built-in JPEG encoder checked by decoding its output, and the documented
// defaults of the screen scale, calorie rule, equipment-type rules and application version,
// each replaced the way a host replaces it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Host/ApplicationVersion.h"
#include "Platform/Host/CalorieRule.h"
#include "Platform/Host/EquipmentTypeRules.h"
#include "Platform/Host/JpegDecoder.h"
#include "Platform/Host/JpegEncoder.h"
#include "Platform/Host/ScreenScale.h"

namespace dm {
namespace {

// Four flat quadrants (red, green, blue, white) with a little noise, so that quality shows.
RawImage quadrants(int width, int height, int channels) {
  RawImage image{width, height, channels, {}};
  image.pixels.resize(static_cast<std::size_t>(width * height * channels));
  std::uint32_t noise = 12345;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const int quadrant = (y >= height / 2) * 2 + (x >= width / 2);
      const std::uint8_t colours[4][3] = {
          {220, 20, 20}, {20, 220, 20}, {20, 20, 220}, {235, 235, 235}};
      std::uint8_t* p = &image.pixels[static_cast<std::size_t>((y * width + x) * channels)];
      for (int c = 0; c < 3; ++c) {
        noise = noise * 1664525u + 1013904223u;
        p[c] = static_cast<std::uint8_t>(colours[quadrant][c] + (noise >> 29) - 4);
      }
      if (channels == 4) p[3] = static_cast<std::uint8_t>(x);  // alpha is dropped
    }
  return image;
}

// The mean of channel `c` over a square in the middle of a quadrant.
double meanAround(const RawImage& image, int cx, int cy, int c) {
  double sum = 0;
  int n = 0;
  for (int y = cy - 4; y <= cy + 4; ++y)
    for (int x = cx - 4; x <= cx + 4; ++x, ++n) sum += image.sample(x, y, c);
  return sum / n;
}

TEST(JpegEncoderTest, EncodedPhotosDecodeToTheSameSizeAndColours) {
  for (int channels : {3, 4}) {
    SCOPED_TRACE(channels);
    RawImage image = quadrants(96, 64, channels);
    auto bytes = JpegEncoder::shared()->encode(image, JpegEncoder::kPhotoQuality);
    ASSERT_GT(bytes.size(), 4u);
    EXPECT_EQ(bytes[0], 0xFF);  // SOI marker
    EXPECT_EQ(bytes[1], 0xD8);
    RawImage decoded = decodeJpeg(bytes);
    ASSERT_EQ(decoded.width, 96);
    ASSERT_EQ(decoded.height, 64);
    ASSERT_EQ(decoded.channels, 3);
    const int centres[4][2] = {{24, 16}, {72, 16}, {24, 48}, {72, 48}};
    for (int q = 0; q < 4; ++q)
      for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(meanAround(decoded, centres[q][0], centres[q][1], c),
                    meanAround(image, centres[q][0], centres[q][1], c), 12.0)
            << "quadrant " << q << " channel " << c;
  }
}

TEST(JpegEncoderTest, QualityTradesSizeAndIsClamped) {
  RawImage image = quadrants(128, 128, 3);
  LibjpegEncoder encoder;
  auto low = encoder.encode(image, 0.1);
  auto high = encoder.encode(image, 0.95);
  EXPECT_LT(low.size(), high.size());
  EXPECT_EQ(encoder.encode(image, -3), encoder.encode(image, 0.0));
  EXPECT_EQ(encoder.encode(image, 7), encoder.encode(image, 1.0));
  EXPECT_NO_THROW(decodeJpeg(encoder.encode(image, 0.0)));  // the lowest quality still decodes
}

TEST(JpegEncoderTest, BadPixelsAndBadBytesAreClearErrors) {
  LibjpegEncoder encoder;
  RawImage good = quadrants(8, 8, 3);
  RawImage empty{0, 8, 3, {}};
  RawImage gray = good;
  gray.channels = 1;
  RawImage short_ = good;
  short_.pixels.resize(10);
  RawImage huge{70000, 1, 3, std::vector<std::uint8_t>(210000)};
  for (const RawImage* bad : {&empty, &gray, &short_, &huge})
    EXPECT_THROW(encoder.encode(*bad, 0.5), ImageEncodingError);
  EXPECT_THROW(encoder.encode(good, std::numeric_limits<double>::quiet_NaN()), ImageEncodingError);

  const std::vector<std::uint8_t> text = {'n', 'o', 't', ' ', 'a', ' ', 'j', 'p', 'e', 'g'};
  EXPECT_THROW(decodeJpeg(text), ImageEncodingError);
  EXPECT_THROW(decodeJpeg({}), ImageEncodingError);
  auto bytes = encoder.encode(good, 0.5);
  bytes.resize(20);  // cut inside the headers
  EXPECT_THROW(decodeJpeg(bytes), ImageEncodingError);
}

TEST(JpegEncoderTest, HostEncoderReplacesTheBuiltInOne) {
  struct Marker final : JpegEncoder {
    std::vector<std::uint8_t> encode(const RawImage&, double quality) const override {
      return {static_cast<std::uint8_t>(quality * 10)};
    }
  };
  JpegEncoder::setShared(std::make_shared<Marker>());
  EXPECT_EQ(JpegEncoder::shared()->encode(quadrants(2, 2, 3), 0.5), std::vector<std::uint8_t>{5});
  JpegEncoder::setShared(nullptr);
  EXPECT_NE(dynamic_cast<LibjpegEncoder*>(JpegEncoder::shared().get()), nullptr);
}

TEST(ScreenScaleTest, DefaultsToDoubleDensityAndTakesTheHostsScale) {
  EXPECT_EQ(ScreenScale::shared()->scale(), ScreenScale::kDefaultScale);
  EXPECT_EQ(ScreenScale::shared()->wholeScale(), 2);
  ScreenScale::setShared(std::make_shared<FixedScreenScale>(3.0));
  EXPECT_EQ(ScreenScale::shared()->wholeScale(), 3);
  ScreenScale::setShared(std::make_shared<FixedScreenScale>(2.625));  // truncated, as keys are
  EXPECT_EQ(ScreenScale::shared()->wholeScale(), 2);
  ScreenScale::setShared(std::make_shared<FixedScreenScale>(0.5));
  EXPECT_EQ(ScreenScale::shared()->wholeScale(), 1);
  ScreenScale::setShared(nullptr);
  EXPECT_EQ(ScreenScale::shared()->scale(), 2.0);
  for (double bad : {0.0, -1.0, std::numeric_limits<double>::infinity(),
                     std::numeric_limits<double>::quiet_NaN()})
    EXPECT_THROW(FixedScreenScale{bad}, Error);
}

TEST(CalorieRuleTest, MeasuredCaloriesWinOverCalculatedOnes) {
  auto rule = CalorieRule::shared();
  EXPECT_EQ(rule->getRealCalories(350, 420), 350);
  EXPECT_EQ(rule->getRealCalories(1, 420), 1);      // one kilocalorie is a measurement
  EXPECT_EQ(rule->getRealCalories(0.5, 420), 420);  // below one is not
  EXPECT_EQ(rule->getRealCalories(0, 0), 0);
  EXPECT_EQ(rule->getRealCalories(-5, -3), 0);
  EXPECT_EQ(rule->getRealCalories(std::nan(""), 80), 80);
  EXPECT_EQ(rule->getRealCalories(0, std::numeric_limits<double>::infinity()), 0);

  struct Average final : CalorieRule {
    double getRealCalories(double a, double b) const override { return (a + b) / 2; }
  };
  CalorieRule::setShared(std::make_shared<Average>());
  EXPECT_EQ(CalorieRule::shared()->getRealCalories(100, 200), 150);
  CalorieRule::setShared(nullptr);
  EXPECT_EQ(CalorieRule::shared()->getRealCalories(100, 200), 100);
}

TEST(EquipmentTypeRulesTest, TheHostsTableAnswersPerRuleAndTypeTheDefaultNone) {
  EquipmentTypeTable table;
  table.rules[EquipmentTypeRule::OneArm] = {3, 4};
  table.rules[EquipmentTypeRule::BigBarRecomendation] = {1};
  table.rules[EquipmentTypeRule::Gravitron] = {9};
  table.weightMultipliers[3] = 2.0;
  table.recommendationKeys[12] = "12ExerciseStraight.Recomended";
  EquipmentTypeRules::setShared(std::make_shared<EquipmentTypeRules>(table));
  auto rules = EquipmentTypeRules::shared();
  EXPECT_TRUE(rules->isOneArmType(4));
  EXPECT_FALSE(rules->isOneLegType(4));  // rules do not leak into each other
  EXPECT_FALSE(rules->isOneArmType(1));
  EXPECT_TRUE(rules->isBigBarRecomendation(1));
  EXPECT_TRUE(rules->isGravitron(9));
  EXPECT_EQ(rules->recommendedWeightMultiplyer(3), 2.0);
  EXPECT_EQ(rules->recommendedWeightMultiplyer(4), 1.0);
  EXPECT_EQ(rules->getTypeRecomendationString(12), "12ExerciseStraight.Recomended");
  EXPECT_FALSE(rules->getTypeRecomendationString(3));
  // Without the host's table no type has any rule.
  EquipmentTypeRules::setShared(nullptr);
  rules = EquipmentTypeRules::shared();
  for (std::int64_t type : {0, 1, 4, 9, 12, -1}) {
    EXPECT_FALSE(rules->isOneArmType(type) || rules->isInterchangeSide(type) ||
                 rules->isGravitron(type) || rules->isBigBarRecomendation(type) ||
                 rules->isRecommendedWeightWithBar(type))
        << type;
    EXPECT_EQ(rules->recommendedWeightMultiplyer(type), 1.0) << type;
    EXPECT_FALSE(rules->getTypeRecomendationString(type)) << type;
  }

  for (double bad : {0.0, -2.0, std::numeric_limits<double>::quiet_NaN()}) {
    EquipmentTypeTable wrong;
    wrong.weightMultipliers[1] = bad;
    EXPECT_THROW(EquipmentTypeRules{wrong}, Error);
  }
  EquipmentTypeTable noKey;
  noKey.recommendationKeys[1] = "";
  EXPECT_THROW(EquipmentTypeRules{noKey}, Error);
}

TEST(ApplicationVersionTest, TheHostsVersionWinsOverTheLibrarys) {
  EXPECT_EQ(ApplicationVersion::current(), Directories::applicationVersion());
  ApplicationVersion::setHostVersion("5.12.1");
  EXPECT_EQ(ApplicationVersion::current(), "5.12.1");
  ApplicationVersion::setHostVersion("");  // no version: back to the library's
  EXPECT_EQ(ApplicationVersion::current(), Directories::applicationVersion());
  ApplicationVersion::setHostVersion("6");
  ApplicationVersion::setHostVersion(std::nullopt);
  EXPECT_EQ(ApplicationVersion::current(), Directories::applicationVersion());
}

}  // namespace
}  // namespace dm
