// Account and support requests, error and captcha replies, and the empty-value rule.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Accounts/CaptchaError.h"
#include "Accounts/ErrorResponse.h"
#include "Accounts/PasswordRecoveryRequest.h"
#include "Accounts/RequestValues.h"
#include "Accounts/SignInRequest.h"
#include "Accounts/SignUpRequest.h"
#include "Accounts/SupportPhotoAddRequest.h"
#include "Accounts/SupportRequest.h"
#include "Social/PhotoAddRequest.h"

namespace dm {
namespace {

nlohmann::json body(const BaseMappableObject& request) {
  return request.serialized().toJson().value_or(nlohmann::json());
}

TEST(AccountRequests, EmailIsSentTrimmedAndLowerCase) {
  auto signIn = std::make_shared<SignInRequest>();
  signIn->setEmail("  Anna.Smith@Mail.COM \n");
  signIn->setPassword("Secret");
  signIn->setSocialMedia(SocialMediaType::Facebook);
  signIn->setMergeLazyAccount(true);
  EXPECT_EQ(signIn->email(), "anna.smith@mail.com");
  auto expected = nlohmann::json::parse(R"({"email": "anna.smith@mail.com", "password": "Secret",
      "merge_lazy_account": true})");
  expected["social_media"] = *SocialMediaTypeMappings().codeForEnum(SocialMediaType::Facebook);
  EXPECT_EQ(body(*signIn), expected);

  auto recovery = std::make_shared<PasswordRecoveryRequest>();
  recovery->setEmail("\tBob@X.org");
  recovery->setCode("1234");
  EXPECT_EQ(body(*recovery), nlohmann::json::parse(R"({"email": "bob@x.org", "code": "1234"})"));
  // The copy keeps the value as it was set.
  auto copy = std::dynamic_pointer_cast<PasswordRecoveryRequest>(recovery->copy());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->email(), "bob@x.org");

  auto signUp = std::make_shared<SignUpRequest>();
  signUp->setEmail("A@B.C ");
  EXPECT_EQ(body(*signUp), nlohmann::json::parse(R"({"email": "a@b.c"})"));
}

TEST(AccountRequests, SupportRequestSendsOnlySupportPhotosInOrder) {
  auto first = std::make_shared<SupportPhotoAddRequest>();
  first->setData(RecordValue("AAA"));
  first->setEntityID(5);  // not sent: support photos carry only their bytes
  auto other = std::make_shared<PhotoAddRequest>();
  other->setData(RecordValue("ZZZ"));
  auto second = std::make_shared<SupportPhotoAddRequest>();
  second->setData(RecordValue("BBB"));
  auto support = std::make_shared<SupportRequest>();
  support->setCategoryID(2);
  support->setText("It crashes");
  support->setEmail(" Me@Home.net");
  support->setPhotos(
      RecordValue(RecordValue::Array{RecordValue(first), RecordValue(other), RecordValue(second)}));
  support->serializePhotos();
  EXPECT_EQ(body(*support), nlohmann::json::parse(R"({"category_id": 2, "message": "It crashes",
      "response_email": "me@home.net", "photos": [{"photo": "AAA"}, {"photo": "BBB"}]})"));
}

TEST(ServiceReplies, ErrorDescriptionPrefersTheFirstComponentThenSearchesTheList) {
  auto byComponent = std::make_shared<ErrorResponse>();
  byComponent->setErrorMessagesByComponent(
      RecordValue(RecordValue::Dictionary{{"email", RecordValue(RecordValue::Array{"taken"})}}));
  byComponent->setErrorMessages(RecordValue(RecordValue::Array{"ignored"}));
  EXPECT_EQ(byComponent->description(), "taken");

  auto nested = std::make_shared<ErrorResponse>();
  nested->setErrorMessages(RecordValue(RecordValue::Array{
      RecordValue(RecordValue::Array{}),
      RecordValue(RecordValue::Dictionary{{"base", RecordValue(RecordValue::Array{"bad"})}})}));
  EXPECT_EQ(nested->description(), "bad");

  auto textComponent = std::make_shared<ErrorResponse>();
  textComponent->setErrorMessagesByComponent(
      RecordValue(RecordValue::Dictionary{{"email", RecordValue("not a list")}}));
  textComponent->setErrorMessages(RecordValue(RecordValue::Array{"from the list"}));
  EXPECT_EQ(textComponent->description(), "from the list");

  EXPECT_EQ(std::make_shared<ErrorResponse>()->description(), "");
}

TEST(ServiceReplies, CaptchaAddressIsReadAsAUrl) {
  auto captcha = std::make_shared<CaptchaError>();
  EXPECT_FALSE(captcha->captchaUrl().has_value()) << "no picture, no address";
  captcha->setCaptchaPath("/captcha/17.png?sid=ab");
  EXPECT_EQ(captcha->captchaUrl(), "/captcha/17.png?sid=ab");
  captcha->setCaptchaPath("https://example.com/c.png");
  EXPECT_EQ(captcha->captchaUrl(), "https://example.com/c.png");
  captcha->setCaptchaPath("not a url");
  EXPECT_FALSE(captcha->captchaUrl().has_value());
}

TEST(RequestValueRules, NoEmptyDropsEmptyTextsAndZeros) {
  EXPECT_TRUE(noEmpty(RecordValue(0)).isNull());
  EXPECT_TRUE(noEmpty(RecordValue(0.0)).isNull());
  EXPECT_EQ(noEmpty(RecordValue(0.5)).asDouble(), 0.5);
  EXPECT_TRUE(noEmpty(RecordValue("")).isNull());
  EXPECT_EQ(noEmpty(RecordValue("0")).asString(), "0");
  EXPECT_TRUE(noEmpty(RecordValue()).isNull());
}

}  // namespace
}  // namespace dm
