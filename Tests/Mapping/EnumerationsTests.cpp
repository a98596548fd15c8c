// Enumeration code and title tables: round trips over every table, unknown codes and
// values, stored versus localised titles, and the card image lookup.
#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "EnumerationCatalog.h"
#include "Mapping/ImageProvider.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"

namespace dm {
namespace {

using test::allCodeTables;
using test::allTitleTables;
using test::TitleKind;

bool hasNonAscii(const std::string& text) {
  for (unsigned char c : text) {
    if (c >= 0x80) return true;
  }
  return false;
}

class EnumerationsTest : public ::testing::Test {
 protected:
  test::ScopedInterfaceLanguage language_{test::kFirstUseLanguage};
};

TEST_F(EnumerationsTest, EveryCodeTableRoundTripsEveryRow) {
  for (const auto& entry : allCodeTables()) {
    SCOPED_TRACE(entry.name);
    const CodeTable& table = entry.table();
    EXPECT_EQ(&table, &entry.table()) << "built again on a later call";
    ASSERT_GT(table.size(), 0u);
    for (const auto& [value, code] : table.codesByValue()) {
      EXPECT_FALSE(code.empty());
      EXPECT_EQ(table.valueForCode(code), value) << code;
      EXPECT_EQ(table.codeForValue(value), code);
    }
  }
}

TEST_F(EnumerationsTest, UnknownCodesAndValuesFindNothing) {
  for (const auto& entry : allCodeTables()) {
    SCOPED_TRACE(entry.name);
    const CodeTable& table = entry.table();
    const auto& rows = table.codesByValue();
    const std::string& someCode = rows.begin()->second;
    for (const std::string& code :
         {std::string(), someCode + " ", " " + someCode, someCode.substr(1), std::string("\0", 1),
          std::string("no_such_code")}) {
      EXPECT_EQ(table.valueForCode(code), std::nullopt) << '"' << code << '"';
    }
    // Matching is exact: the same code in another case is a different code.
    std::string upper = someCode;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (upper != someCode) {
      EXPECT_EQ(table.valueForCode(upper), std::nullopt) << upper;
    }

    for (int value : {rows.begin()->first - 1, rows.rbegin()->first + 1, INT_MIN, INT_MAX}) {
      EXPECT_EQ(table.codeForValue(value), std::nullopt) << value;
    }
  }
}

TEST_F(EnumerationsTest, TitleLookupsReturnTheTableEntryOrEmpty) {
  for (const auto& entry : allTitleTables()) {
    SCOPED_TRACE(entry.name);
    const TitleTable& table = entry.table();
    EXPECT_EQ(&table, &entry.table()) << "built again on a later call";
    ASSERT_FALSE(table.empty());
    for (const auto& [value, title] : table) {
      EXPECT_FALSE(title.empty()) << value;
      EXPECT_EQ(entry.titleFor(value), title) << value;
      // Stored titles stay keys even where a translation exists; localised ones hold the
      // first-use language's text (an ASCII title there is a key that fell through).
      EXPECT_EQ(hasNonAscii(title), entry.kind == TitleKind::Localized) << value << ": " << title;
    }
    for (int value : {table.begin()->first - 1, table.rbegin()->first + 1, INT_MIN, INT_MAX}) {
      EXPECT_EQ(entry.titleFor(value), "") << value;
    }
  }
}

TEST_F(EnumerationsTest, StoredTitlesAreKeysAndLocalisedOnesTheFirstUseLanguagesTexts) {
  // The application translates this key, yet the table hands back the key for the caller.
  const std::string key = "PaymentMethods.Status.WaitingPaymentConfirmation";
  ASSERT_TRUE(Localization::string(key, "ru").has_value());
  EXPECT_EQ(TitleForPaymentStatus(6), key);
  EXPECT_EQ(TitleForServiceType(1), "TrainerSideCourseCell.Service.OneTime");

  // Where the title is the code itself, it stays in step with the code table.
  EXPECT_EQ(FrequencyTypeTitleMappings(), FrequencyTypeMappings().codesByValue());
  EXPECT_EQ(CardTypeTitleMappings(), CardTypeMappings().codesByValue());

  EXPECT_EQ(TitleForAccountType(2), Localization::string("Signup.Coach", "ru"));
  EXPECT_EQ(TitleForProductIndexStatus(0), Localization::string("Product.N/A", "ru"));
}

TEST_F(EnumerationsTest, LanguageChangeAfterFirstUseLeavesLocalisedTablesAsBuilt) {
  std::map<std::string, TitleTable> firstUse;
  for (const auto& entry : allTitleTables()) firstUse[entry.name] = entry.table();

  setCurrentInterfaceLanguage("en");
  ASSERT_EQ(localizedString("Abuse.Copyright"), Localization::string("Abuse.Copyright", "en"));
  ASSERT_NE(localizedString("Abuse.Copyright"), Localization::string("Abuse.Copyright", "ru"));

  for (const auto& entry : allTitleTables()) {
    EXPECT_EQ(entry.table(), firstUse[entry.name]) << entry.name;
  }
  EXPECT_EQ(TitleForAbuseType(4), Localization::string("Abuse.Copyright", "ru"));
}

TEST_F(EnumerationsTest, LocalisedTableBuilderKeepsKeysWithoutTranslation) {
  const TitleTable table = localizedTitleTable({{0, "No.Such.Key"}, {1, "Signup.Client"}});
  EXPECT_EQ(table.at(0), "No.Such.Key");
  EXPECT_EQ(table.at(1), Localization::string("Signup.Client", "ru"));
}

TEST_F(EnumerationsTest, AbuseCopyrightCodeKeepsItsCyrillicFirstLetter) {
  const std::string code = AbuseTypeMappings().codeForValue(4).value();
  ASSERT_GE(code.size(), 2u);
  EXPECT_EQ(code.substr(0, 2), "\xD1\x81");  // U+0441 in UTF-8
  EXPECT_EQ(code.substr(2), "opyright_infringement");
  EXPECT_EQ(code.size() - 1, 22u) << "22 characters, the first of them two bytes long";

  EXPECT_EQ(AbuseTypeMappings().enumForCode<AbuseType>(code), AbuseType::CopyrightInfringement);
  EXPECT_EQ(AbuseTypeMappings().valueForCode("copyright_infringement"), std::nullopt);
}

// Resolves names to "assets/<name>.png" for the names it has, and records every request.
class RecordingImageProvider final : public ImageProvider {
 public:
  explicit RecordingImageProvider(std::vector<std::string> assets) : assets_(std::move(assets)) {}
  std::optional<ImageHandle> imageNamed(std::string_view name) const override {
    requested.emplace_back(name);
    for (const auto& asset : assets_) {
      if (asset == name) return "assets/" + asset + ".png";
    }
    return std::nullopt;
  }
  mutable std::vector<std::string> requested;

 private:
  std::vector<std::string> assets_;
};

class ImageForCardTypeTest : public ::testing::Test {
 protected:
  void TearDown() override { ImageProvider::setShared(nullptr); }
};

TEST_F(ImageForCardTypeTest, ReplacedProviderResolvesTheNamesAndMayHaveNone) {
  auto provider = std::make_shared<RecordingImageProvider>(std::vector<std::string>{"Visa"});
  ImageProvider::setShared(provider);

  EXPECT_EQ(ImageForCardType(0), "assets/Visa.png");
  EXPECT_EQ(ImageForCardType(1), std::nullopt);  // the host lacks this asset
  EXPECT_EQ(ImageForCardType(7), std::nullopt);  // not a card type: the host is not asked
  EXPECT_EQ(provider->requested, (std::vector<std::string>{"Visa", "Mastercard"}));

  // Without a host provider the asset name itself is the answer.
  ImageProvider::setShared(nullptr);
  EXPECT_EQ(ImageForCardType(1), "Mastercard");
  EXPECT_EQ(ImageForCardType(-1), std::nullopt);
}

}  // namespace
}  // namespace dm
