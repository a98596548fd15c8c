// The commercial rules of a course, as a table over course status, paid period and invoice,
// and bound to a stored course whose invoice arrived nested in its payload.
#include <gtest/gtest.h>

#include "Finance/InvoiceEntity.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Support/TempDir.h"
#include "Training/CourseInvoiceRules.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingTestSupport.h"
#include "Training/WorkoutResultsEntity.h"

namespace dm::test {
namespace {

namespace rules = course_invoice_rules;

constexpr double kDay = 86400;
const Date kNow(1'780'000'000);

struct Case {
  const char* name;
  int courseStatus;
  std::optional<double> activeToFromNow;  // seconds
  bool hasInvoice;
  int invoiceStatus;
  int serviceType;
  // Expected answers.
  bool canBePublished = false, needsNewInvoice = false, serviceWasntMade = false, pending = false,
       canMakeNewInvoice = false;
  int placeholder = 0;
  bool openedByCoach = false;
};

CourseInvoiceState stateOf(const Case& c) {
  CourseInvoiceState state;
  state.now = kNow;
  state.courseStatus = c.courseStatus;
  if (c.activeToFromNow) state.activeTo = kNow.addingTimeInterval(*c.activeToFromNow);
  state.hasInvoice = c.hasInvoice;
  state.invoiceStatus = c.invoiceStatus;
  state.serviceType = c.serviceType;
  return state;
}

// Course statuses: 1 not editable, 2 draft, 3 published, 4 received. Invoice statuses: 1 not
// paid, 3 paid, 6 paid by client. Service types: 1 one-time, 2 monthly.
const Case kCases[] = {
    {"draft, monthly period over", 2, -kDay, true, 3, 2, true, true, false, true, false, 1, false},
    {"published, monthly ends in 2 days", 3, 2 * kDay, true, 3, 2, false, false, false, false, true,
     0, true},
    {"published, monthly ends in 10 days", 3, 10 * kDay, true, 3, 2, false, false, false, false,
     false, 0, true},
    {"received, one-time run out", 4, -kDay, true, 3, 1, false, false, true, false, false, 0,
     false},
    {"draft, paid by client", 2, 10 * kDay, true, 6, 1, false, false, false, true, false, 1, false},
    {"no invoice, period over", 3, -kDay, false, 0, 0, false, false, true, false, false, 0, false},
    {"draft, monthly not paid, no period", 2, std::nullopt, true, 1, 2, false, false, false, false,
     false, 1, true},
    {"published, one-time running", 3, 10 * kDay, true, 3, 1, false, false, false, false, false, 0,
     true},
    {"not editable, one-time running", 1, 10 * kDay, true, 3, 1, false, false, false, false, false,
     2, true},
};

TEST(CourseInvoiceRules, EachRuleOverTheTable) {
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    auto state = stateOf(c);
    EXPECT_EQ(rules::canBePublished(state), c.canBePublished);
    EXPECT_EQ(rules::needsNewInvoice(state), c.needsNewInvoice);
    EXPECT_EQ(rules::serviceWasntMade(state), c.serviceWasntMade);
    EXPECT_EQ(rules::isPending(state), c.pending);
    EXPECT_EQ(rules::canMakeNewInvoice(state), c.canMakeNewInvoice);
    EXPECT_EQ(rules::placeholderType(state), c.placeholder);
    EXPECT_EQ(rules::canBeOpenedByCoach(state), c.openedByCoach);
  }
}

TEST(CourseInvoiceRules, NewInvoiceWindowIsFiveDaysInclusiveAndOpenToThePast) {
  Case c{"", 4, interval5Days, true, 3, 2, false, false, false, false, false, 0, false};
  EXPECT_TRUE(rules::canMakeNewInvoice(stateOf(c)));
  c.activeToFromNow = interval5Days + 1;
  EXPECT_FALSE(rules::canMakeNewInvoice(stateOf(c)));
  c.activeToFromNow = -30 * kDay;
  EXPECT_TRUE(rules::canMakeNewInvoice(stateOf(c)));
  c.activeToFromNow.reset();
  EXPECT_FALSE(rules::canMakeNewInvoice(stateOf(c)));
  c.activeToFromNow = kDay;
  c.courseStatus = 2;  // a draft is not renewed
  EXPECT_FALSE(rules::canMakeNewInvoice(stateOf(c)));
}

TEST(CourseInvoiceRules, ActiveToEqualToNowIsNeitherRunningNorOver) {
  Case c{"", 2, 0.0, true, 3, 1, false, false, false, false, false, 0, false};
  auto state = stateOf(c);
  EXPECT_FALSE(rules::notExpired(state));
  EXPECT_FALSE(rules::canBePublished(state));
  EXPECT_FALSE(rules::serviceWasntMade(state));
}

class TrainingCourseTest : public TrainingStoreTest {
 protected:
  void SetUp() override {
    TrainingStoreTest::SetUp();
    Clock::setShared(clock);
  }
  TrainingCourseEntity* mapCourse() {
    auto mapped = map("TrainingCourseEntity",
                      readFile(fixturePath("Training/course-history-plan.json")), "course");
    return mapped.empty() ? nullptr : dynamic_cast<TrainingCourseEntity*>(mapped.front());
  }
  std::shared_ptr<FixedClock> clock = std::make_shared<FixedClock>(kNow);
};

TEST_F(TrainingCourseTest, RulesReadTheInvoiceNestedInTheCoursePayload) {
  perform([&] {
    auto* course = mapCourse();
    ASSERT_NE(course, nullptr);
    ASSERT_NE(course->invoice(), nullptr);
    EXPECT_EQ(course->invoice()->entityID(), 8801);
    EXPECT_EQ(course->courseType(), TrainingCourseType::Invoice);
    EXPECT_EQ(course->dietType(), TrainingCourseDietType::SevenDays);

    auto activeTo = *dateFromServerString("2026-12-31T00:00:00.000+00:00");
    clock->set(activeTo.addingTimeInterval(-10 * kDay));
    EXPECT_TRUE(course->notExpired());
    EXPECT_FALSE(course->canMakeNewInvoice());
    EXPECT_TRUE(course->canBeOpenedByCoach());
    clock->set(activeTo.addingTimeInterval(-2 * kDay));
    EXPECT_TRUE(course->canMakeNewInvoice());
    clock->set(activeTo.addingTimeInterval(kDay));
    EXPECT_TRUE(course->needsNewInvoice());
    EXPECT_EQ(course->placeholderType(), 1);
    EXPECT_FALSE(course->canBeOpenedByCoach());
  });
}

TEST_F(TrainingCourseTest, KindsScheduleAndWorkoutsDone) {
  perform([&] {
    auto* course = insert<TrainingCourseEntity>();
    course->setEntityID(9);
    EXPECT_EQ(course->courseType(), TrainingCourseType::Other);
    course->setInvoiceId(4);
    course->setPresetId(3);
    EXPECT_EQ(course->courseType(), TrainingCourseType::Preset);  // the preset wins
    course->setDietTypeString("auto_diet");
    EXPECT_EQ(course->dietType(), TrainingCourseDietType::AutoDiet);
    course->setDietTypeString("weekly");
    EXPECT_EQ(course->dietType(), TrainingCourseDietType::Manual);

    course->setSchedule(1);
    course->setCyclicScheduleWorkoutDays(3);
    course->setCyclicScheduleRestDays(1);
    EXPECT_EQ(course->scheduleType(), 1);  // no cycle start
    course->setCyclicScheduleStartOn(kNow);
    EXPECT_EQ(course->scheduleType(), 2);
    course->setCyclicScheduleRestDays(0);
    EXPECT_EQ(course->scheduleType(), 1);

    for (int i = 0; i < 3; ++i) {
      auto* result = insert<WorkoutResultsEntity>();
      result->setGuid("R" + std::to_string(i));
      result->setCourseId(9);
      if (i < 2) result->setStartedAt(kNow);
    }
    context->save();
    course->setExecutedExercises(1);
    EXPECT_EQ(course->trainingsDone(), 2);  // the result without a start is not counted
    course->setExecutedExercises(5);
    EXPECT_EQ(course->trainingsDone(), 5);
  });
}

}  // namespace
}  // namespace dm::test
