// Filtering stored invoices by service type.
#include "Finance/FilterInvoicesRequest.h"

#include <exception>
#include <string>

#include "Finance/InvoiceEntity.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm {

Predicate FilterInvoicesRequest::filterPredicate() const {
  if (!hasServiceTypeString()) return Predicate::falsePredicate();
  return Predicate::parse("%K like %@",
                          {Value(std::string("serviceTypeString")), Value(serviceTypeString())});
}

std::vector<InvoiceEntity*> FilterInvoicesRequest::filteredInvoices(
    ManagedObjectContext& context) const {
  std::vector<InvoiceEntity*> out;
  try {
    for (ManagedObject* object : ObjectStoreHelpers::findAllSorted(
             context, InvoiceEntity::kEntityName, "created_at", false, filterPredicate())) {
      if (auto* invoice = dynamic_cast<InvoiceEntity*>(object)) out.push_back(invoice);
    }
  } catch (const std::exception& error) {
    logWarning(std::string("FilterInvoicesRequest: cannot read invoices: ") + error.what());
  }
  return out;
}

}  // namespace dm
