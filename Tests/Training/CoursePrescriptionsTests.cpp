// A course's pharmacy and sport-food lists mapped "for course N": records linked to the course,
// a later list replacing the earlier one without touching other courses, and every refusal
// leaving the file and the context as they were.
#include <set>

#include <gtest/gtest.h>

#include "Nutrition/PharmacyEntity.h"
#include "Nutrition/SportFoodEntity.h"
#include "Training/CoursePrescriptions.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

class CoursePrescriptionsTest : public TrainingStoreTest {
 protected:
  void SetUp() override {
    TrainingStoreTest::SetUp();
    perform([&] {
      map("TrainingCourseEntity",
          R"({"courses": [{"id": 7001, "name": "Strength"}, {"id": 7002, "name": "Cut"}]})",
          "courses");
    });
  }
  CoursePrescriptionsResult mapFor(std::int64_t courseId, CoursePrescriptionKind kind,
                                   const std::string& answer,
                                   const CoursePrescriptionsOptions& options = {}) {
    CoursePrescriptionsResult result;
    perform([&] { result = mapCoursePrescriptions(*context, courseId, kind, answer, options); });
    return result;
  }
  CoursePrescriptionsResult pharmacyFor(std::int64_t courseId, const std::string& answer) {
    return mapFor(courseId, CoursePrescriptionKind::Pharmacy, answer);
  }
  // The ids of the course's items of the relationship, read in the context.
  std::set<std::int64_t> itemsOf(std::int64_t courseId, const char* relationship) {
    std::set<std::int64_t> ids;
    perform([&] {
      auto* course = TrainingCourseEntity::entity(*context, courseId);
      for (ManagedObject* item : course->objectsForKey(relationship))
        ids.insert(item->valueForKey("entityID").asInt64());
    });
    return ids;
  }
  std::set<std::int64_t> pharmacyOf(std::int64_t courseId) {
    return itemsOf(courseId, "pharmacies");
  }
  std::size_t storedPharmacies() {
    std::size_t n = 0;
    perform([&] { n = all(PharmacyEntity::kEntityName).size(); });
    return n;
  }
};

TEST_F(CoursePrescriptionsTest, ListedRecordsBecomeTheCoursesAndReachTheFile) {
  auto result = pharmacyFor(7001, R"({"pharmacies": [
    {"id": 1, "post_pharmacy_id": 301, "useDate": "2026-11-20T20:00:00Z", "comment": "at night"},
    {"id": 2, "post_pharmacy_id": 302}, {"id": 1, "post_pharmacy_id": 301}]})");
  EXPECT_TRUE(result.committed);
  EXPECT_EQ(result.mapped, 2u);  // a record listed twice is one record
  EXPECT_EQ(result.inserted, 2u);
  EXPECT_EQ(result.removed, 0u);

  // One sport-food record may come alone under the singular key.
  auto sport = mapFor(7001, CoursePrescriptionKind::SportFood,
                      R"({"sport_food": {"id": 5, "post_sport_food_id": 401}})");
  EXPECT_EQ(sport.inserted, 1u);

  reopen();
  EXPECT_EQ(pharmacyOf(7001), (std::set<std::int64_t>{1, 2}));
  EXPECT_EQ(itemsOf(7001, "sportFoods"), (std::set<std::int64_t>{5}));
  EXPECT_TRUE(pharmacyOf(7002).empty());
  perform([&] {
    auto items = all(PharmacyEntity::kEntityName);
    ASSERT_EQ(items.size(), 2u);
    auto* first = dynamic_cast<PharmacyEntity*>(items[0]);
    ASSERT_NE(first->trainingCourse(), nullptr);
    EXPECT_EQ(first->trainingCourse()->entityID(), 7001);
    EXPECT_EQ(first->comment(), "at night");
    EXPECT_EQ(first->post_pharmacy_id(), 301);
  });
  // The same list again changes nothing.
  auto again = pharmacyFor(7001, R"({"pharmacies": [{"id": 2, "post_pharmacy_id": 302}]})");
  EXPECT_EQ(again.unchanged, 1u);
  EXPECT_EQ(again.removed, 1u);
}

