// Mapping through a record's own setters (rules on stored fields, mapped fields that are not
// stored) and identification by either of two attributes.
#include <gtest/gtest.h>

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

constexpr const char* kModel = R"({"name": "SetterModel", "entities": [
  {"name": "Message", "class": "SetterTestMessage", "attributes": [
     {"name": "entityID", "type": "integer64", "indexed": true},
     {"name": "guid", "type": "string", "indexed": true},
     {"name": "text", "type": "string"},
     {"name": "time", "type": "date"},
     {"name": "deliveryState", "type": "integer16", "default": 0},
     {"name": "attachmentType", "type": "integer16", "default": 0},
     {"name": "attachmentURL", "type": "string"},
     {"name": "attachmentPreviewURL", "type": "string"}]},
  {"name": "SystemMessage", "parent": "Message", "class": "SetterTestSystemMessage"}]})";

// The rules a message keeps on its fields: a time is set once, delivery states only advance
// (-1 resets), a photo path and a preview dictionary fill the attachment fields.
const RecordSetterRegistration kMessageSetters(
    "SetterTestMessage",
    {{"time", AttributeType::Date,
      [](ManagedObject& message, const Value& time) {
        if (message.valueForKey("time").isNull()) message.setValueForKey("time", time);
      }},
     {"deliveryState", AttributeType::Integer16,
      [](ManagedObject& message, const Value& state) {
        if (state.asInt64() == -1 ||
            state.asInt64() >= message.valueForKey("deliveryState").asInt64())
          message.setValueForKey("deliveryState", state);
      }},
     {"photoUrl", AttributeType::String,
      [](ManagedObject& message, const Value& path) {
        if (path.asString().empty()) return;
        message.setValueForKey("attachmentType", Value(1));
        message.setValueForKey("attachmentURL", path);
      }},
     {"videoPreviewUrls", AttributeType::Dictionary, [](ManagedObject& message, const Value& v) {
        auto previews = structureFromValue(v, AttributeType::Dictionary);
        auto preview = previews.value("video_preview_2x", std::string());
        if (preview.empty()) return;
        message.setValueForKey("attachmentType", Value(2));
        message.setValueForKey("attachmentPreviewURL", Value(preview));
      }}});

class RecordSetterMappingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static auto model = ManagedObjectModel::fromJson(kModel);
    store = PersistentStore::open(model, StoreType::SQLite, (dir / "setters.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "setters");
    message = mappingFor("Message");
  }
  static std::shared_ptr<ObjectMapping> mappingFor(const char* entity) {
    auto mapping = ObjectMapping::entityMapping(entity);
    mapping->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"},
                                           {"guid", "guid"},
                                           {"body", "text"},
                                           {"created_at", "time"},
                                           {"state", "deliveryState"},
                                           {"photo", "photoUrl"},
                                           {"video_preview", "videoPreviewUrls"}});
    mapping->setIdentificationAttributes({"entityID", "guid"},
                                         ObjectMapping::IdentificationMatch::AnyAttribute);
    return mapping;
  }
  std::vector<ManagedObject*> map(std::string_view json) {
    ManagedObjectDestination destination(*context);
    auto result = MappingOperation(destination).map(json, "", message);
    EXPECT_TRUE(result.skipped.empty());
    return ManagedObjectDestination::objects(result.objects);
  }
  std::vector<ManagedObject*> all() {
    FetchRequest request(context->model().entityNamed("Message"));
    request.sortDescriptors = {{"entityID", true}};
    return context->executeFetchRequest(request);
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<ObjectMapping> message;
};

