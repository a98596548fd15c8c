// One photo or video of a feed post, with the addresses and proportions the feed shows.
#pragma once

#include <optional>
#include <string>

#include "Social/FeedPostMediaEntityGenerated.h"

namespace dm {

// The media kinds as the server names them.
inline constexpr const char* kFeedPostMediaEntityTypeVideo = "video";
inline constexpr const char* kFeedPostMediaEntityTypePhoto = "photo";

// Threads and ownership as ManagedObject: use on the owning context's queue.
class FeedPostMediaEntity : public FeedPostMediaEntityGenerated {
 public:
  // height / width; 0 while either is unknown (0).
  double aspectRatio() const;
  bool isVideo() const { return mediaType() == kFeedPostMediaEntityTypeVideo; }
  bool isUploaded() const { return entityID() != 0; }
  // "file://<documents>/<mediaUrl>": where an item not yet uploaded lies.
  std::string localFileUrl() const;
  // The server thumbnail once uploaded, else the local file.
  std::string previewURL() const;
  // mediaUrl once uploaded, else the local file's URL.
  std::string fullMediaURLString() const;
  // The bytes of the local file not yet uploaded; nothing for an uploaded item or a file that
  // cannot be read.
  std::optional<std::string> data() const;
};

// "file://" + path.
std::string fileUrlForPath(const std::string& path);

}  // namespace dm
