// The composition root: one open sets the process-wide services, opens the main store and
// connects the record layer; a class drifting from the model fails the open with the class
// and field named, and leaves nothing shared.
#include "DataModel.h"

#include "Mapping/Records/BaseUUIDEntity.h"
#include "Models/KorvaloRecords.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/LocaleServices.h"
#include "ProfileTestSupport.h"

namespace dm::test {
namespace {

class DataModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataModel::close();
    Injector::reset();
  }
  void TearDown() override {
    DataModel::close();
    Injector::reset();
    Directories::setShared(nullptr);
    Clock::setShared(nullptr);
    SettingsStore::setStandard(nullptr);
    setCurrentInterfaceLanguage("");
  }
  TempDir dir;
};

TEST_F(DataModelTest, OpenAppliesTheOptionsAndConnectsTheRecordLayer) {
  DataModelOptions options;
  options.dataRoot = dir.path();
  options.interfaceLanguage = "ru";
  options.clock = std::make_shared<FixedClock>(Date(1000));
  options.settingsStore = SettingsStore::inMemory();
  options.useRootContextForClassOperations = true;

  auto opened = DataModel::open(options);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(DataModel::shared(), opened);
  EXPECT_EQ(DataModel::open(), opened);  // a second open answers with the open instance
  EXPECT_EQ(Directories::shared()->dataRoot(), dir.path());
  EXPECT_EQ(currentInterfaceLanguage(), "ru");
  EXPECT_EQ(Clock::shared(), options.clock);
  EXPECT_EQ(SettingsStore::standard(), options.settingsStore);

  auto store = opened->mainStore();
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(ManagedObjectStore::sharedInstance(), store);
  EXPECT_FALSE(store->isInMemory());
  EXPECT_EQ(store->defaultContext(), store->persistentStoreManagedObjectContext());
  ASSERT_NE(ModelMapper::shared(), nullptr);

  // Records mapped through the shared accessors land in the opened store's file.
  auto mapping =
      ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed("CityEntity"));
  auto context = store->persistentStoreManagedObjectContext();
  context->performAndWait([&] {
    ManagedObjectDestination destination(*context);
    MappingOperation(destination)
        .map(std::string_view(R"({"city": {"id": 3, "name": "Riga"}})"), "city", mapping);
    context->save();
  });
  EXPECT_TRUE(std::filesystem::exists(store->persistentStore()->path()));
  EXPECT_EQ(std::filesystem::path(store->persistentStore()->path()).parent_path(),
            Directories::shared()->documentsDirectory());

  DataModel::close();
  EXPECT_EQ(DataModel::shared(), nullptr);
  EXPECT_EQ(ManagedObjectStore::sharedInstance(), nullptr);
}

// A city class that maps a field the entity does not have.
class DriftedCityClass : public BaseUUIDEntity::Class {
 public:
  using BaseUUIDEntity::Class::Class;
  MappingDictionary attributeMappings() const override {
    auto mapping = BaseUUIDEntity::Class::attributeMappings();
    mapping["mayor"] = "mayor_name";
    return mapping;
  }
};

TEST_F(DataModelTest, DriftedClassFailsTheOpenNamingClassAndField) {
  RecordClasses::registerClass(std::make_unique<DriftedCityClass>("CityEntity", "BaseUUIDEntity"));
  DataModelOptions options;
  options.dataRoot = dir.path();
  try {
    DataModel::open(options);
    ADD_FAILURE() << "the open succeeded";
  } catch (const RecordClassMismatch& error) {
    EXPECT_EQ(error.mismatches(),
              std::vector<std::string>{
                  "CityEntity.mayor: mapped to \"mayor_name\", but the entity has no such field"});
    EXPECT_NE(std::string(error.what()).find("CityEntity.mayor"), std::string::npos);
  }
  EXPECT_EQ(DataModel::shared(), nullptr);
  EXPECT_EQ(ManagedObjectStore::sharedInstance(), nullptr);

  // Registering the declared classes again repairs it.
  registerKorvaloRecords();
  EXPECT_NE(DataModel::open(options), nullptr);
}

}  // namespace
}  // namespace dm::test