TEST_F(RecordSetterMappingTest, SettersKeepTheirRulesAndUnstoredFieldsFillStoredOnes) {
  auto mapped = map(R"({"id": 1, "created_at": 100, "state": 3, "photo": "p/1.jpg"})");
  ASSERT_EQ(mapped.size(), 1u);
  ManagedObject* m = mapped[0];
  EXPECT_EQ(m->valueForKey("time").asDate().timeIntervalSince1970, 100);
  EXPECT_EQ(m->valueForKey("attachmentType"), Value(1));
  EXPECT_EQ(m->valueForKey("attachmentURL"), Value("p/1.jpg"));
  context->save();

  map(R"({"id": 1, "created_at": 200, "state": 2, "photo": ""})");
  EXPECT_EQ(m->valueForKey("time").asDate().timeIntervalSince1970, 100);  // set once
  EXPECT_EQ(m->valueForKey("deliveryState"), Value(3));                   // does not go back
  EXPECT_EQ(m->valueForKey("attachmentURL"), Value("p/1.jpg"));           // empty: no change
  EXPECT_FALSE(context->hasChanges());
  map(R"({"id": 1, "state": -1, "video_preview": {"video_preview_2x": "v@2x.jpg"}})");
  EXPECT_EQ(m->valueForKey("deliveryState"), Value(-1));
  EXPECT_EQ(m->valueForKey("attachmentType"), Value(2));
  EXPECT_EQ(m->valueForKey("attachmentPreviewURL"), Value("v@2x.jpg"));

  // A sub-entity inherits its parent class's setters.
  auto system = mappingFor("SystemMessage");
  ManagedObjectDestination destination(*context);
  auto result =
      MappingOperation(destination).map(R"({"id": 9, "state": 4, "photo": "s.jpg"})", "", system);
  ManagedObject* s = ManagedObjectDestination::objects(result.objects).at(0);
  EXPECT_EQ(s->valueForKey("attachmentURL"), Value("s.jpg"));
  destination.discardChanges();  // a rollback undoes what setters wrote on existing records too
}

TEST_F(RecordSetterMappingTest, SetterWritesOnExistingRecordsRollBack) {
  map(R"({"id": 1, "state": 1, "photo": "a.jpg"})");
  context->save();
  ManagedObject* m = all().at(0);
  ManagedObjectDestination destination(*context);
  MappingOperation(destination).map(R"({"id": 1, "state": 5, "photo": "b.jpg"})", "", message);
  EXPECT_EQ(m->valueForKey("attachmentURL"), Value("b.jpg"));
  destination.discardChanges();
  EXPECT_EQ(m->valueForKey("attachmentURL"), Value("a.jpg"));
  EXPECT_EQ(m->valueForKey("deliveryState"), Value(1));
}

TEST_F(RecordSetterMappingTest, MessagesMatchByServerIdOrByClientGuid) {
  // Sent from this device: a guid, no server id yet.
  ManagedObject* local = context->insertNewObject("Message");
  local->setValueForKey("guid", Value("g-1"));
  local->setValueForKey("text", Value("hello"));
  context->save();

  // The server's echo carries both: it lands on the local record and gives it its id.
  auto mapped = map(R"([{"id": 10, "guid": "g-1", "body": "hello"},
                        {"guid": "g-2", "body": "no id yet"},
                        {"id": 11, "guid": "g-2", "body": "same record, now with an id"},
                        {"id": 12, "body": "from the other side"}])");
  ASSERT_EQ(mapped.size(), 3u);
  EXPECT_EQ(mapped[0], local);
  EXPECT_EQ(local->valueForKey("entityID"), Value(10));
  EXPECT_EQ(mapped[1]->valueForKey("entityID"), Value(11));
  EXPECT_EQ(mapped[1]->valueForKey("text"), Value("same record, now with an id"));
  context->save();

  // Later payloads find them by id alone; the id wins over a guid that points elsewhere.
  mapped = map(R"([{"id": 10, "body": "edited"}, {"id": 12, "guid": "g-2", "body": "twelve"}])");
  EXPECT_EQ(mapped[0], local);
  EXPECT_EQ(local->valueForKey("text"), Value("edited"));
  auto rows = all();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[2]->valueForKey("text"), Value("twelve"));
  EXPECT_EQ(rows[1]->valueForKey("text"), Value("same record, now with an id"));
}

}  // namespace
}  // namespace dm
