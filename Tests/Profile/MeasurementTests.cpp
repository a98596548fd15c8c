// Measurements: the payload with thigh girths under their server names and ordered photos,
// the empty-value rule and the progress photo request.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Measurements/ProgressPhotoAddRequest.h"
#include "Profile/MeasurementEntity.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/UserEntity.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

using MeasurementStoreTest = ProfileStoreTest;

TEST_F(MeasurementStoreTest, PayloadMapsGirthsTrainerAndOrderedLivePhotos) {
  perform([&] {
    auto* trainer = insert<UserEntity>();
    trainer->setEntityID(5);
    auto mapped = map("MeasurementEntity", R"({"measurement": {"id": 1,
        "measured_at": "2026-03-01T08:00:00Z", "trainer_id": 5, "trainer_fullname": "Coach",
        "left_thigh": 55.5, "right_thigh": 56, "fat_percentage": 18.5, "weight": 70.2,
        "everydayLoad": 1.4, "waist": 0, "neck": 35,
        "photos": [{"guid": "b", "id": 2, "photo": "m/2.jpg", "sequence": 2},
                   {"guid": "a", "id": 1, "photo": "m/1.jpg", "sequence": 1},
                   {"guid": "c", "id": 3, "photo": "m/3.jpg", "sequence": 0,
                    "status": "deleted"}]}})",
                      "measurement");
    ASSERT_EQ(mapped.size(), 1u);
    auto* m = dynamic_cast<MeasurementEntity*>(mapped[0]);
    ASSERT_NE(m, nullptr);
    EXPECT_DOUBLE_EQ(m->leftHip(), 55.5);
    EXPECT_DOUBLE_EQ(m->rightHip(), 56);
    EXPECT_DOUBLE_EQ(m->bodyFatPercentage(), 18.5);
    EXPECT_DOUBLE_EQ(m->everydayLoad(), 1.4);
    EXPECT_EQ(m->trainerName(), "Coach");
    EXPECT_EQ(m->trainer(), trainer);
    auto photos = m->photosOrdered();
    ASSERT_EQ(photos.size(), 2u);
    EXPECT_EQ(photos[0]->photo(), "m/1.jpg");
    EXPECT_EQ(photos[1]->photo(), "m/2.jpg");
    EXPECT_EQ(photos[0]->measurement(), m);

    EXPECT_TRUE(m->isEmptyValueForKey("waist"));
    EXPECT_FALSE(m->isEmptyValueForKey("neck"));
    EXPECT_TRUE(m->isEmptyValueForKey("chest")) << "absent";
    EXPECT_TRUE(m->isEmptyValueForKey("mission")) << "absent text";
    m->setMission("");
    EXPECT_TRUE(m->isEmptyValueForKey("mission"));
  });
}

TEST(ProgressPhotoRequests, SendsOrderUnderSequenceWithThePhotoUploadKeys) {
  auto request = std::make_shared<ProgressPhotoAddRequest>();
  request->setType(2);
  request->setEntityID(9);
  request->setStatus(EntityStatus::Deleted);
  EXPECT_EQ(request->serialized().toJson(),
            nlohmann::json::parse(R"({"photo": {"sequence": 2, "id": 9, "status": "deleted"}})"));
}

}  // namespace
}  // namespace dm::test
