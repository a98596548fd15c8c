// Feed post records.
#include "Social/FeedPostEntity.h"

#include <algorithm>

#include "Mapping/EntityStatus.h"
#include "Platform/Foundation/Directories.h"
#include "Social/FeedPostLikeEntity.h"
#include "Social/FeedPostMediaEntity.h"

namespace dm {

namespace {

bool endsWith(const std::string& text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

std::vector<FeedPostMediaEntity*> FeedPostEntity::mediasOrdered() const {
  const auto deleted = EntityStatusMappings().codeForEnum(EntityStatus::Deleted);
  std::vector<FeedPostMediaEntity*> out;
  for (FeedPostMediaEntity* media : medias()) {
    if (!media || media->isDeleted()) continue;
    if (media->entityStatusString() == deleted) continue;
    out.push_back(media);
  }
  std::stable_sort(out.begin(), out.end(),
                   [](auto* a, auto* b) { return a->sequence() < b->sequence(); });
  return out;
}

bool FeedPostEntity::hasVideo() const {
  auto ordered = mediasOrdered();
  return !ordered.empty() && ordered.front()->isVideo();
}

std::string FeedPostEntity::mediaPreviewURL() const {
  auto ordered = mediasOrdered();
  return ordered.empty() ? std::string() : ordered.front()->previewURL();
}

std::optional<double> FeedPostEntity::previewAspectRatio() const {
  auto ordered = mediasOrdered();
  if (ordered.empty()) return std::nullopt;
  double stored = FeedPostEntityGenerated::previewAspectRatio();
  if (stored != 0) return stored;
  double ratio = ordered.front()->aspectRatio();
  if (ratio == 0 && !ordered.front()->isVideo()) return stored;
  return ratio != 0 ? ratio : kUnknownVideoAspectRatio;
}

void FeedPostEntity::setPreviewAspectRatio(double ratio) {
  if (hasAttachment()) FeedPostEntityGenerated::setPreviewAspectRatio(ratio);
}

std::string FeedPostEntity::videoURL() const {
  auto ordered = mediasOrdered();
  if (ordered.empty()) return {};
  return ordered.front()->fullMediaURLString();
}

std::string videoPreviewPath(std::string path) {
  if (endsWith(path, "mp4")) path.resize(path.size() - std::min<std::size_t>(4, path.size()));
  if (!endsWith(path, "jpg")) path += ".jpg";
  return path;
}

std::string FeedPostEntity::videoPreviewURL() const {
  auto ordered = mediasOrdered();
  if (ordered.empty() || ordered.front()->mediaUrl().empty()) return {};
  std::string path = videoPreviewPath(ordered.front()->mediaUrl());
  // The post's own identifier decides, as the server sends previews only for sent posts.
  if (entityID() == 0) {
    return fileUrlForPath((Directories::shared()->documentsDirectory() / path).string());
  }
  return path;
}

bool FeedPostEntity::showLikes() const {
  if (likesCount() == 1) return firstLiked() != nullptr;
  return likesCount() > 0;
}

bool FeedPostEntity::showDislikes() const {
  if (dislikesCount() == 1 && firstDisliked() == nullptr) return false;
  return dislikesCount() >= 1 && permittedDislike();
}

}  // namespace dm
