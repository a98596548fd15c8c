// A main store for diet records beside a handbook holding a few foods, both in one
// temporary directory, with the handbook adapter installed as the shared one.
#pragma once

#include <filesystem>
#include <memory>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Profile/ProfileTestSupport.h"
#include "Support/HandbookStorageOptions.h"

namespace dm::test {

// Foods with their values per 100 g (energy kcal, protein, fat, carbohydrate).
inline nlohmann::json nutritionFoods() {
  auto food = [](int id, const char* title, double kcal, double protein, double fat,
                 double carbohydrate) {
    return nlohmann::json{{"id", id},
                          {"title", title},
                          {"status", "published"},
                          {"language", "en"},
                          {"calories", kcal},
                          {"proteins", protein},
                          {"fats", fat},
                          {"carbohydrates", carbohydrate}};
  };
  return {{"status", "changed"},
          {"version", 1},
          {"post_products",
           {food(10, "Rice, raw, milled", 356, 7.94, 0.52, 78.24),
            food(11, "Lentil, whole", 322, 24.35, 0.75, 48.5),
            food(12, "Spinach", 24, 2.14, 0.64, 2.05),
            food(13, "Milk, buffalo", 107, 3.68, 6.58, 8.39)}}};
}

class NutritionStoreTest : public ProfileStoreTest {
 protected:
  void SetUp() override {
    ProfileStoreTest::SetUp();
    MainQueue::shared();  // the test thread is the main thread
    std::filesystem::create_directories(dir / "packs");
    HandbookAdapter::setShared(std::make_unique<HandbookAdapter>(
        handbookStorageOptions(dir.path(), SettingsStore::inMemory())));
    HandbookAdapter::shared().getHandbookUpdateEntityFromRequest(nutritionFoods());
    settleHandbook();
  }
  void TearDown() override {
    MainQueue::shared().runUntilIdle();
    HandbookAdapter::setShared(nullptr);
    ProfileStoreTest::TearDown();
  }
  void settleHandbook() {
    HandbookAdapter::shared().saveAndWait();
    MainQueue::shared().runUntilIdle();
  }
  // Records which handbook products the diet uses, as the diet screen does after loading.
  void relate(std::int64_t dietId, const std::vector<std::int64_t>& productIds) {
    HandbookAdapter::shared().saveProductHandbookRelationships(dietId, productIds, {});
    settleHandbook();
  }
};

}  // namespace dm::test
