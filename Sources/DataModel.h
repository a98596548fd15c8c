// Start here: the library's one composition root. `DataModel::open` registers every record
// class, points the process-wide services at the host's choices, opens the main store and
// connects the record layer to it, then checks the registered classes against the models.
//
//   dm::DataModelOptions options;
//   options.dataRoot = "/path/to/app/data";
//   options.interfaceLanguage = "en";
//   auto model = dm::DataModel::open(options);   // throws RecordClassMismatch on drift
//   auto context = model->mainStore()->newPrivateQueueContext();
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Foundation/Error.h"

namespace dm {

class Clock;
class Injector;
class ManagedObjectContext;
class ManagedObjectStore;
class SettingsStore;

// What a host decides once at start. Empty or null members keep the process-wide service as
// it is (the system clock, the standard settings store, the current directories and language).
struct DataModelOptions {
  // The directory the stores and settings live under (Directories::setDataRoot).
  std::filesystem::path dataRoot;
  // The interface language of display texts and name formats ("en", "ru", "zh-Hans").
  std::string interfaceLanguage;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<SettingsStore> settingsStore;
  // Record class operations given no context run in the main store's root context instead of
  // its main-queue context: for tools and tests, which have no running main queue.
  bool useRootContextForClassOperations = false;
};

// The registered record classes disagree with the models; `what()` lists every mismatch.
// Its code is ErrorCode::RecordClassMismatch.
class RecordClassMismatch : public Error {
 public:
  explicit RecordClassMismatch(std::vector<std::string> mismatches);
  // One line per mismatch, "Class.field: what is wrong".
  const std::vector<std::string>& mismatches() const { return mismatches_; }

 private:
  std::vector<std::string> mismatches_;
};

// Registers the record classes of every model the library embeds (the main store's and the
// handbook's) with RecordClasses and ManagedObjectClasses. Idempotent; any thread. Hosts that
// use DataModel::open need not call it; code that builds stores without it (tools, tests) does.
void registerRecordClasses();

// The opened library: the main store and the services around it. Created by open; the
// process-wide accessors (ManagedObjectStore::sharedInstance, ModelMetadata::shared, the
// injector's "objectStore") keep working and answer with what open set up.
// Thread-safe; open and close are not to race with each other.
class DataModel {
 public:
  // Applies `options`, registers the record classes, opens the main store (with its
  // recovery), provides it to the default injector as "objectStore", installs the profile
  // services, and checks every registered class against the main store's model. A second
  // open returns the instance already open. Throws RecordClassMismatch when the check fails
  // (then neither this nor the main store is shared; a later open tries again), and
  // std::runtime_error when the main store's model is not embedded.
  static std::shared_ptr<DataModel> open(const DataModelOptions& options = {});
  // The open instance; nullptr before open or after close. Any thread.
  static std::shared_ptr<DataModel> shared();
  // Forgets the open instance and the main store it shared, so the next open starts anew
  // (tests, hosts tearing down). Handles held by callers stay usable.
  static void close();

  std::shared_ptr<ManagedObjectStore> mainStore() const { return mainStore_; }
  const DataModelOptions& options() const { return options_; }

  DataModel(DataModelOptions options, std::shared_ptr<ManagedObjectStore> mainStore);

 private:
  DataModelOptions options_;
  std::shared_ptr<ManagedObjectStore> mainStore_;
};

}  // namespace dm
