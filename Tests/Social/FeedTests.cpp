// Feed posts: live media, preview proportions and addresses, controls, like names (a feed
// page mapped and read back: PeopleFixturesTests).
#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Profile/ProfileTestSupport.h"
#include "Social/FeedPostEntity.h"
#include "Social/FeedPostLikeEntity.h"
#include "Social/FeedPostLikeFirstEntity.h"
#include "Social/FeedPostMediaEntity.h"
#include "Social/PhotoAddRequest.h"

namespace dm::test {
namespace {

class FeedStoreTest : public ProfileStoreTest {
 protected:
  FeedPostMediaEntity* addMedia(FeedPostEntity* post, const char* type, double width, double height,
                                std::int64_t sequence) {
    auto* media = insert<FeedPostMediaEntity>();
    media->setMediaType(type);
    media->setWidth(width);
    media->setHeight(height);
    media->setSequence(sequence);
    media->setPost(post);
    return media;
  }
};

TEST_F(FeedStoreTest, PreviewAspectRatioRules) {
  perform([&] {
    auto* post = insert<FeedPostEntity>();
    post->setPreviewAspectRatio(1.2);
    EXPECT_EQ(post->previewAspectRatio(), std::nullopt) << "no attachment: nothing stored";
    auto* only = addMedia(post, kFeedPostMediaEntityTypePhoto, 0, 0, 0);
    EXPECT_EQ(post->previewAspectRatio(), 0.0) << "a photo of unknown size";
    only->setEntityStatus(EntityStatus::Deleted);
    EXPECT_TRUE(post->mediasOrdered().empty()) << "deleted media are not shown";
    EXPECT_FALSE(post->hasAttachment());
    EXPECT_EQ(post->previewAspectRatio(), std::nullopt);
    addMedia(post, kFeedPostMediaEntityTypePhoto, 1920, 1080, 1);
    EXPECT_DOUBLE_EQ(*post->previewAspectRatio(), 0.5625);
    post->setPreviewAspectRatio(1.5);
    EXPECT_DOUBLE_EQ(*post->previewAspectRatio(), 1.5);
  });
}

TEST_F(FeedStoreTest, MediaNotYetUploadedReadItsLocalFile) {
  perform([&] {
    auto documents = Directories::shared()->documentsDirectory();
    std::filesystem::create_directories(documents / "feed");
    writeFile(documents / "feed" / "new.jpg", std::string("\xff\xd8jpeg", 6));
    auto* media = insert<FeedPostMediaEntity>();
    media->setMediaUrl("feed/new.jpg");
    EXPECT_EQ(media->data(), std::string("\xff\xd8jpeg", 6));
    media->setMediaUrl("feed/missing.jpg");
    EXPECT_FALSE(media->data().has_value());
    media->setEntityID(5);
    media->setMediaUrl("https://media.example.com/feed/new.jpg");
    EXPECT_FALSE(media->data().has_value()) << "an uploaded item is read from the server";
  });
}

TEST(FeedPreviewPaths, VideoExtensionBecomesJpg) {
  EXPECT_EQ(videoPreviewPath("clip.mp4"), "clip.jpg");
  EXPECT_EQ(videoPreviewPath("clip.jpg"), "clip.jpg");
  EXPECT_EQ(videoPreviewPath("clip.mov"), "clip.mov.jpg");
}

TEST_F(FeedStoreTest, ControlsFollowCountsFirstLikesAndPermissions) {
  perform([&] {
    auto* post = insert<FeedPostEntity>();
    EXPECT_TRUE(post->showComments());
    post->setPermittedComment(false);
    EXPECT_FALSE(post->showComments());
    post->setLikesCount(1);
    EXPECT_FALSE(post->showLikes());
    post->setFirstLiked(insert<FeedPostLikeFirstEntity>());
    EXPECT_TRUE(post->showLikes());
    post->setDislikesCount(2);
    EXPECT_FALSE(post->showDislikes()) << "dislikes not permitted";
    post->setPermittedDislike(true);
    EXPECT_TRUE(post->showDislikes());
  });
}

TEST(FeedLikeNames, OrderFollowsTheLanguage) {
  EXPECT_EQ(likeDisplayName("A", "B", "ko"), "B A");
  EXPECT_EQ(likeDisplayName("A", "B", "en"), "A B");
  EXPECT_EQ(likeDisplayName("A", "", "ko"), "A");
  EXPECT_EQ(likeDisplayName("", "B", "en"), "B");
}

TEST(PhotoRequests, ImageIsKeptAsItsJpegEncoding) {
  RawImage image;
  image.width = 16;
  image.height = 8;
  image.channels = 3;
  for (int i = 0; i < image.width * image.height; ++i) {
    image.pixels.insert(image.pixels.end(),
                        {static_cast<std::uint8_t>(i * 7), static_cast<std::uint8_t>(255 - i), 90});
  }
  auto request = std::make_shared<PhotoAddRequest>();
  ASSERT_TRUE(request->setImage(image));
  ASSERT_TRUE(request->data().isString());
  EXPECT_EQ(request->data().asString().substr(0, 2), "\xFF\xD8") << "JPEG start of image";
  auto decoded = request->image();
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->width, 16);
  EXPECT_EQ(decoded->height, 8);
  EXPECT_NE(decoded->pixels, image.pixels) << "recompressed, not the bytes first given";

  request->setData(RecordValue("not a jpeg"));
  EXPECT_FALSE(request->image().has_value());
  RawImage broken;
  EXPECT_FALSE(request->setImage(broken));
  EXPECT_FALSE(request->hasData());
}

}  // namespace
}  // namespace dm::test
