// What the seed storage takes from the host and the platform: the network monitor that retries
// a pending seed fetch, the host application's version, and the seed shipped with the library.
#include <gtest/gtest.h>

#include <fstream>

#include "Handbook/HandbookTestSupport.h"
#include "Handbook/Storage/ShippedSeeds.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/ZipArchive.h"
#include "Platform/Host/ApplicationVersion.h"
#include "Platform/Host/NetworkMonitor.h"

namespace dm {
namespace {

using test::HandbookEnvironment;

// Counts fetches and fails each one, as with no network.
struct OfflineSource final : SeedPackSource {
  int begun = 0;
  void beginAccess(const std::string&, const std::string&, Completion done) override {
    ++begun;
    done(std::string("offline"));
  }
  std::optional<std::filesystem::path> resourcePath(const std::string&) override {
    return std::nullopt;
  }
};

TEST(SeedHostServicesTest, NetworkChangesRetryAPendingSeedFetch) {
  HandbookEnvironment env;
  auto source = std::make_shared<OfflineSource>();
  auto monitor = std::make_shared<NetworkMonitor>();  // driven by the host's callback
  SeedStorage::Options options;
  options.settings = env.settings;
  options.currentLocalization = "de";
  options.packSource = source;
  options.networkMonitor = monitor;
  auto seeds = SeedStorage::create(options);
  EXPECT_EQ(seeds->networkMonitor(), monitor);

  seeds->requestSeedIfNeeded();
  EXPECT_EQ(source->begun, 1);
  monitor->report(NetworkStatus::Available);  // whatever the status, a retry
  monitor->report(NetworkStatus::Unavailable);
  EXPECT_EQ(source->begun, 3);
  EXPECT_EQ(monitor->status(), NetworkStatus::Unavailable);

  // Once the language's seed is the saved one, nothing is fetched any more.
  env.settings->setString(SeedStorage::kLocalizationWithSavedHandbookKey, "de");
  monitor->report(NetworkStatus::Available);
  EXPECT_EQ(source->begun, 3);

  // A monitor outliving its seed storage reports into nothing.
  seeds.reset();
  env.settings->remove(SeedStorage::kLocalizationWithSavedHandbookKey);
  monitor->report(NetworkStatus::Available);
  EXPECT_EQ(source->begun, 3);
}

TEST(SeedHostServicesTest, TheDefaultMonitorIsTheHostsFactoryOrTheSystemOne) {
  auto made = std::make_shared<NetworkMonitor>();
  NetworkMonitor::setDefaultFactory([made] { return made; });
  HandbookEnvironment env;
  EXPECT_EQ(env.seedStorage()->networkMonitor(), made);
  NetworkMonitor::setDefaultFactory(nullptr);
  auto system = NetworkMonitor::makeDefault();
  EXPECT_NE(dynamic_cast<SystemNetworkMonitor*>(system.get()), nullptr);
  system->start();  // watches (or, in a sandbox, logs that it cannot) and stops cleanly
  system->start();
  EXPECT_NE(SystemNetworkMonitor::currentStatus(), NetworkStatus::Unknown);
}

TEST(SeedHostServicesTest, TheHostsVersionDecidesWhenTheSeedIsRestored) {
  HandbookEnvironment env;
  ApplicationVersion::setHostVersion("3.4.0");
  SeedStorage::Options options;
  options.settings = env.settings;
  options.currentLocalization = "en";
  options.packSource = std::make_shared<DirectorySeedPackSource>(env.packs);
  options.networkMonitor = std::make_shared<NetworkMonitor>();
  EXPECT_EQ(SeedStorage::create(options)->currentVersion(), "3.4.0");
  env.settings->setString(SeedStorage::kAppVersionWithSavedHandbookKey, "3.4.0");
  env.settings->setString(SeedStorage::kLocalizationWithSavedHandbookKey, "en");
  EXPECT_FALSE(SeedStorage::create(options)->needsRestore());
  ApplicationVersion::setHostVersion("3.5.0");  // the application was updated
  EXPECT_TRUE(SeedStorage::create(options)->needsRestore());
  ApplicationVersion::setHostVersion(std::nullopt);
  EXPECT_EQ(SeedStorage::create(options)->currentVersion(), Directories::applicationVersion());
}

TEST(SeedHostServicesTest, HostPacksComeBeforeTheShippedSeeds) {
  HandbookEnvironment env;
  auto hostPacks = env.dir / "host";
  auto shipped = env.dir / "shipped";
  std::filesystem::create_directories(hostPacks);
  std::filesystem::create_directories(shipped);
  auto write = [](const std::filesystem::path& path) { std::ofstream(path) << "pack"; };
  write(shipped / "Handbook_en.sqlite");
  write(shipped / "Handbook_de.sqlite");
  write(hostPacks / "Handbook_en.sqlite");
  LayeredSeedPackSource layered({std::make_shared<DirectorySeedPackSource>(hostPacks),
                                 std::make_shared<DirectorySeedPackSource>(shipped)});
  EXPECT_EQ(layered.resourcePath("Handbook_en.sqlite"), hostPacks / "Handbook_en.sqlite");
  EXPECT_EQ(layered.resourcePath("Handbook_de.sqlite"), shipped / "Handbook_de.sqlite");
  EXPECT_FALSE(layered.resourcePath("Handbook_fr.sqlite"));
  std::optional<std::string> outcome = "not called";
  layered.beginAccess("handbook_de", "de", [&](const auto& error) { outcome = error; });
  EXPECT_FALSE(outcome);
  layered.beginAccess("handbook_fr", "fr", [&](const auto& error) { outcome = error; });
  ASSERT_TRUE(outcome);  // the first layer's answer for a pack nobody has
  EXPECT_NE(outcome->find("handbook_fr"), std::string::npos);
}

// The build puts the English seed beside the library, where an installed library also finds
// its own; a store started from it has the seed's records.
TEST(SeedHostServicesTest, TheShippedEnglishSeedIsFoundBesideTheLibrary) {
  auto directory = shippedSeedDirectory();
  ASSERT_TRUE(directory) << "the handbook_seed target builds it";
  auto source = makePackSourceWithShippedSeeds(std::filesystem::path("/nonexistent"));
  auto archive = source->resourcePath("Handbook_en.sqlite");
  ASSERT_TRUE(archive);
  EXPECT_EQ(archive->parent_path(), *directory);

  HandbookEnvironment env;
  HandbookStorage::Options options;
  options.applicationSupportDirectory = env.support;
  SeedStorage::Options seedOptions;
  seedOptions.settings = env.settings;
  seedOptions.currentLocalization = "en";
  seedOptions.packSource = source;
  seedOptions.networkMonitor = std::make_shared<NetworkMonitor>();
  options.seedStorage = SeedStorage::create(seedOptions);
  HandbookAdapter adapter(options);
  EXPECT_GT(adapter.getPostEntitiesCount(Predicate::truePredicate()), 100u);
  EXPECT_EQ(env.settings->stringForKey(SeedStorage::kLocalizationWithSavedHandbookKey), "en");
}

}  // namespace
}  // namespace dm
