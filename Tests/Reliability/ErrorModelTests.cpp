// One error model at the boundary: each kind of outside-input failure, provoked through its
// public entry point, is catchable as dm::Error with the expected code and still as the
// named kind callers catch today.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

#include "Handbook/Seed/HandbookSeedSource.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "Platform/Foundation/DictionaryListDecoding.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/KeyValueTree.h"
#include "Platform/Foundation/NestingLimit.h"
#include "Platform/Foundation/ZipArchive.h"
#include "Platform/Host/JpegEncoder.h"
#include "Platform/Host/ScreenScale.h"
#include "Platform/ObjectMapping/InMemoryDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Platform/ObjectStore/StoreError.h"
#include "Platform/ObjectStore/StoreTestSupport.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::StoreFixture;
using test::TempDir;
using test::testModel;
using test::writeFile;

// One row: what is provoked, the code it must carry, and whether the caught error is the
// named kind callers catch (checked on the same object that was caught as dm::Error).
struct FailureCase {
  const char* what;
  ErrorCode code;
  std::function<void()> provoke;
  std::function<bool(const Error&)> isNamedKind;
};

template <typename Kind>
std::function<bool(const Error&)> kind() {
  return [](const Error& error) { return dynamic_cast<const Kind*>(&error) != nullptr; };
}
// Rows whose entry point reports a plain dm::Error.
std::function<bool(const Error&)> plainError() {
  return [](const Error&) { return true; };
}

TEST(ErrorModelTest, EveryOutsideInputFailureCarriesItsCodeAndItsNamedKind) {
  TempDir dir;
  writeFile(dir / "flat", "a file where a directory is expected");
  writeFile(dir / "garbage.sqlite", std::string(4096, 'x'));
  writeFile(dir / "garbage.zip", "PK not really an archive");
  fs::create_directories(dir / "empty-seed");

  InMemoryDestination destination;
  destination.registerClass({"Item", {{"entityID", FieldKind::Integer64}}, {}});
  auto itemMapping = ObjectMapping::entityMapping("Item");
  itemMapping->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"}});
  auto mapText = [&](const std::string& text) {
    MappingOperation(destination).map(text, "", itemMapping);
  };

  StoreFixture store(dir);
  const std::string deepPredicate = std::string(5000, '(') + "title = 'a'" + std::string(5000, ')');
  json deepTree = json::array();
  for (int i = 0; i < 1000; ++i) deepTree = json::array({deepTree});

  const std::vector<FailureCase> cases = {
      {"payload that is not JSON", ErrorCode::MalformedPayload, [&] { mapText("{\"id\": "); },
       kind<MappingError>()},
      {"payload of the wrong shape", ErrorCode::WrongShape, [&] { mapText("\"text\""); },
       kind<MappingError>()},
      {"payload nested too deep", ErrorCode::NestingTooDeep,
       [&] { mapText(std::string(100000, '[') + std::string(100000, ']')); }, kind<MappingError>()},
      {"malformed predicate", ErrorCode::InvalidPredicate, [] { Predicate::parse("title == "); },
       kind<PredicateError>()},
      {"predicate nested too deep", ErrorCode::NestingTooDeep,
       [&] { Predicate::parse(deepPredicate); }, kind<PredicateError>()},
      {"tree nested too deep", ErrorCode::NestingTooDeep,
       [&] { (void)KeyValueTree::removingNulls(deepTree); }, kind<NestingTooDeepError>()},
      {"model text that is not JSON", ErrorCode::InvalidModel,
       [] { ManagedObjectModel::fromJson("{\"entities\": ["); }, kind<StoreError>()},
      {"store file that is no database", ErrorCode::StoreCorrupt,
       [&] {
         PersistentStore::open(testModel(), StoreType::SQLite, (dir / "garbage.sqlite").string());
       },
       kind<StoreError>()},
      {"store under a file", ErrorCode::StoreUnavailable,
       [&] {
         PersistentStore::open(testModel(), StoreType::SQLite,
                               (dir / "flat" / "s.sqlite").string());
       },
       kind<StoreError>()},
      {"unknown entity name", ErrorCode::UnknownEntity,
       [&] { ObjectStoreHelpers::count(*store.root, "NoSuchEntity"); }, plainError()},
      {"key path through an unknown key", ErrorCode::InvalidKeyPath,
       [&] { store.root->insertNewObject("Sample")->valueForKeyPath("nosuch.title"); },
       plainError()},
      {"key path through a to-many relationship", ErrorCode::InvalidKeyPath,
       [&] { store.root->insertNewObject("Sample")->valueForKeyPath("tags.title"); }, plainError()},
      {"ZIP archive that is none", ErrorCode::ArchiveCannotOpen,
       [&] { zip::extract(dir / "garbage.zip", dir / "out"); }, kind<zip::ZipError>()},
      {"archived list of the wrong kind", ErrorCode::InvalidInput,
       [] {
         decodeDictionaryList<std::int64_t>(json::array({{{"n", "one"}}}), [](const json& e) {
           return requiredIntegerMember(e, "n");
         });
       },
       plainError()},
      {"seed source directory without sources", ErrorCode::InvalidSeedSource,
       [&] { HandbookSeedSource::load(dir / "empty-seed"); }, kind<SeedSourceError>()},
      {"image without pixels", ErrorCode::ImageEncodingFailed,
       [] { LibjpegEncoder().encode(RawImage{}, 0.5); }, kind<ImageEncodingError>()},
      {"screen scale from the host", ErrorCode::InvalidInput, [] { FixedScreenScale{-2}; },
       plainError()},
  };

  for (const auto& row : cases) {
    SCOPED_TRACE(row.what);
    try {
      row.provoke();
      ADD_FAILURE() << "no error";
    } catch (const Error& error) {
      EXPECT_EQ(errorCodeName(error.code()), std::string(errorCodeName(row.code))) << error.what();
      EXPECT_TRUE(row.isNamedKind(error)) << "not its named kind: " << error.what();
      EXPECT_NE(std::string(error.what()), "");
    } catch (const std::exception& error) {
      ADD_FAILURE() << "not a dm::Error: " << error.what();
    }
  }
  // The named kinds keep their own detail beside the library-wide code.
  try {
    PersistentStore::open(testModel(), StoreType::SQLite, (dir / "garbage.sqlite").string());
    ADD_FAILURE() << "a file that is no database opened";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.code(), StoreErrorCode::CannotOpen);
    EXPECT_TRUE(error.isCorruption());
  }
}

TEST(ErrorModelTest, CodeNamesAreDistinctSnakeCaseWords) {
  std::set<std::string> names;
  for (ErrorCode code : kAllErrorCodes) {
    const std::string name = errorCodeName(code);
    EXPECT_TRUE(names.insert(name).second) << name << " is used twice";
    EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string::npos) << name;
  }
  EXPECT_EQ(names.size(), static_cast<std::size_t>(ErrorCode::RecordClassMismatch) + 1)
      << "a code is missing from kAllErrorCodes";
}

}  // namespace
}  // namespace dm