TEST_F(CoursePrescriptionsTest, ALaterListReplacesTheCoursesAndLeavesOtherCoursesAlone) {
  pharmacyFor(7001, R"({"pharmacies": [{"id": 1}, {"id": 2}, {"id": 3}]})");
  pharmacyFor(7002, R"({"pharmacies": [{"id": 10}, {"id": 11}]})");

  auto result = pharmacyFor(7001, R"({"pharmacies": [
    {"id": 2, "comment": "changed"}, {"id": 3}, {"id": 4}, {"id": 11}]})");
  EXPECT_EQ(result.mapped, 4u);
  EXPECT_EQ(result.inserted, 1u);   // 4
  EXPECT_EQ(result.updated, 2u);    // 2 changed, 11 moved from the other course
  EXPECT_EQ(result.unchanged, 1u);  // 3
  EXPECT_EQ(result.removed, 1u);    // 1
  reopen();
  EXPECT_EQ(pharmacyOf(7001), (std::set<std::int64_t>{2, 3, 4, 11}));
  EXPECT_EQ(pharmacyOf(7002), (std::set<std::int64_t>{10}));
  EXPECT_EQ(storedPharmacies(), 5u);  // 1 deleted, not just unlinked

  // An empty list (or null) is the server saying the course prescribes nothing.
  EXPECT_EQ(pharmacyFor(7001, R"({"pharmacies": []})").removed, 4u);
  EXPECT_EQ(pharmacyFor(7002, R"({"pharmacies": null})").removed, 1u);
  reopen();
  EXPECT_EQ(storedPharmacies(), 0u);
}

TEST_F(CoursePrescriptionsTest, RefusedAnswersLeaveTheFileAndTheContextAsTheyWere) {
  pharmacyFor(7001, R"({"pharmacies": [{"id": 1}, {"id": 2}]})");
  const std::string replacing = R"({"pharmacies": [{"id": 3}]})";

  try {
    pharmacyFor(7999, replacing);
    ADD_FAILURE() << "an unknown course was accepted";
  } catch (const CourseNotStoredError& error) {
    EXPECT_EQ(error.courseId(), 7999);
    EXPECT_EQ(static_cast<const Error&>(error).code(), ErrorCode::InvalidInput);
  }
  // Another list's answer holds neither key: taken as empty it would wipe the course.
  try {
    pharmacyFor(7001, R"({"sport_foods": [{"id": 3}]})");
    ADD_FAILURE() << "an answer without the pharmacy list was accepted";
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::WrongShape);
  }
  try {
    pharmacyFor(7001, R"({"pharmacies": [{"id": 3)");
    ADD_FAILURE() << "text that is not JSON was accepted";
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::MalformedJson);
  }
  EXPECT_THROW(pharmacyFor(7001, R"([{"id": 3}])"), MappingError);
  // Strict mapping refuses a wrong-typed value inside the open transaction.
  CoursePrescriptionsOptions strict;
  strict.mapping.skipInvalidValues = false;
  EXPECT_THROW(mapFor(7001, CoursePrescriptionKind::Pharmacy,
                      R"({"pharmacies": [{"id": 3, "post_pharmacy_id": "three"}]})", strict),
               MappingError);
  // A dry run learns what would change and writes nothing.
  CoursePrescriptionsOptions dryRun;
  dryRun.commitIf = [](const CoursePrescriptionsResult& totals) {
    EXPECT_EQ(totals.inserted, 1u);
    EXPECT_EQ(totals.removed, 2u);
    return false;
  };
  EXPECT_FALSE(mapFor(7001, CoursePrescriptionKind::Pharmacy, replacing, dryRun).committed);

  perform([&] { EXPECT_FALSE(context->hasChanges()); });
  EXPECT_EQ(pharmacyOf(7001), (std::set<std::int64_t>{1, 2}));
  reopen();
  EXPECT_EQ(pharmacyOf(7001), (std::set<std::int64_t>{1, 2}));
  EXPECT_EQ(storedPharmacies(), 2u);
  // After all that the context still maps.
  EXPECT_EQ(pharmacyFor(7001, replacing).removed, 2u);
}

TEST_F(CoursePrescriptionsTest, WrongTypedValuesAreSkippedAndReportedTheRestIsLinked) {
  auto result = pharmacyFor(7001, R"({"pharmacies": [
    {"id": 1, "post_pharmacy_id": "ten", "useDate": "soon", "comment": "kept"},
    {"id": "two", "post_pharmacy_id": 302},
    {"id": 3, "post_pharmacy_id": 303}]})");
  EXPECT_EQ(result.mapped, 2u);  // the record without a readable id is left out
  EXPECT_EQ(result.skippedCount, 3u);
  std::set<std::string> keyPaths;
  for (const auto& issue : result.skipped) {
    keyPaths.insert(issue.keyPath);
    EXPECT_EQ(issue.className, "PharmacyEntity");
  }
  EXPECT_TRUE(keyPaths.count("pharmacies[0].post_pharmacy_id"));
  EXPECT_TRUE(keyPaths.count("pharmacies[0].useDate"));
  EXPECT_EQ(pharmacyOf(7001), (std::set<std::int64_t>{1, 3}));
  perform([&] {
    auto* first = dynamic_cast<PharmacyEntity*>(all(PharmacyEntity::kEntityName)[0]);
    EXPECT_FALSE(first->hasPost_pharmacy_id());
    EXPECT_FALSE(first->hasUseDate());
    EXPECT_EQ(first->comment(), "kept");
  });
}

}  // namespace
}  // namespace dm::test
