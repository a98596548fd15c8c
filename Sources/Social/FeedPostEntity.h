// One feed post: its live media in order, the preview it shows and which controls it offers.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Social/FeedPostEntityGenerated.h"

namespace dm {

class FeedPostMediaEntity;

// Threads and ownership as ManagedObject: use on the owning context's queue.
class FeedPostEntity : public FeedPostEntityGenerated {
 public:
  // The proportion shown for a video whose size is unknown.
  static constexpr double kUnknownVideoAspectRatio = 0.75;

  // The media not marked deleted, by sequence.
  std::vector<FeedPostMediaEntity*> mediasOrdered() const;
  bool hasAttachment() const { return !mediasOrdered().empty(); }
  bool hasVideo() const;
  std::string mediaPreviewURL() const;

  // Nothing without an attachment; else the stored ratio, or the first media's, or 0.75 for
  // a video of unknown size.
  std::optional<double> previewAspectRatio() const;
  // Stored only while the post has an attachment.
  void setPreviewAspectRatio(double ratio);

  // The first media's address: the server's once uploaded, else the local file's.
  std::string videoURL() const;
  // The still image beside the first media ("clip.mp4" -> "clip.jpg"); "" without media.
  std::string videoPreviewURL() const;

  bool showLikes() const;
  bool showDislikes() const;
  bool showComments() const { return hasPermittedComment() ? permittedComment() : true; }
  bool isSubscribed() const { return hasLastActivityAt(); }
};

// The preview image path of a media path: a trailing "mp4" (with its dot) dropped, then
// ".jpg" appended unless it already ends in "jpg".
std::string videoPreviewPath(std::string path);

}  // namespace dm
