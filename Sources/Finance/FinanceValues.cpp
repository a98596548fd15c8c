// Money value rules and the finance records' setters.
#include "Finance/FinanceValues.h"

#include <cmath>
#include <functional>
#include <set>

#include <unicode/ucurr.h>
#include <unicode/uenum.h>

#include "Finance/InvoiceEntity.h"
#include "Finance/PayoutEntity.h"
#include "Finance/WalletEntity.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"

namespace dm {

namespace {

const std::set<std::string, std::less<>>& knownCurrencies() {
  static const std::set<std::string, std::less<>> codes = [] {
    std::set<std::string, std::less<>> out;
    UErrorCode status = U_ZERO_ERROR;
    UEnumeration* all = ucurr_openISOCurrencies(UCURR_ALL, &status);
    if (U_FAILURE(status) || !all) {
      logWarning("Finance: the platform lists no currencies");
      return out;
    }
    int32_t length = 0;
    while (const char* code = uenum_next(all, &length, &status)) {
      if (U_FAILURE(status)) break;
      out.emplace(code, static_cast<std::size_t>(length));
    }
    uenum_close(all);
    return out;
  }();
  return codes;
}

// A setter writing a money amount; null clears the field. An invalid amount is skipped like a
// value of the wrong type: a new record keeps it absent, a stored one keeps what it had.
template <class Record>
RecordSetter amountSetter(const char* field, void (Record::*write)(double),
                          void (Record::*clear)()) {
  return {field, AttributeType::Double, [field, write, clear](ManagedObject& m, const Value& v) {
            auto* record = dynamic_cast<Record*>(&m);
            if (!record) return;
            if (v.isNull()) {
              (record->*clear)();
            } else if (auto amount = validAmount(v.asDouble())) {
              (record->*write)(*amount);
            } else {
              logWarning(std::string("Finance: skipped ") + field + " " +
                         std::to_string(v.asDouble()) + ": not an amount");
            }
          }};
}

template <class Record>
RecordSetter currencySetter(void (Record::*write)(std::string), void (Record::*clear)()) {
  return {"currency", AttributeType::String, [write, clear](ManagedObject& m, const Value& v) {
            auto* record = dynamic_cast<Record*>(&m);
            if (!record) return;
            if (v.isNull()) {
              (record->*clear)();
            } else if (v.isString() && isKnownCurrencyCode(v.asString())) {
              (record->*write)(v.asString());
            } else {
              logWarning("Finance: skipped an unknown currency");
            }
          }};
}

}  // namespace

bool isKnownCurrencyCode(std::string_view code) {
  return code.size() == 3 && knownCurrencies().count(code) > 0;
}

std::optional<double> validAmount(double amount) {
  if (!std::isfinite(amount) || amount < 0) return std::nullopt;
  return amount;
}

void registerFinanceBehaviour() {
  ManagedObjectClasses::registerSetters(
      "InvoiceEntity",
      {amountSetter<InvoiceEntity>("price", &InvoiceEntity::setPrice, &InvoiceEntity::clearPrice),
       amountSetter<InvoiceEntity>("comission", &InvoiceEntity::setComission,
                                   &InvoiceEntity::clearComission),
       amountSetter<InvoiceEntity>("trainerPayout", &InvoiceEntity::setTrainerPayout,
                                   &InvoiceEntity::clearTrainerPayout),
       currencySetter<InvoiceEntity>(&InvoiceEntity::setCurrency, &InvoiceEntity::clearCurrency)});
  // A payout's currency is its identity, so it stays as the server names it.
  ManagedObjectClasses::registerSetters(
      "PayoutEntity",
      {amountSetter<PayoutEntity>("amount", &PayoutEntity::setAmount, &PayoutEntity::clearAmount)});
  ManagedObjectClasses::registerSetters(
      "WalletEntity", {amountSetter<WalletEntity>("paidAmount", &WalletEntity::setPaidAmount,
                                                  &WalletEntity::clearPaidAmount),
                       amountSetter<WalletEntity>("pendingAmount", &WalletEntity::setPendingAmount,
                                                  &WalletEntity::clearPendingAmount)});
}

}  // namespace dm
