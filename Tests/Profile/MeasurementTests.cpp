// Measurements: the payload with thigh girths under their server names and ordered photos,
// the empty-value rule and the progress photo request.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Measurements/MeasurementAddRequest.h"
#include "Measurements/MeasurementEntity.h"
#include "Measurements/MeasurementUpdateRequest.h"
#include "Measurements/ProgressPhotoAddRequest.h"
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

TEST_F(MeasurementStoreTest, AddRequestFillsWithTheEmptyValueRuleAndSendsServerKeys) {
  perform([&] {
    auto* trainer = insert<UserEntity>();
    trainer->setEntityID(5);
    auto* m = insert<MeasurementEntity>();
    m->setWeight(0);
    m->setHeight(180);
    m->setWaist(0);
    m->setNeck(35);
    m->setLeftHip(55);
    m->setEverydayLoad(1.2);
    m->setMission("not copied");
    m->setDate(Date(1772352000.0));  // 2026-03-01 08:00 UTC
    m->setTrainer(trainer);

    auto request = std::make_shared<MeasurementAddRequest>();
    request->fillDataWith(nullptr);
    EXPECT_FALSE(request->hasWeight());
    request->fillDataWith(m);
    EXPECT_TRUE(request->hasWeight()) << "a weight of 0 is kept";
    EXPECT_FALSE(request->hasWaist()) << "a waist of 0 becomes absent";
    EXPECT_FALSE(request->hasMission());
    EXPECT_TRUE(request->hasDate());
    request->setDateString("2026-03-01");
    request->serializePhotos();
    EXPECT_EQ(request->serialized().toJson(), nlohmann::json::parse(R"({"measurement": {
        "weight": 0, "height": 180, "neck": 35, "left_thigh": 55, "everyday_load": 1.2,
        "trainerId": 5, "measured_at": "2026-03-01", "photos": []}})"));

    auto later = std::dynamic_pointer_cast<MeasurementAddRequest>(request->copy());
    ASSERT_NE(later, nullptr);
    later->setDate(Date(1772396400.0));  // 20:00 the same day
    EXPECT_TRUE(request->isEqual(*later));
    later->setNeck(36);
    EXPECT_FALSE(request->isEqual(*later));

    auto update = MeasurementUpdateRequest::requestWithEntity(*m);
    EXPECT_TRUE(update->hasWaist()) << "the update copies values as they are";
    EXPECT_EQ(update->mission(), "not copied");
    EXPECT_EQ(update->entity(), m);
    EXPECT_EQ(update->copyWithEntity()->entity(), m);
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
