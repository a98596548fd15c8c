// Getting started: open the stores, map a server answer, read the records on the main
// queue and serialise a request.
#include <datamodel/Accounts/SignInRequest.h>
#include <datamodel/DataModel.h>
#include <datamodel/Mapping/Records/ModelMapper.h>
#include <datamodel/Platform/Foundation/WorkQueue.h>
#include <datamodel/Platform/ObjectMapping/ManagedObjectDestination.h>
#include <datamodel/Platform/ObjectMapping/MappingOperation.h>
#include <datamodel/Platform/ObjectStore/ObjectStoreHelpers.h>
#include <datamodel/Profile/UserEntity.h>
#include <datamodel/UserData/CoreData/ManagedObjectStore.h>

#include <cstdio>

int main(int argc, char** argv) {
  // 1. Open the stores under a data directory; this thread is the app's main thread.
  dm::DataModelOptions options;
  options.dataRoot = argc > 1 ? argv[1] : "getting-started-data";
  auto store = dm::DataModel::open(options)->mainStore();
  dm::MainQueue::shared().adoptCurrentThread();

  // 2. Map a server answer on a background context and save it to the file.
  const std::string answer = R"({"user": {"id": 7, "firstName": "Alina", "lastName": "Sorokina"}})";
  auto mapping = dm::ModelMapper::shared()->responseMappingForClass(
      *dm::RecordClasses::classNamed("UserEntity"));
  auto worker = store->newPrivateQueueContext("import");
  worker->performAndWait([&] {
    dm::ManagedObjectDestination destination(*worker);
    dm::MappingOperation(destination).map(answer, "user", mapping);
  });
  dm::ObjectStoreHelpers::saveToPersistentStoreAndWait(*worker);

  // 3. Read the records on the main queue, as a screen would.
  auto main = store->mainQueueManagedObjectContext();
  main->performAndWait([&] {
    dm::FetchRequest users(store->managedObjectModel()->entityNamed("UserEntity"));
    for (auto* object : main->executeFetchRequest(users))
      if (auto* user = dynamic_cast<dm::UserEntity*>(object))
        std::printf("user %s %s\n", user->firstName().c_str(), user->lastName().c_str());
  });

  // 4. Serialise a request: the JSON body the server expects.
  auto signIn = std::make_shared<dm::SignInRequest>();
  signIn->setEmail("alina@example.com");
  signIn->setPassword("secret");
  std::printf("%s\n", signIn->serialized().description().dump().c_str());
}
