// `dmctl finance invoices|wallet|payouts`: the finance records that `dmctl map` stored.
#include <cstdio>

#include "DataModel.h"
#include "Finance/InvoiceEntity.h"
#include "Finance/PayoutEntity.h"
#include "Finance/WalletEntity.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

std::vector<dm::ManagedObject*> fetchAll(dm::ManagedObjectContext& context, const char* entity,
                                         std::vector<dm::SortDescriptor> order) {
  dm::FetchRequest request(context.model().entityNamed(entity));
  request.sortDescriptors = std::move(order);
  return context.executeFetchRequest(request);
}

void run(const std::string& what, const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    if (what == "payouts") {
      for (auto* payout : dm::PayoutEntity::payouts(*context)) {
        std::printf("%-6s %12.2f\n", payout->currency().c_str(), payout->amount());
      }
    } else if (what == "wallet") {
      auto wallets = fetchAll(*context, dm::WalletEntity::kEntityName, {});
      auto* wallet = wallets.empty() ? nullptr : dynamic_cast<dm::WalletEntity*>(wallets[0]);
      if (!wallet) {
        std::printf("no wallet stored\n");
        return;
      }
      std::printf("paid    %12.2f\npending %12.2f\n", wallet->paidAmount(),
                  wallet->pendingAmount());
    } else {
      for (auto* object :
           fetchAll(*context, dm::InvoiceEntity::kEntityName, {{"created_at", false}})) {
        auto* invoice = dynamic_cast<dm::InvoiceEntity*>(object);
        if (!invoice) continue;
        std::printf("%-10s %-16s %10.2f %-4s %s\n", invoice->number().c_str(),
                    invoice->statusString().c_str(), invoice->price(), invoice->currency().c_str(),
                    invoice->serviceTitleWithType().c_str());
      }
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
