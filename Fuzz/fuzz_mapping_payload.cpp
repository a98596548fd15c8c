// Maps the input as a JSON payload (exercises with their nested day, and days with their
// nested exercises) into an in-memory destination, strictly and leniently. A refused payload
// must leave the destination exactly as it was; a lenient mapping that succeeds must report
// each skipped value with its class and leave dictionary and list fields of their kind.
// The scanner that splits large payloads into windows must find exactly the elements the
// parser finds, each element's text parsing to the same value.
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <simdjson.h>

#include "Platform/ObjectMapping/InMemoryDestination.h"
#include "Platform/ObjectMapping/JsonStructure.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"

namespace {

using Kind = dm::FieldKind;

void registerClasses(dm::InMemoryDestination& store) {
  store.registerClass({"Day",
                       {{"entityID", Kind::Integer64}, {"title", Kind::String}},
                       {{"exercises", "Exercise", true}}});
  store.registerClass({"Exercise",
                       {{"entityID", Kind::Integer64},
                        {"name", Kind::String},
                        {"trainingDayId", Kind::Integer64},
                        {"weight", Kind::Double},
                        {"sets", Kind::Integer16},
                        {"done", Kind::Boolean},
                        {"at", Kind::Date},
                        {"city", Kind::String},
                        {"extra", Kind::Tree},
                        {"prefs", Kind::Dictionary},
                        {"tags", Kind::List}},
                       {{"trainingDay", "Day", false}}});
}

std::shared_ptr<dm::ObjectMapping> exerciseMapping() {
  auto exercise = dm::ObjectMapping::entityMapping("Exercise");
  exercise->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                    {"name", "name"},
                                                                    {"day_id", "trainingDayId"},
                                                                    {"weight", "weight"},
                                                                    {"sets", "sets"},
                                                                    {"done", "done"},
                                                                    {"at", "at"},
                                                                    {"address.city", "city"},
                                                                    {"extra", "extra"},
                                                                    {"prefs", "prefs"},
                                                                    {"tags", "tags"}});
  exercise->setIdentificationAttributes({"entityID"});
  auto day = dm::ObjectMapping::entityMapping("Day");
  day->addAttributeMappings(
      std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
  day->setIdentificationAttributes({"entityID"});
  exercise->addRelationshipMapping("day", "trainingDay", day);
  day->addRelationshipMapping("exercises", "exercises", exercise);
  return exercise;
}

// A structure field holds nothing, null or a tree of its kind.
bool holdsKind(dm::InMemoryDestination& store, dm::ObjectRef object, const char* field,
               bool dictionary) {
  const nlohmann::json tree = store.tree(object, field);
  return tree.is_null() || (dictionary ? tree.is_object() : tree.is_array());
}

void mapOnce(std::string_view json, bool lenient) {
  static const std::shared_ptr<dm::ObjectMapping> mapping = exerciseMapping();
  dm::InMemoryDestination store;
  registerClasses(store);
  // One existing record, so a refused payload has something it could have damaged.
  dm::ObjectRef existing = store.insert("Exercise");
  store.set(existing, "entityID", dm::Value(1));
  store.set(existing, "name", dm::Value("kept"));

  dm::MappingOptions options;
  options.skipInvalidValues = lenient;
  try {
    auto result = dm::MappingOperation(store, options).map(json, "", mapping);
    if (result.skippedCount < result.skipped.size()) __builtin_trap();
    if (!lenient && result.skippedCount != 0) __builtin_trap();
    for (const auto& skipped : result.skipped)
      if (skipped.className.empty()) __builtin_trap();
    for (dm::ObjectRef object : store.objects("Exercise")) {
      if (!holdsKind(store, object, "prefs", true) || !holdsKind(store, object, "tags", false))
        __builtin_trap();
    }
  } catch (const dm::MappingError&) {
    if (store.count("Exercise") != 1 || store.count("Day") != 0) __builtin_trap();
    if (!(store.get(existing, "name") == dm::Value("kept"))) __builtin_trap();
  }
}

std::string minified(simdjson::dom::element element) {
  return simdjson::minify(element);
}

// The elements the scanner locates under `key` ("" for a root array) against the parsed array.
void checkWindows(std::string_view json, simdjson::dom::element document, std::string_view key) {
  simdjson::dom::array array;
  if (key.empty()) {
    if (document.get_array().get(array) != simdjson::SUCCESS) return;
  } else if (document.at_key(key).get_array().get(array) != simdjson::SUCCESS) {
    return;
  }
  std::vector<dm::json_structure::Span> spans;
  if (!dm::json_structure::locateArrayElements(json, key, spans)) {
    // Only an escaped top-level key may make the scanner step aside.
    if (key.empty() || json.find('\\') == std::string_view::npos) __builtin_trap();
    return;
  }
  if (spans.size() != array.size()) __builtin_trap();
  simdjson::dom::parser parser;
  std::size_t i = 0;
  for (simdjson::dom::element element : array) {
    const simdjson::padded_string text(json.substr(spans[i].begin, spans[i].end - spans[i].begin));
    simdjson::dom::element alone;
    if (parser.parse(text).get(alone) != simdjson::SUCCESS) __builtin_trap();
    if (minified(alone) != minified(element)) __builtin_trap();
    ++i;
  }
}

void checkWindows(std::string_view json) {
  simdjson::dom::parser parser;
  simdjson::dom::element document;
  const simdjson::padded_string text(json);
  if (parser.parse(text).get(document) != simdjson::SUCCESS) return;
  checkWindows(json, document, "");
  simdjson::dom::object object;
  if (document.get_object().get(object) == simdjson::SUCCESS && object.begin() != object.end()) {
    const std::string firstKey((*object.begin()).key);
    checkWindows(json, document, firstKey);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view json(reinterpret_cast<const char*>(data), size);
  mapOnce(json, false);
  mapOnce(json, true);
  checkWindows(json);
  return 0;
}
