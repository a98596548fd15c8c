// `dmctl finance invoices|wallet|payouts`: the finance records that `dmctl map` stored, with
// display texts in the interface language (global --language) and --json for scripts.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Finance/InvoiceEntity.h"
#include "Finance/PayoutEntity.h"
#include "Finance/WalletEntity.h"
#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

std::string text(const std::string& key) {
  return dm::localizedString(key).value_or(key);
}

// "Coaching (Monthly)": the service name with its localised type.
std::string serviceTitle(const dm::InvoiceEntity& invoice) {
  std::string title = invoice.serviceName();
  if (auto type = invoice.serviceType()) {
    title += " (" + text(dm::TitleForServiceType(static_cast<int>(*type))) + ")";
  }
  return title;
}

// `text` padded with blanks to `width` characters (UTF-8 aware, so Russian titles line up).
std::string padded(std::string text, std::size_t width) {
  std::size_t characters = 0;
  for (unsigned char c : text) characters += (c & 0xC0) != 0x80;
  if (characters < width) text.append(width - characters, ' ');
  return text;
}

std::string statusTitle(const dm::InvoiceEntity& invoice) {
  auto status = invoice.status();
  return status ? text(dm::TitleForPaymentStatus(static_cast<int>(*status)))
                : invoice.statusString();
}

nlohmann::json invoiceJson(const dm::InvoiceEntity& invoice) {
  nlohmann::json out = {{"id", invoice.entityID()},
                        {"number", invoice.number()},
                        {"status", invoice.statusString()},
                        {"statusTitle", statusTitle(invoice)},
                        {"serviceName", invoice.serviceName()},
                        {"serviceType", invoice.serviceTypeString()},
                        {"serviceTitle", serviceTitle(invoice)},
                        {"price", invoice.price()},
                        {"fee", invoice.comission()},
                        {"payout", invoice.trainerPayout()},
                        {"currency", invoice.currency()},
                        {"title", invoice.invoiceInfoTitle()}};
  out["createdAt"] = invoice.hasCreated_at()
                         ? nlohmann::json(dm::serverDateTimeString(invoice.created_at()))
                         : nlohmann::json();
  return out;
}

void showInvoices(dm::ManagedObjectContext& context, bool json) {
  nlohmann::json list = nlohmann::json::array();
  for (auto* object : dm::ObjectStoreHelpers::findAllSorted(context, dm::InvoiceEntity::kEntityName,
                                                            "created_at", false)) {
    auto* invoice = dynamic_cast<dm::InvoiceEntity*>(object);
    if (!invoice) continue;
    if (json) {
      list.push_back(invoiceJson(*invoice));
      continue;
    }
    std::printf("%-10s %s %10.2f %-4s %s\n", invoice->number().c_str(),
                padded(statusTitle(*invoice), 34).c_str(), invoice->price(),
                invoice->currency().c_str(), serviceTitle(*invoice).c_str());
  }
  if (json) std::printf("%s\n", list.dump(2).c_str());
}

void showWallet(dm::ManagedObjectContext& context, bool json) {
  dm::WalletEntity* wallet = dm::WalletEntity::wallet(context);
  if (json) {
    nlohmann::json out = wallet ? nlohmann::json{{"paid", wallet->paidAmount()},
                                                 {"pending", wallet->pendingAmount()}}
                                : nlohmann::json();
    std::printf("%s\n", out.dump(2).c_str());
  } else if (!wallet) {
    std::printf("no wallet stored\n");
  } else {
    std::printf("paid    %12.2f\npending %12.2f\n", wallet->paidAmount(), wallet->pendingAmount());
  }
}

void showPayouts(dm::ManagedObjectContext& context, bool json) {
  nlohmann::json list = nlohmann::json::array();
  for (auto* payout : dm::PayoutEntity::payouts(context)) {
    if (json) {
      list.push_back({{"currency", payout->currency()}, {"amount", payout->amount()}});
    } else {
      std::printf("%-6s %12.2f\n", payout->currency().c_str(), payout->amount());
    }
  }
  if (json) std::printf("%s\n", list.dump(2).c_str());
}

void run(const std::string& what, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    if (what == "payouts") {
      showPayouts(*context, options.json);
    } else if (what == "wallet") {
      showWallet(*context, options.json);
    } else {
      showInvoices(*context, options.json);
    }
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string what;
  auto* command = app.add_subcommand("finance", "Show stored invoices, the wallet or payouts");
  command->add_option("what", what, "invoices, wallet or payouts")
      ->required()
      ->check(CLI::IsMember({"invoices", "wallet", "payouts"}));
  command->callback([&options] { run(what, options); });
}

const CommandRegistration registration("finance", &setup);

}  // namespace
}  // namespace dmctl
