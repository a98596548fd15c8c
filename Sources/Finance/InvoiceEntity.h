// One invoice between a client and a coach, with the titles the invoice screens show.
#pragma once

#include <string>

#include "Finance/InvoiceEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject. Stored fields and class operations come from the
// store model (InvoiceEntityGenerated); this class adds the display titles.
class InvoiceEntity : public InvoiceEntityGenerated {
 public:
  // The payment-system code the client side creates invoices with.
  static constexpr const char* kPaymentSystem = "external";
  // The date pattern of the invoice title.
  static constexpr const char* kShortDatePattern = "dd.MM.yyyy";

  // The invoice number as the server writes it ("number"; stored as invoiceNumber, since
  // recalls keep a numeric field of that name in the same table).
  std::string number() const { return invoiceNumber(); }
  void setNumber(std::string value) { setInvoiceNumber(std::move(value)); }
  bool hasNumber() const { return hasInvoiceNumber(); }
  void clearNumber() { clearInvoiceNumber(); }

  // The service name and, in parentheses, the display key of its service type (returned
  // unlocalised), e.g. "Yoga (TrainerSideCourseCell.Service.Monthly)".
  std::string serviceTitleWithType() const;
  // "<invoice prefix><number in local digits> <of> <date>"; "" without number or date.
  std::string invoiceInfoTitle() const;
};

}  // namespace dm
