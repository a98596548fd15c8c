// Finance records: invoice titles, payouts by currency, wallet, payment details, bad amounts
// and currencies, and the finance request bodies. A user payload carrying invoices, card and
// payment details is read back in PeopleFixturesTests.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Finance/AddCardResponse.h"
#include "Finance/FilterInvoicesRequest.h"
#include "Finance/FinanceValues.h"
#include "Finance/InvoiceEntity.h"
#include "Finance/PaymentDetailsAddRequest.h"
#include "Finance/PaymentDetailsEntity.h"
#include "Finance/PayoutEntity.h"
#include "Finance/WalletEntity.h"
#include "Profile/ProfileTestSupport.h"

namespace dm::test {
namespace {

using FinanceStoreTest = ProfileStoreTest;

TEST_F(FinanceStoreTest, InvoiceTitles) {
  perform([&] {
    auto* invoice = insert<InvoiceEntity>();
    invoice->setServiceName("Coaching");
    invoice->setServiceType(ServiceType::Monthly);
    EXPECT_EQ(invoice->serviceTitleWithType(), "Coaching (TrainerSideCourseCell.Service.Monthly)");
    invoice->setNumber("17");
    EXPECT_EQ(invoice->invoiceInfoTitle(), "") << "no creation date";
    invoice->setCreated_at(Date(1772398800.0));
    std::string title = invoice->invoiceInfoTitle();
    EXPECT_NE(title.find("17 "), std::string::npos) << title;
    EXPECT_NE(title.find("2026"), std::string::npos) << title;
    invoice->clearNumber();
    EXPECT_EQ(invoice->invoiceInfoTitle(), "");
  });
}

TEST_F(FinanceStoreTest, PayoutsKeepOneRecordPerCurrencySortedLargestFirst) {
  perform([&] {
    map("PayoutEntity", R"({"finance_stat_by_currency": [{"currency": "EUR", "amount": 10},
        {"currency": "USD", "amount": 30}, {"currency": "RUB", "amount": 20}]})",
        "finance_stat_by_currency");
    map("PayoutEntity", R"({"finance_stat_by_currency": [{"currency": "EUR", "amount": 40}]})",
        "finance_stat_by_currency");
    auto payouts = PayoutEntity::payouts(*context);
    ASSERT_EQ(payouts.size(), 3u);
    EXPECT_EQ(payouts[0]->currency(), "EUR");
    EXPECT_EQ(payouts[1]->currency(), "USD");
    EXPECT_EQ(payouts[2]->currency(), "RUB");
    EXPECT_NE(PayoutEntity::unit(*context), nullptr);
    EXPECT_EQ(PayoutEntity::clearPayouts(*context), 3u);
    context->save();
    EXPECT_TRUE(PayoutEntity::payouts(*context).empty());
  });
  EXPECT_NE(PayoutEntity::newEntityID(), PayoutEntity::newEntityID());
}

TEST_F(FinanceStoreTest, PaymentDetailsNotYetAcceptedAndTheirRequest) {
  perform([&] {
    EXPECT_EQ(PaymentDetailsEntity::method(*context), nullptr);
    map("PaymentDetailsEntity", R"({"payment_methods": [
        {"id": 4, "guid": "pm-1", "title": "Bank", "details": "IBAN DE00"}]})",
        "payment_methods");
    auto* local = insert<PaymentDetailsEntity>();
    local->setGuid("pm-local");
    local->setTitle("Card");
    local->setDetails("4242");
    context->save();
    auto unsent = PaymentDetailsEntity::getAllTempEnitities(*context);
    ASSERT_EQ(unsent.size(), 1u);
    EXPECT_EQ(unsent[0], local);
    EXPECT_NE(PaymentDetailsEntity::method(*context), nullptr);

    auto request = PaymentDetailsAddRequest::requestWithPaymentDetailsAdd(*local);
    EXPECT_EQ(request->serialized().toJson(),
              nlohmann::json::parse(R"({"title": "Card", "details": "4242"})"));
  });
}

