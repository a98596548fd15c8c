// Payload mapping benchmarks (map.insert, map.update, map.nested): JSON text mapped into a
// store and committed, following the harness protocol in Benchmarks/README.md.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "DataModel.h"
#include "ReadPayload.h"

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace {

using namespace dm;

constexpr const char* kModel = R"({
  "name": "MappingBenchmark",
  "entities": [
    {"name": "MapRecord", "attributes": [
      {"name": "entityID", "type": "integer64", "indexed": true},
      {"name": "userID", "type": "integer64"},
      {"name": "title", "type": "string"},
      {"name": "text", "type": "string"},
      {"name": "weight", "type": "double"},
      {"name": "calories", "type": "double"},
      {"name": "isPublic", "type": "boolean"},
      {"name": "status", "type": "string"},
      {"name": "createdAt", "type": "date"},
      {"name": "position", "type": "integer32"}]},
    {"name": "MapParent", "attributes": [
      {"name": "entityID", "type": "integer64", "indexed": true},
      {"name": "title", "type": "string"},
      {"name": "createdAt", "type": "date"}],
     "relationships": [
      {"name": "items", "destination": "MapChild", "inverse": "parent", "toMany": true}]},
    {"name": "MapChild", "attributes": [
      {"name": "entityID", "type": "integer64", "indexed": true},
      {"name": "parentID", "type": "integer64"},
      {"name": "title", "type": "string"},
      {"name": "amount", "type": "double"},
      {"name": "position", "type": "integer32"}],
     "relationships": [
      {"name": "parent", "destination": "MapParent", "inverse": "items"}]}
  ]})";

const char* const kStatuses[] = {"active", "draft", "archived", "deleted"};

std::string stamp(long minutes) {
  std::time_t t = 1704067200 + minutes * 60;
  std::tm tm{};
  gmtime_r(&t, &tm);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &tm);
  return buffer;
}

// The same shapes as Benchmarks/gen_map_payload.py, for runs without the harness's file.
std::string flatPayload(long n) {
  std::ostringstream out;
  out << '[';
  for (long i = 0; i < n; ++i) {
    if (i) out << ',';
    out << R"({"id":)" << i + 1 << R"(,"user_id":)" << i % 1000 << R"(,"title":"Item )" << i
        << R"(","description":"Description of item )" << i
        << R"(, mapped from a server answer","weight":)" << (i % 2000) / 10.0 << R"(,"calories":)"
        << (i % 5000) / 4.0 << R"(,"is_public":)" << (i % 3 == 0 ? "true" : "false")
        << R"(,"status":")" << kStatuses[i % 4] << R"(","created_at":")" << stamp(i)
        << R"(","position":)" << i % 100 << '}';
  }
  out << ']';
  return out.str();
}

std::string nestedPayload(long n) {
  std::ostringstream out;
  out << '[';
  for (long p = 0; p < n; ++p) {
    if (p) out << ',';
    out << R"({"id":)" << p + 1 << R"(,"title":"Parent )" << p << R"(","created_at":")" << stamp(p)
        << R"(","items":[)";
    for (long c = 0; c < 20; ++c) {
      const long child = p * 20 + c;
      if (c) out << ',';
      out << R"({"id":)" << child + 1 << R"(,"parent_id":)" << p + 1 << R"(,"title":"Child )"
          << child << R"(","amount":)" << (child % 500) / 5.0 << R"(,"position":)" << c << '}';
    }
    out << "]}";
  }
  out << ']';
  return out.str();
}

std::shared_ptr<ObjectMapping> recordMapping() {
  auto mapping = ObjectMapping::entityMapping("MapRecord");
  mapping->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                   {"user_id", "userID"},
                                                                   {"title", "title"},
                                                                   {"description", "text"},
                                                                   {"weight", "weight"},
                                                                   {"calories", "calories"},
                                                                   {"is_public", "isPublic"},
                                                                   {"status", "status"},
                                                                   {"created_at", "createdAt"},
                                                                   {"position", "position"}});
  mapping->setIdentificationAttributes({"entityID"});
  return mapping;
}

