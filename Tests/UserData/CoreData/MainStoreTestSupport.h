// Set-up shared by the main store tests: a data root in a temp directory, recording logger
// and diagnostic events, and no shared store left over from another test.
#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Support/TempDir.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm::test {

inline std::shared_ptr<const ManagedObjectModel> mainStoreTestModel() {
  static auto model = ManagedObjectModel::fromJson(readFile(fixturePath("Models/TestModel.json")));
  return model;
}

class MainStoreFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    MainQueue::shared().adoptCurrentThread();
    ManagedObjectStore::resetSharedInstance();
    Directories::setDataRoot(dir.path());
    Logger::setShared(logger);
    DiagnosticEvents::setShared(events);
  }
  void TearDown() override {
    ManagedObjectStore::resetSharedInstance();
    MainQueue::shared().runUntilIdle();  // merges queued for contexts that are gone
    Directories::setShared(nullptr);
    Logger::setShared(nullptr);
    DiagnosticEvents::setShared(nullptr);
  }

  std::filesystem::path documents() const { return dir.path() / "Documents"; }
  std::filesystem::path storeFile() const {
    return documents() / ManagedObjectStore::dataBaseFileName;
  }

  TempDir dir;
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
  std::shared_ptr<RecordingDiagnosticEvents> events = std::make_shared<RecordingDiagnosticEvents>();
};

}  // namespace dm::test