TEST_F(FinanceStoreTest, WalletIsReplacedWholeAndInvoicesFilterByServiceType) {
  perform([&] {
    map("WalletEntity", R"({"finance_stat": {"id": 1, "guid": "w", "paid": 120.5, "wait": 30}})",
        "finance_stat");
    ASSERT_NE(WalletEntity::wallet(*context), nullptr);
    EXPECT_DOUBLE_EQ(WalletEntity::wallet(*context)->paidAmount(), 120.5);
    EXPECT_DOUBLE_EQ(WalletEntity::wallet(*context)->pendingAmount(), 30);
    EXPECT_EQ(WalletEntity::clearWallet(*context), 1u);
    context->save();
    EXPECT_EQ(WalletEntity::wallet(*context), nullptr);

    map("InvoiceEntity", R"({"finances": [
        {"id": 1, "service_type": "monthly", "created_at": 100},
        {"id": 2, "service_type": "one_time", "created_at": 200},
        {"id": 3, "service_type": "monthly", "created_at": 300}]})",
        "finances");
    auto filter = std::make_shared<FilterInvoicesRequest>();
    filter->setServiceType(ServiceType::Monthly);
    EXPECT_EQ(filter->serialized().toJson(),
              nlohmann::json::parse(R"({"service_type": "monthly"})"));
    auto monthly = filter->filteredInvoices(*context);
    ASSERT_EQ(monthly.size(), 2u);
    EXPECT_EQ(monthly[0]->entityID(), 3);
    EXPECT_EQ(monthly[1]->entityID(), 1);
    EXPECT_TRUE(std::make_shared<FilterInvoicesRequest>()->filteredInvoices(*context).empty());
  });
}

TEST_F(FinanceStoreTest, NegativeAmountsAndUnknownCurrenciesAreSkippedKeepingWhatIsStored) {
  perform([&] {
    map("InvoiceEntity", R"({"finances": [
        {"id": 1, "price": 100, "fee": 10, "payout": 90, "currency": "EUR"},
        {"id": 2, "price": -5, "fee": -1, "currency": "EURO"}]})",
        "finances");
    auto invoices = all(InvoiceEntity::kEntityName);
    ASSERT_EQ(invoices.size(), 2u);
    auto* fresh = dynamic_cast<InvoiceEntity*>(invoices[1]);
    EXPECT_FALSE(fresh->hasPrice());
    EXPECT_FALSE(fresh->hasComission());
    EXPECT_FALSE(fresh->hasCurrency());

    map("InvoiceEntity", R"({"finances": [{"id": 1, "price": -100, "currency": "XYZ1",
        "payout": 95}]})",
        "finances");
    auto* stored = dynamic_cast<InvoiceEntity*>(invoices[0]);
    EXPECT_DOUBLE_EQ(stored->price(), 100);
    EXPECT_EQ(stored->currency(), "EUR");
    EXPECT_DOUBLE_EQ(stored->trainerPayout(), 95) << "valid values of the same payload apply";

    map("PayoutEntity", R"({"finance_stat_by_currency": [{"currency": "USD", "amount": -3}]})",
        "finance_stat_by_currency");
    ASSERT_EQ(PayoutEntity::payouts(*context).size(), 1u);
    EXPECT_FALSE(PayoutEntity::payouts(*context)[0]->hasAmount());
  });
  EXPECT_TRUE(isKnownCurrencyCode("RUB"));
  EXPECT_FALSE(isKnownCurrencyCode("rub"));
  EXPECT_FALSE(isKnownCurrencyCode("XXXX"));
}

TEST(FinanceReplies, CardPageAddressIsReadAsAUrl) {
  auto reply = std::make_shared<AddCardResponse>();
  EXPECT_FALSE(reply->url().has_value());
  reply->setUrlString("https://pay.example.com/card?session=a%20b");
  EXPECT_EQ(reply->url(), "https://pay.example.com/card?session=a%20b");
  for (const char* malformed : {"", "https://pay example.com", "1http://x", "http://x/%zz"}) {
    reply->setUrlString(malformed);
    EXPECT_FALSE(reply->url().has_value()) << malformed;
  }
}

}  // namespace
}  // namespace dm::test
