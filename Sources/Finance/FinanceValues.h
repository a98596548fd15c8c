// Rules for the money values finance records take from payloads: amounts are never negative
// and currencies are ISO 4217 codes. Anything else is skipped: a new record has no value there
// (absent, shown as no value), a stored record keeps the value it had.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dm {

// True for an ISO 4217 currency code the platform knows ("EUR", "RUB"), upper case.
bool isKnownCurrencyCode(std::string_view code);
// The amount when it is a finite number not below 0; nothing otherwise.
std::optional<double> validAmount(double amount);

// Registers the setters through which mapped invoices, payouts and wallets take these rules.
// Called once from registerRecordClasses().
void registerFinanceBehaviour();

}  // namespace dm
