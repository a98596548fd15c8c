// Enumerations of the finance screens: how a course is sold, the state of a payment and
// the kind of a bank card.
//
// Every `<Type>Mappings` and `<Type>TitleMappings` function returns a table that is built
// once, on first use, under its own run-once guard; it is immutable afterwards and lives
// for the rest of the process, so any thread may call these and keep the reference.
// `TitleFor<Type>` never fails: a value without a title yields "".
#pragma once

#include <optional>
#include <string>

#include "Mapping/Enumerations/CodeTable.h"
#include "Mapping/ImageProvider.h"

namespace dm {

enum class ServiceType : int { OneTime = 1, Monthly = 2 };

// "one_time", "monthly".
const CodeTable& ServiceTypeMappings();
// Display keys, returned unlocalised: the caller passes them to the localisation lookup.
const TitleTable& ServiceTypeTitleMappings();
std::string TitleForServiceType(int value);

// The values do not follow the order of the codes on the server; they are fixed as they
// are because stored records and the screens use them.
enum class PaymentStatus : int {
  NotPaid = 1,
  Pending = 2,
  Paid = 3,
  Canceled = 4,
  Error = 5,
  PaidByClient = 6,
  ClientNotConfirmed = 7
};

const CodeTable& PaymentStatusMappings();
// Display keys, returned unlocalised.
const TitleTable& PaymentStatusTitleMappings();
std::string TitleForPaymentStatus(int value);

enum class CardType : int { Visa = 0, Mastercard = 1 };

// "Visa", "Mastercard".
const CodeTable& CardTypeMappings();
// The title of each card type is its code, as stored.
const TitleTable& CardTypeTitleMappings();
std::string TitleForCardType(int value);

// The card's logo: the asset named after the card type, resolved through
// ImageProvider::shared(). Nothing for a value outside the table or when the provider
// has no such asset. Any thread.
std::optional<ImageHandle> ImageForCardType(int value);

}  // namespace dm
