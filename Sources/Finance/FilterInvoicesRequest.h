// The service type invoices are filtered by, sent to the server and applied to stored invoices.
#pragma once

#include <vector>

#include "Finance/FilterInvoicesRequestGenerated.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

class InvoiceEntity;
class ManagedObjectContext;

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class FilterInvoicesRequest : public FilterInvoicesRequestGenerated {
  DM_RECORD_OBJECT(FilterInvoicesRequest)

 public:
  // "serviceTypeString LIKE <code>": the stored invoices of this request's service type (the
  // code may carry * and ? wildcards; an absent code matches no invoice).
  Predicate filterPredicate() const;
  // The stored invoices the filter keeps, newest first; on `context`'s queue, owned by it.
  // Failures are logged and give the empty list.
  std::vector<InvoiceEntity*> filteredInvoices(ManagedObjectContext& context) const;
};

}  // namespace dm