std::shared_ptr<ObjectMapping> parentMapping() {
  auto child = ObjectMapping::entityMapping("MapChild");
  child->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                 {"parent_id", "parentID"},
                                                                 {"title", "title"},
                                                                 {"amount", "amount"},
                                                                 {"position", "position"}});
  child->setIdentificationAttributes({"entityID"});
  auto parent = ObjectMapping::entityMapping("MapParent");
  parent->addAttributeMappings(std::map<std::string, std::string>{
      {"id", "entityID"}, {"title", "title"}, {"created_at", "createdAt"}});
  parent->setIdentificationAttributes({"entityID"});
  parent->addRelationshipMapping("items", "items", child);
  return parent;
}

// Maps and commits; throws on failure.
void mapAndSave(ManagedObjectContext& context, const std::string& payload,
                const std::shared_ptr<ObjectMapping>& mapping) {
  ManagedObjectDestination destination(context);
  MappingOperation(destination).map(payload, "", mapping);
  context.save();
}

std::size_t count(ManagedObjectContext& context, const char* entity) {
  return context.countForFetchRequest(FetchRequest(context.model().entityNamed(entity)));
}

int run(const std::string& workload, long n, const std::filesystem::path& dir) {
  const bool nested = workload == "map.nested";
  std::string payload;
  if (std::filesystem::exists(dir / "payload.json")) {
    // With spare room for the parser to read the text in place.
    payload = bench::readPayload(dir / "payload.json", MappingOperation::kParsePadding);
  } else {
    payload = nested ? nestedPayload(n) : flatPayload(n);
  }
  auto store = PersistentStore::open(ManagedObjectModel::fromJson(kModel), StoreType::SQLite,
                                     (dir / "mapping.sqlite").string());
  auto context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "bench");
  auto mapping = nested ? parentMapping() : recordMapping();
  if (workload == "map.update") mapAndSave(*context, payload, mapping);

  const auto start = std::chrono::steady_clock::now();
  mapAndSave(*context, payload, mapping);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  std::size_t records = static_cast<std::size_t>(n);
  std::string check;
  if (nested) {
    records = static_cast<std::size_t>(n) * 21;
    check = std::to_string(count(*context, "MapChild"));
  } else if (workload == "map.update") {
    check = std::to_string(count(*context, "MapRecord"));
  } else {
    check = std::to_string(n);
  }
  std::printf(
      "{\"workload\":\"%s\",\"impl\":\"DataModel\",\"records\":%zu,\"seconds\":%.6f,"
      "\"check\":\"%s\"}\n",
      workload.c_str(), records, seconds, check.c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  dm::registerRecordClasses();
  std::string workload, dataDir;
  long records = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--list") {
      std::puts("map.insert\nmap.update\nmap.nested");
      return 0;
    }
    if (i + 1 >= argc) {
      std::cerr << "missing value for " << arg << "\n";
      return 2;
    }
    if (arg == "--workload") {
      workload = argv[++i];
    } else if (arg == "--records") {
      records = std::atol(argv[++i]);
    } else if (arg == "--data-dir") {
      dataDir = argv[++i];
    } else {
      std::cerr << "unknown argument " << arg << "\n";
      return 2;
    }
  }
  if (workload != "map.insert" && workload != "map.update" && workload != "map.nested") {
    std::cerr << "unknown workload '" << workload << "'\n";
    return 2;
  }
  if (dataDir.empty() || records <= 0) {
    std::cerr << "usage: " << argv[0] << " --workload NAME --records N --data-dir DIR\n";
    return 2;
  }
  try {
    return run(workload, records, dataDir);
  } catch (const std::exception& error) {
    std::cerr << workload << " failed: " << error.what() << "\n";
    return 1;
  }
}
