// Invoice titles.
#include "Finance/InvoiceEntity.h"

#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"

namespace dm {

std::string InvoiceEntity::serviceTitleWithType() const {
  std::string typeTitle;
  if (auto type = serviceType()) typeTitle = TitleForServiceType(static_cast<int>(*type));
  return serviceName() + " (" + typeTitle + ")";
}

std::string InvoiceEntity::invoiceInfoTitle() const {
  if (!hasNumber() || !hasCreated_at()) return {};
  std::string prefix = localizedString("MyTrainingsScreen.invoice№").value_or("№");
  std::string of = localizedString("MyTrainingsScreen.of").value_or("of");
  return prefix + localizedDigits(number()) + " " + of + " " +
         stringFromDate(created_at(), kShortDatePattern);
}

}  // namespace dm
