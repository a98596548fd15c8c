// The commercial rules of a course: whether it may be published, needs or may get a new
// invoice, was paid for but not served, is pending, which placeholder its screen shows and
// whether the coach may open it. Pure functions of the course and invoice state, so the
// rules can be checked without a store.
#pragma once

#include <optional>

#include "Platform/Foundation/Date.h"

namespace dm {

class TrainingCourseEntity;

// What the rules read. Statuses are the integer values of CourseStatusMappings and
// PaymentStatusMappings, the service type that of ServiceTypeMappings; absent codes are 0.
struct CourseInvoiceState {
  int courseStatus = 0;
  std::optional<Date> activeTo;
  bool hasInvoice = false;
  int invoiceStatus = 0;
  int serviceType = 0;  // 0 without an invoice
  Date now;

  static CourseInvoiceState of(const TrainingCourseEntity& course, Date now);
};

namespace course_invoice_rules {

bool notExpired(const CourseInvoiceState& state);
// Draft course with a paid invoice, still active or paid monthly.
bool canBePublished(const CourseInvoiceState& state);
// The paid monthly period is over.
bool needsNewInvoice(const CourseInvoiceState& state);
// A one-time service whose paid period ran out.
bool serviceWasntMade(const CourseInvoiceState& state);
// Publishable, or paid by the client and waiting for the coach.
bool isPending(const CourseInvoiceState& state);
// A published or received monthly course whose paid period ends within five days (or did).
bool canMakeNewInvoice(const CourseInvoiceState& state);
// 0 none, 1 invoice to pay, 2 course not ready.
int placeholderType(const CourseInvoiceState& state);
bool canBeOpenedByCoach(const CourseInvoiceState& state);

}  // namespace course_invoice_rules
}  // namespace dm
