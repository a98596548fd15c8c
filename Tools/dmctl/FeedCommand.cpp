// `dmctl feed`: the stored feed posts with their media and counts, as `dmctl map` stored them;
// --json for scripts.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "DataModel.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Profile/UserEntity.h"
#include "Social/FeedPostEntity.h"
#include "Social/FeedPostMediaEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"

namespace dmctl {
namespace {

nlohmann::json postJson(const dm::FeedPostEntity& post) {
  nlohmann::json medias = nlohmann::json::array();
  for (auto* media : post.mediasOrdered()) {
    medias.push_back({{"type", media->mediaType()},
                      {"url", media->fullMediaURLString()},
                      {"previewUrl", media->previewURL()},
                      {"width", media->width()},
                      {"height", media->height()},
                      {"aspectRatio", media->aspectRatio()}});
  }
  nlohmann::json out = {{"id", post.entityID()},
                        {"guid", post.guid()},
                        {"body", post.body()},
                        {"likes", post.likesCount()},
                        {"dislikes", post.dislikesCount()},
                        {"comments", post.commentsCount()},
                        {"showLikes", post.showLikes()},
                        {"showDislikes", post.showDislikes()},
                        {"showComments", post.showComments()},
                        {"medias", medias}};
  auto ratio = post.previewAspectRatio();
  out["previewAspectRatio"] = ratio ? nlohmann::json(*ratio) : nlohmann::json();
  out["author"] = post.user() ? nlohmann::json(post.user()->fullName()) : nlohmann::json();
  return out;
}

void run(const GlobalOptions& options) {
  auto context = openMainStoreForReading(options);
  context->performAndWait([&] {
    dm::FetchRequest request(context->model().entityNamed(dm::FeedPostEntity::kEntityName));
    request.predicate =
        dm::Predicate::parse("entityStatusString = NULL OR entityStatusString != %@",
                             {dm::Value(std::string("deleted"))});
    request.sortDescriptors = {{"createdAt", false}, {"entityID", false}};
    nlohmann::json list = nlohmann::json::array();
    for (auto* object : context->executeFetchRequest(request)) {
      auto* post = dynamic_cast<dm::FeedPostEntity*>(object);
      if (!post) continue;
      if (options.json) {
        list.push_back(postJson(*post));
        continue;
      }
      std::printf("%-8lld %-20s likes %-4lld dislikes %-4lld comments %-4lld %s\n",
                  static_cast<long long>(post->entityID()),
                  post->user() ? post->user()->fullName().c_str() : "",
                  static_cast<long long>(post->likesCount()),
                  static_cast<long long>(post->dislikesCount()),
                  static_cast<long long>(post->commentsCount()), post->body().c_str());
      for (auto* media : post->mediasOrdered()) {
        std::printf("  %-5s %5.0fx%-5.0f %s\n", media->mediaType().c_str(), media->width(),
                    media->height(), media->fullMediaURLString().c_str());
      }
    }
    if (options.json) std::printf("%s\n", list.dump(2).c_str());
  });
}

void setup(CLI::App& app, const GlobalOptions& options) {
  auto* command = app.add_subcommand("feed", "Show stored feed posts with media and counts");
  command->callback([&options] { run(options); });
}

const CommandRegistration registration("feed", &setup);

}  // namespace
}  // namespace dmctl
