// `dmctl feed`: the stored feed posts with their media and counts, as `dmctl map` stored them.
#include <cstdio>

#include "DataModel.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Social/FeedPostEntity.h"
#include "Social/FeedPostMediaEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

void run(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::FeedPostEntity::kEntityName));
    request.sortDescriptors = {{"createdAt", false}, {"entityID", false}};
    for (auto* object : context->executeFetchRequest(request)) {
      auto* post = dynamic_cast<dm::FeedPostEntity*>(object);
      if (!post) continue;
      std::printf("%-8lld likes %-4lld dislikes %-4lld %s\n",
                  static_cast<long long>(post->entityID()),
                  static_cast<long long>(post->likesCount()),
                  static_cast<long long>(post->dislikesCount()), post->body().c_str());
      for (auto* media : post->mediasOrdered()) {
        std::printf("  %-5s %5.0fx%-5.0f %s\n", media->mediaType().c_str(), media->width(),
                    media->height(), media->mediaUrl().c_str());
      }
    }
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  auto* command = app.add_subcommand("feed", "Show stored feed posts with media and counts");
  command->callback([&options] { run(options); });
}

const CommandRegistration registration("feed", &setup);

}  // namespace
}  // namespace dmctl
