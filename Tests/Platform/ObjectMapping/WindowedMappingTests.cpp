// Mapping a payload a window of records at a time: same records as one operation, failures
// leave the store as it was, key paths name the place in the whole payload.
#include <gtest/gtest.h>

#include "Platform/Foundation/MappedFile.h"
#include "Platform/ObjectMapping/JsonStructure.h"
#include "Platform/ObjectMapping/WindowedMapping.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/DayExerciseModel.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

class WindowedMappingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store = PersistentStore::open(test::dayExerciseModel(), StoreType::SQLite,
                                  (dir / "windows.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "windows");
    day = ObjectMapping::entityMapping("Day");
    day->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    day->setIdentificationAttributes({"entityID"});
    exercise = ObjectMapping::entityMapping("Exercise");
    exercise->addAttributeMappings(std::map<std::string, std::string>{
        {"id", "entityID"}, {"name", "name"}, {"sets", "sets"}, {"day_id", "trainingDayId"}});
    exercise->setIdentificationAttributes({"entityID"});
    exercise->addConnection("trainingDay", "trainingDayId", "entityID");
  }

  // Exercises 1..n under "exercises", each about 60 bytes, on days 1..3.
  static std::string exercises(int n, int from = 1) {
    std::string text = R"({"meta":{"exercises":[]},"exercises":[)";
    for (int i = from; i < from + n; ++i) {
      if (i > from) text += ",\n";
      text += R"({"id":)" + std::to_string(i) + R"(,"name":"E \"[)" + std::to_string(i) +
              R"(]\" {","day_id":)" + std::to_string(1 + i % 3) + "}";
    }
    return text + "]}";
  }

  WindowedMappingResult map(std::string_view text, std::string_view keyPath,
                            const std::shared_ptr<ObjectMapping>& mapping,
                            WindowedMappingOptions options = {}) {
    if (options.windowBytes == WindowedMappingOptions{}.windowBytes) options.windowBytes = 200;
    return WindowedMapping(*context, options).map(text, keyPath, mapping);
  }
  std::vector<ManagedObject*> all(const char* entity) {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors.push_back({"entityID", true});
    return context->executeFetchRequest(request);
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<ObjectMapping> day, exercise;
};

TEST_F(WindowedMappingTest, WindowsStoreWhatOneOperationWould) {
  ASSERT_EQ(
      map(R"([{"id":1,"title":"A"},{"id":2,"title":"B"},{"id":3,"title":"C"}])", "", day).windows,
      1u);  // a small root array is one window

  // Exercise 5 comes twice, in different windows: the second is an update, not a new row.
  // Connections reach days stored before the import.
  std::string text = exercises(40);
  text.insert(text.size() - 2, R"(,{"id":5,"name":"Renamed","day_id":2})");
  auto result = map(text, "exercises", exercise);
  EXPECT_GT(result.windows, 5u);
  EXPECT_EQ(result.mapped, 41u);
  EXPECT_TRUE(result.committed);
  EXPECT_EQ(context->registeredObjectCount(), 0u);  // nothing held after the import

  auto stored = all("Exercise");
  ASSERT_EQ(stored.size(), 40u);
  EXPECT_EQ(stored[4]->valueForKey("name"), Value("Renamed"));
  EXPECT_EQ(stored[6]->valueForKey("name"), Value("E \"[7]\" {"));
  for (auto* e : stored)
    ASSERT_EQ(e->objectForKey("trainingDay")->valueForKey("entityID"),
              e->valueForKey("trainingDayId"));

  // A payload that is not an array of records is mapped whole.
  result = map(R"({"exercises":{"id":3,"name":"Single"}})", "exercises", exercise);
  EXPECT_EQ(result.windows, 1u);
  EXPECT_EQ(all("Exercise")[2]->valueForKey("name"), Value("Single"));

  // From a mapped file whose pages are let go as its windows are copied out: the same.
  test::writeFile(dir / "exercises.json", exercises(3000));
  const MappedFile file(dir / "exercises.json");
  WindowedMappingOptions small;
  small.windowBytes = 8192;
  result = WindowedMapping(*context, small).map(file, "exercises", exercise);
  EXPECT_GT(result.windows, 10u);
  EXPECT_EQ(result.mapped, 3000u);
  stored = all("Exercise");
  ASSERT_EQ(stored.size(), 3000u);
  for (int i : {0, 2, 1500, 2999})
    EXPECT_EQ(stored[i]->valueForKey("name"), Value("E \"[" + std::to_string(i + 1) + "]\" {"));
}

