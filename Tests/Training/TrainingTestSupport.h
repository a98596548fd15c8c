// A main store in a temporary data root plus a handbook of its own there, so exercises look
// their post exercises up in a handbook that belongs to the test alone.
#pragma once

#include <memory>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Profile/ProfileTestSupport.h"

namespace dm::test {

class TrainingStoreTest : public ProfileStoreTest {
 protected:
  void SetUp() override {
    ProfileStoreTest::SetUp();
    // Device settings (chosen alternatives, sides) stay in memory, one store per test.
    SettingsStore::setStandard(SettingsStore::inMemory());
    HandbookStorage::Options options;
    options.applicationSupportDirectory = dir.path() / "handbook";
    HandbookAdapter::setShared(std::make_unique<HandbookAdapter>(options));
  }
  void TearDown() override {
    MainQueue::shared().runUntilIdle();
    HandbookAdapter::setShared(nullptr);
    SettingsStore::setStandard(nullptr);
    ProfileStoreTest::TearDown();
  }
};

}  // namespace dm::test
