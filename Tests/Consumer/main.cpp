// Uses the installed library as an application would: opens it on a fresh data directory and
// reads the main store's model through the start-here header.
#include <datamodel/DataModel.h>
#include <datamodel/Platform/Foundation/Version.h>
#include <datamodel/Platform/ObjectStore/ManagedObjectModel.h>
#include <datamodel/UserData/CoreData/ManagedObjectStore.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

int main() {
  char pattern[] = "/tmp/dm-consumer-XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  std::filesystem::path root = pattern;
  int status = 0;
  {
    dm::DataModelOptions options;
    options.dataRoot = root;
    options.useRootContextForClassOperations = true;
    auto model = dm::DataModel::open(options);
    auto entities = model->mainStore()->managedObjectModel()->entities().size();
    std::printf("DataModel %s: main store with %zu entities\n", dm::DataModelVersionString,
                entities);
    if (entities == 0 || model->mainStore()->isInMemory()) status = 1;
    dm::DataModel::close();
  }
  std::filesystem::remove_all(root);
  return status;
}