TEST_F(WindowedMappingTest, FailureInALaterWindowLeavesTheStoreAsItWas) {
  map(R"([{"id":1,"title":"Kept"}])", "", day);
  std::string text = exercises(30);
  // Record 25 is malformed JSON; earlier windows were already written inside the import.
  const auto at = text.find(R"({"id":25,)");
  text.replace(at, 9, R"({"id":25,,)");
  try {
    map(text, "exercises", exercise);
    FAIL() << "malformed window accepted";
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::MalformedJson);
  }
  EXPECT_TRUE(all("Exercise").empty());
  ASSERT_EQ(all("Day").size(), 1u);

  // A value of the wrong type in strict mode names its element in the whole payload.
  text = exercises(30);
  const std::string record27 = R"("id":27,"name":"E \"[27]\" {")";
  text.replace(text.find(record27), record27.size(), R"("id":27,"name":"x","sets":"many")");
  WindowedMappingOptions strict;
  strict.mapping.skipInvalidValues = false;
  try {
    map(text, "exercises", exercise, strict);
    FAIL() << "invalid value accepted";
  } catch (const MappingError& error) {
    ASSERT_FALSE(error.issues().empty());
    EXPECT_EQ(error.issues().front().keyPath, "exercises[26].sets");
  }
  EXPECT_TRUE(all("Exercise").empty());

  // Lenient: the same value is skipped and reported under its place in the payload.
  auto result = map(text, "exercises", exercise);
  ASSERT_EQ(result.skippedCount, 1u);
  EXPECT_EQ(result.skipped.front().keyPath, "exercises[26].sets");
  EXPECT_EQ(all("Exercise").size(), 30u);
}

TEST_F(WindowedMappingTest, CallerCanRefuseTheCommitAndNeedsACleanRootContext) {
  WindowedMappingOptions dryRun;
  std::size_t seen = 0;
  dryRun.commitIf = [&](const WindowedMappingResult& result) {
    seen = result.mapped;
    return false;
  };
  auto result = map(exercises(20), "exercises", exercise, dryRun);
  EXPECT_EQ(seen, 20u);
  EXPECT_FALSE(result.committed);
  EXPECT_TRUE(all("Exercise").empty());

  context->insertNewObject("Day")->setValueForKey("entityID", Value(9));
  EXPECT_THROW(map(exercises(3), "exercises", exercise), std::logic_error);
  EXPECT_TRUE(context->hasChanges());  // the caller's unsaved work is untouched
  context->save();
  EXPECT_TRUE(all("Exercise").empty());
}

TEST(JsonStructureTest, LocatesTheRecordsArrayWithoutParsingIt) {
  using json_structure::locateArrayElements;
  std::vector<json_structure::Span> spans;
  const std::string_view text = R"( {"a":[1], "items": [ {"s":"]\\\"}"} , [2,{}] ,"x"], "b":{} } )";
  ASSERT_TRUE(locateArrayElements(text, "items", spans));
  ASSERT_EQ(spans.size(), 3u);
  EXPECT_EQ(text.substr(spans[0].begin, spans[0].end - spans[0].begin), R"({"s":"]\\\"}"})");
  EXPECT_EQ(text.substr(spans[2].begin, spans[2].end - spans[2].begin), R"("x")");

  EXPECT_TRUE(locateArrayElements("[ 1 , 2 ]", "", spans));
  EXPECT_EQ(spans.size(), 2u);
  // The first of repeated keys counts, as when the mapping reads the text whole.
  EXPECT_TRUE(locateArrayElements(R"({"items":[1],"items":[2,3]})", "items", spans));
  EXPECT_EQ(spans.size(), 1u);
  EXPECT_FALSE(locateArrayElements(R"({"items":{},"items":[1]})", "items", spans));
  EXPECT_FALSE(locateArrayElements(R"({"it\u0065ms":{},"items":[1]})", "items", spans));
  for (const char* broken : {R"({"items":[1,2})", R"({"items":[1]} x)", R"({"items":["a]})",
                             R"({"items" [1]})", "", "[1,]"})
    EXPECT_FALSE(locateArrayElements(broken, broken[0] == '[' ? "" : "items", spans)) << broken;
}

}  // namespace
}  // namespace dm
