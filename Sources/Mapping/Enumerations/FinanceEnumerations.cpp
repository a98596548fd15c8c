// Tables of the finance enumerations and the card logo lookup.
#include "Mapping/Enumerations/FinanceEnumerations.h"

namespace dm {

const CodeTable& ServiceTypeMappings() {
  static const CodeTable table{{1, "one_time"}, {2, "monthly"}};
  return table;
}

const TitleTable& ServiceTypeTitleMappings() {
  static const TitleTable table = storedTitleTable(
      {{1, "TrainerSideCourseCell.Service.OneTime"}, {2, "TrainerSideCourseCell.Service.Monthly"}});
  return table;
}

std::string TitleForServiceType(int value) {
  return titleIn(ServiceTypeTitleMappings(), value);
}

const CodeTable& PaymentStatusMappings() {
  static const CodeTable table{{1, "not_paid"},
                               {2, "pending"},
                               {3, "paid"},
                               {4, "canceled"},
                               {5, "error"},
                               {6, "paid_by_client"},
                               {7, "client_not_confirmed"}};
  return table;
}

const TitleTable& PaymentStatusTitleMappings() {
  static const TitleTable table =
      storedTitleTable({{1, "payment_status_not_paid"},
                        {2, "payment_status_pending"},
                        {3, "payment_status_paid"},
                        {4, "payment_status_canceled"},
                        {5, "payment_status_error"},
                        {6, "PaymentMethods.Status.WaitingPaymentConfirmation"},
                        {7, "PaymentMethods.Status.WaitingForClientPayment"}});
  return table;
}

std::string TitleForPaymentStatus(int value) {
  return titleIn(PaymentStatusTitleMappings(), value);
}

const CodeTable& CardTypeMappings() {
  static const CodeTable table{{0, "Visa"}, {1, "Mastercard"}};
  return table;
}

const TitleTable& CardTypeTitleMappings() {
  static const TitleTable table = storedTitleTable({{0, "Visa"}, {1, "Mastercard"}});
  return table;
}

std::string TitleForCardType(int value) {
  return titleIn(CardTypeTitleMappings(), value);
}

namespace {

// Asset names of the card logos; kept apart from the titles because the titles are
// display texts and may change without renaming the assets.
const TitleTable& cardImageNames() {
  static const TitleTable table = storedTitleTable({{0, "Visa"}, {1, "Mastercard"}});
  return table;
}

}  // namespace

std::optional<ImageHandle> ImageForCardType(int value) {
  const auto& names = cardImageNames();
  auto found = names.find(value);
  if (found == names.end()) return std::nullopt;
  return ImageProvider::shared()->imageNamed(found->second);
}

}  // namespace dm
