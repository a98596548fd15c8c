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
    EXPECT_DOUBLE_EQ(m->rightHip(), 56);
    EXPECT_EQ(m->trainer(), trainer);
    auto photos = m->photosOrdered();
    ASSERT_EQ(photos.size(), 2u);
    EXPECT_EQ(photos[0]->photo(), "m/1.jpg");
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

TEST_F(MeasurementStoreTest, PhotoDeleteRequestAndCopiesThatStandAlone) {
  perform([&] {
    auto* photo = insert<ProfileCommonPhotoEntity>();
    photo->setEntityID(31);
    photo->setSequence(4);
    photo->setPhoto("progress/31.jpg");
    auto remove = ProgressPhotoAddRequest::deleteRequestWithPhotoEntity(*photo);
    EXPECT_EQ(remove->serialized().toJson(), nlohmann::json::parse(
                                                 R"({"photo": {"sequence": 4, "id": 31,
                                                     "status": "deleted"}})"));

    auto* m = insert<MeasurementEntity>();
    m->setEntityID(77);
    m->setWeight(80);
    m->setDate(Date(1772352000.0));
    m->addPhotosObject(photo);
    context->save();
    EXPECT_EQ(MeasurementEntity::entity(*context, 77), m);
    EXPECT_EQ(MeasurementEntity::entity(*context, 78), nullptr);
    auto update = MeasurementUpdateRequest::requestWithEntity(*m)->copyWithEntity();
    EXPECT_EQ(update->entity(), m);
    EXPECT_TRUE(update->hasDate()) << "local fields are copied too";
    EXPECT_EQ(update->photos().asArray().size(), 1u);
    auto request = std::make_shared<MeasurementAddRequest>();
    request->fillDataWith(m);
    auto copied = request->createCopy();
    ASSERT_NE(copied, nullptr);
    EXPECT_TRUE(copied->isEqual(*request));
    auto copiedPhoto = std::dynamic_pointer_cast<ProgressPhotoAddRequest>(
        copied->photos().asArray().at(0).asRecord());
    ASSERT_NE(copiedPhoto, nullptr);
    copiedPhoto->setStatus(EntityStatus::Deleted);
    copied->setWeight(81);
    EXPECT_FALSE(copied->isEqual(*request));
    EXPECT_DOUBLE_EQ(request->weight(), 80);
    auto original = std::dynamic_pointer_cast<ProgressPhotoAddRequest>(
        request->photos().asArray().at(0).asRecord());
    EXPECT_FALSE(original->hasStatusString()) << "the copy's photos are its own";
  });
}

TEST(MeasurementUnits, ValuesEnteredInImperialUnitsAreSentMetric) {
  UnitsHelper& shared = UnitsHelper::sharedInstance();
  shared.setPrefs(SettingsStore::inMemory());
  shared.setWeightUnitsValue(1);
  shared.setHeightUnitsValue(1);
  auto request = std::make_shared<MeasurementAddRequest>();
  request->setWeightInUnits(176.37);       // pounds
  request->setLengthInUnits("waist", 32);  // inches
  request->setLengthInUnits("height", 70);
  EXPECT_NEAR(request->weight(), 80.0, 0.01);
  EXPECT_NEAR(request->waist(), 81.28, 0.01);
  EXPECT_NEAR(request->height(), 177.8, 0.01);
  shared.setWeightUnitsValue(0);
  shared.setHeightUnitsValue(0);
  request->setWeightInUnits(80);
  request->setLengthInUnits("waist", 81);
  EXPECT_DOUBLE_EQ(request->weight(), 80);
  EXPECT_DOUBLE_EQ(request->waist(), 81);
  shared.setPrefs(nullptr);
}

}  // namespace
}  // namespace dm::test
