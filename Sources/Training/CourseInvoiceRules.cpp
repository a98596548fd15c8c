// The commercial rules of a course over its invoice.
#include "Training/CourseInvoiceRules.h"

#include "Finance/InvoiceEntity.h"
#include "Mapping/Enumerations/Enumerations.h"
#include "Training/TrainingCourseEntity.h"

namespace dm {

namespace {

constexpr int kCourseDraft = static_cast<int>(CourseStatus::Draft);
constexpr int kCoursePublished = static_cast<int>(CourseStatus::Published);
constexpr int kCourseReceived = static_cast<int>(CourseStatus::Received);
constexpr int kPaid = static_cast<int>(PaymentStatus::Paid);
constexpr int kPaidByClient = static_cast<int>(PaymentStatus::PaidByClient);
constexpr int kClientNotConfirmed = static_cast<int>(PaymentStatus::ClientNotConfirmed);
constexpr int kMonthly = static_cast<int>(ServiceType::Monthly);

bool publishedOrReceived(const CourseInvoiceState& s) {
  return s.courseStatus == kCoursePublished || s.courseStatus == kCourseReceived;
}

bool activeToInFuture(const CourseInvoiceState& s) {
  return s.activeTo && *s.activeTo > s.now;
}

}  // namespace

CourseInvoiceState CourseInvoiceState::of(const TrainingCourseEntity& course, Date now) {
  CourseInvoiceState state;
  state.now = now;
  if (auto status = course.status()) state.courseStatus = static_cast<int>(*status);
  if (course.hasActiveTo()) state.activeTo = course.activeTo();
  if (auto* invoice = course.invoice()) {
    state.hasInvoice = true;
    if (auto status = invoice->status()) state.invoiceStatus = static_cast<int>(*status);
    if (auto type = invoice->serviceType()) state.serviceType = static_cast<int>(*type);
  }
  return state;
}

namespace course_invoice_rules {

bool notExpired(const CourseInvoiceState& s) {
  return activeToInFuture(s);
}

bool canBePublished(const CourseInvoiceState& s) {
  return s.courseStatus == kCourseDraft && s.invoiceStatus == kPaid &&
         (activeToInFuture(s) || s.serviceType == kMonthly);
}

bool needsNewInvoice(const CourseInvoiceState& s) {
  return s.activeTo && *s.activeTo < s.now && s.invoiceStatus == kPaid && s.serviceType == kMonthly;
}

bool serviceWasntMade(const CourseInvoiceState& s) {
  if (s.serviceType == kMonthly || !s.activeTo) return false;
  return *s.activeTo < s.now;
}

bool isPending(const CourseInvoiceState& s) {
  return canBePublished(s) || s.invoiceStatus == kPaidByClient;
}

bool canMakeNewInvoice(const CourseInvoiceState& s) {
  return publishedOrReceived(s) && s.activeTo &&
         s.activeTo->timeIntervalSinceDate(s.now) <= interval5Days && s.invoiceStatus == kPaid &&
         s.serviceType == kMonthly;
}

int placeholderType(const CourseInvoiceState& s) {
  if (!s.hasInvoice) return 0;
  if (needsNewInvoice(s) && s.invoiceStatus == kPaid) return 1;
  if (serviceWasntMade(s)) return publishedOrReceived(s) ? 0 : 2;
  if (s.invoiceStatus != kPaid) return 1;
  if (!publishedOrReceived(s)) return 2;
  return 0;
}

bool canBeOpenedByCoach(const CourseInvoiceState& s) {
  bool needsInvoice = needsNewInvoice(s);
  if (needsInvoice && s.invoiceStatus == kPaid) return false;
  if (s.invoiceStatus != kPaidByClient && s.invoiceStatus != kClientNotConfirmed &&
      s.serviceType == kMonthly && (activeToInFuture(s) || s.courseStatus == kCourseDraft))
    return true;
  if (publishedOrReceived(s) && !needsInvoice && s.serviceType == kMonthly) return true;
  return s.invoiceStatus == kPaid && !serviceWasntMade(s);
}

}  // namespace course_invoice_rules
}  // namespace dm
