// Payment details requests built from stored details.
#include "Finance/PaymentDetailsAddRequest.h"

#include "Finance/PaymentDetailsEntity.h"

namespace dm {

std::shared_ptr<PaymentDetailsAddRequest> PaymentDetailsAddRequest::requestWithPaymentDetailsAdd(
    const PaymentDetailsEntity& details) {
  auto request = std::make_shared<PaymentDetailsAddRequest>();
  if (details.hasDetails()) request->setDetails(details.details());
  if (details.hasTitle()) request->setTitle(details.title());
  return request;
}

}  // namespace dm
