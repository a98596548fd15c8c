// `dmctl units`: shows the unit settings and where they come from, changes them, and prints
// values the way the screens show them in the current units and language.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "DataModel.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"
#include "dmctl/Command.h"
#include "dmctl/JsonOutput.h"

namespace dmctl {
namespace {

using Keys = dm::UnitsSettingsKeys;
using dm::UnitsHelper;

struct UnitsArguments {
  std::string locale;
  std::string language;
  std::string country;
  std::string setting;
  std::string value;
  bool setDefault = false;
  bool exercise = false;
  std::vector<std::string> quantities;
  double height = 0;
};

// One unit setting as the command names it, with its keys, setters and accepted value names.
struct SettingInfo {
  const char* name;
  std::string_view key;
  std::string_view defaultKey;
  void (UnitsHelper::*set)(std::int64_t);
  void (UnitsHelper::*setDefault)(std::int64_t);
  std::optional<std::string> (*label)();
  std::vector<std::string> zeroNames;
  std::vector<std::string> oneNames;
};

std::optional<std::string> caloriesLabel() {
  return UnitsHelper::caloriesUnitsStringShort();
}

const std::vector<SettingInfo>& settings() {
  static const std::vector<SettingInfo> list = {
      {"weight",
       Keys::weightUnits,
       Keys::defaultWeightUnits,
       &UnitsHelper::setWeightUnitsValue,
       &UnitsHelper::setDefaultWeightUnitsValue,
       &UnitsHelper::weightUnitsStringShort,
       {"metric", "kg"},
       {"imperial", "lb", "lbs"}},
      {"food",
       Keys::weightMealUnits,
       Keys::defaultWeightMealUnits,
       &UnitsHelper::setWeightMealUnitsValue,
       &UnitsHelper::setDefaultWeightMealUnitsValue,
       &UnitsHelper::productWeightUnits,
       {"metric", "g"},
       {"imperial", "oz"}},
      {"temperature",
       Keys::temperatureUnits,
       Keys::defaultTemperatureUnits,
       &UnitsHelper::setTemperatureUnitsValue,
       &UnitsHelper::setDefaultTemperatureUnitsValue,
       &UnitsHelper::temperatureUnitsShort,
       {"metric", "c", "celsius"},
       {"imperial", "f", "fahrenheit"}},
      {"distance",
       Keys::distanceUnits,
       Keys::defaultDistanceUnits,
       &UnitsHelper::setDistanceUnitsValue,
       &UnitsHelper::setDefaultDistanceUnitsValue,
       &UnitsHelper::distanceUnitsStringShort,
       {"metric", "km"},
       {"imperial", "mi"}},
      {"calories",
       Keys::caloriesUnits,
       Keys::defaultCaloriesUnits,
       &UnitsHelper::setCaloriesUnitsValue,
       &UnitsHelper::setDefaultCaloriesUnitsValue,
       &caloriesLabel,
       {"metric", "kcal"},
       {}},
      {"height",
       Keys::heightUnits,
       Keys::defaultHeightUnits,
       &UnitsHelper::setHeightUnitsValue,
       &UnitsHelper::setDefaultHeightUnitsValue,
       &UnitsHelper::heightUnitsStringShort,
       {"metric", "cm"},
       {"imperial", "in", "ft"}},
  };
  return list;
}

std::string lowercase(std::string text) {
  for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

void prepare(const GlobalOptions& options, const UnitsArguments& arguments) {
  applyGlobalOptions(options);
  if (!arguments.locale.empty()) {
    dm::setCurrentLocaleIdentifier(arguments.locale);
  } else if (dm::currentLocaleIdentifier() == "en_US_POSIX") {
    // A C/POSIX environment writes raw floats ("154.300003"); no device runs that locale.
    dm::setCurrentLocaleIdentifier("en_US");
  }
  if (!arguments.language.empty()) dm::setCurrentInterfaceLanguage(arguments.language);
  if (arguments.country.empty()) {
    // As in the application: defaults follow the first country stored in the main store.
    dm::DataModelOptions open;
    open.useRootContextForClassOperations = true;
    dm::DataModel::open(open);
  } else {
    std::string iso = arguments.country;
    for (auto& c : iso) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (iso.size() != 2 || !std::isalpha(static_cast<unsigned char>(iso[0])) ||
        !std::isalpha(static_cast<unsigned char>(iso[1]))) {
      throw CommandError("--country needs a two-letter region code, e.g. US",
                         dm::ErrorCode::InvalidInput);
    }
    UnitsHelper::sharedInstance().setCountrySource(
        dm::UnitsCountrySource::fromFunction([iso] { return std::optional<std::string>(iso); }));
  }
}

void save() {
  auto store = UnitsHelper::sharedInstance().prefs();
  if (!store->synchronize()) {
    throw NotWrittenError("could not save settings to " + store->filePath().string());
  }
}

std::string metricText(std::optional<bool> metric) {
  if (!metric) return "unknown";
  return *metric ? "metric" : "imperial";
}

// ---- show ----

void show(const GlobalOptions& options) {
  auto& units = UnitsHelper::sharedInstance();
  const auto real = units.prefs();
  const auto metric = units.isMetricCountryForLocation();
  const auto country = units.countrySource()->firstCountryIso();

  // Labels are read through a scratch copy: reading a unit whose default is missing derives and
  // stores it, and showing should change nothing.
  const auto scratch = dm::SettingsStore::inMemory();
  const nlohmann::json entries = real->dictionaryRepresentation();
  for (const auto& [key, value] : entries.items()) {
    scratch->setObject(key, value);
  }
  units.setPrefs(scratch);

  nlohmann::json rows = nlohmann::json::array();
  for (const auto& setting : settings()) {
    nlohmann::json row = {{"setting", setting.name}};
    const bool chosen = real->contains(setting.key);
    const bool derived = real->contains(setting.defaultKey);
    row["source"] = chosen ? "chosen" : derived ? "derived default" : "none";
    if (derived) row["default"] = *real->objectForKey(setting.defaultKey);
    if (chosen) row["chosen"] = *real->objectForKey(setting.key);
    const auto label = setting.label();
    row["value"] = chosen    ? real->integerForKey(setting.key)
                   : derived ? real->integerForKey(setting.defaultKey)
                             : 0;
    row["label"] = label ? nlohmann::json(*label) : nlohmann::json();
    if (!chosen && !derived && metric) row["nextReadDerives"] = metricText(metric);
    rows.push_back(row);
  }
  const auto currency = real->stringForKey(Keys::currencyUnits);
  const auto defaultCurrency = real->stringForKey(Keys::defaultCurrency);
  nlohmann::json currencyRow = {{"setting", "currency"},
                                {"source", currency          ? "chosen"
                                           : defaultCurrency ? "derived default"
                                                             : "none"},
                                {"value", currency          ? *currency
                                          : defaultCurrency ? *defaultCurrency
                                                            : ""}};
  units.setPrefs(real);

  if (options.json) {
    rows.push_back(currencyRow);
    nlohmann::json out = {{"units", rows},
                          {"country", country ? nlohmann::json(*country) : nlohmann::json()},
                          {"locale", dm::currentLocaleIdentifier()},
                          {"language", dm::currentInterfaceLanguage()},
                          {"countryIsMetric", metric ? nlohmann::json(*metric) : nlohmann::json()},
                          {"needsToSetDefaultValues", units.needsToSetDefaultValues()}};
    std::printf("%s\n", out.dump(2).c_str());
    return;
  }
  std::printf("%-12s %-6s %-8s %s\n", "setting", "value", "label", "source");
  for (const auto& row : rows) {
    std::string source = row["source"].get<std::string>();
    if (row.contains("nextReadDerives")) {
      source += " (answers metric now; next read derives " +
                row["nextReadDerives"].get<std::string>() + ")";
    } else if (source == "none") {
      source += " (metric; nothing to derive from)";
    }
    std::printf("%-12s %-6lld %-8s %s\n", row["setting"].get<std::string>().c_str(),
                static_cast<long long>(row["value"].get<std::int64_t>()),
                row["label"].is_null() ? "-" : row["label"].get<std::string>().c_str(),
                source.c_str());
  }
  std::printf("%-12s %-6s %-8s %s\n", "currency", currencyRow["value"].get<std::string>().c_str(),
              "", currencyRow["source"].get<std::string>().c_str());
  std::printf("\ncountry: %s, locale: %s, language: %s -> %s\n",
              country ? country->c_str() : "(none stored)", dm::currentLocaleIdentifier().c_str(),
              dm::currentInterfaceLanguage().c_str(), metricText(metric).c_str());
}

// ---- set ----

std::int64_t parseUnitValue(const SettingInfo& setting, const std::string& text) {
  const std::string value = lowercase(text);
  for (const auto& name : setting.zeroNames) {
    if (value == name) return 0;
  }
  for (const auto& name : setting.oneNames) {
    if (value == name) return 1;
  }
  if (value == "0" || value == "1") return value == "1";
  std::string accepted = "0, 1";
  for (const auto& name : setting.zeroNames) accepted += ", " + name;
  for (const auto& name : setting.oneNames) accepted += ", " + name;
  throw CommandError(
      "unknown value \"" + text + "\" for " + setting.name + " (accepted: " + accepted + ")",
      dm::ErrorCode::InvalidInput);
}

void setCurrency(const GlobalOptions& options, const UnitsArguments& arguments) {
  std::string code = arguments.value;
  for (auto& c : code) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string known;
  bool supported = false;
  for (auto candidate : UnitsHelper::currencies()) {
    supported = supported || candidate == code;
    known += (known.empty() ? "" : ", ") + std::string(candidate);
  }
  if (!supported) {
    throw CommandError(
        "unsupported currency \"" + arguments.value + "\" (supported: " + known + ")",
        dm::ErrorCode::InvalidInput);
  }
  auto& units = UnitsHelper::sharedInstance();
  if (arguments.setDefault) {
    units.setDefaultCurrencyValue(code);
  } else {
    units.setCurrencyValue(code);
  }
  save();
  if (options.json)
    return printJson({{"setting", "currency"}, {"default", arguments.setDefault}, {"value", code}});
  std::printf("currency%s = %s\n", arguments.setDefault ? " default" : "", code.c_str());
}

void set(const GlobalOptions& options, const UnitsArguments& arguments) {
  const std::string name = lowercase(arguments.setting);
  if (name == "currency") return setCurrency(options, arguments);
  std::string known = "currency";
  for (const auto& setting : settings()) {
    known += std::string(", ") + setting.name;
    if (name != setting.name) continue;
    const std::int64_t value = parseUnitValue(setting, arguments.value);
    auto& units = UnitsHelper::sharedInstance();
    (units.*(arguments.setDefault ? setting.setDefault : setting.set))(value);
    save();
    const auto label = setting.label();
    if (options.json)
      return printJson({{"setting", setting.name},
                        {"default", arguments.setDefault},
                        {"value", value},
                        {"label", label ? nlohmann::json(*label) : nlohmann::json(nullptr)}});
    std::printf("%s%s = %lld%s\n", setting.name, arguments.setDefault ? " default" : "",
                static_cast<long long>(value), label ? (" (" + *label + ")").c_str() : "");
    return;
  }
  throw CommandError("unknown setting \"" + arguments.setting + "\" (known: " + known + ")",
                     dm::ErrorCode::InvalidInput);
}

// ---- convert / height ----

struct Quantity {
  double number;
  std::string unit;  // lowercased
};

Quantity parseQuantity(const std::string& text) {
  const char* begin = text.c_str();
  char* end = nullptr;
  const double number = std::strtod(begin, &end);
  if (end == begin || !std::isfinite(number)) {
    throw CommandError("not a quantity: \"" + text + "\" (e.g. 70kg, 154lbs, 100g, 180cm, 37C)",
                       dm::ErrorCode::InvalidInput);
  }
  std::string unit = end;
  while (!unit.empty() && std::isspace(static_cast<unsigned char>(unit.front()))) unit.erase(0, 1);
  return {number, lowercase(unit)};
}

std::string withLabel(const std::string& number, const std::optional<std::string>& label) {
  if (!label || label->empty()) return number;
  return number + " " + *label;
}

std::string heightText(double centimetres) {
  const auto text = UnitsHelper::heightInUnitsWithFoots(centimetres);
  if (!text) return dm::localizedNumberString(centimetres) + " (unknown height unit)";
  return withLabel(*text, UnitsHelper::heightUnitsStringExtraShort());
}

// What the screens show for `quantity`, given in any metric or imperial unit.
std::string shown(const Quantity& quantity, bool exercise) {
  const std::string& unit = quantity.unit;
  const double x = quantity.number;
  if (unit == "kg" || unit == "lb" || unit == "lbs") {
    const double kilograms = unit == "kg" ? x : UnitsHelper::lbsToKG(x);
    if (exercise) {
      return withLabel(dm::localizedNumberString(UnitsHelper::weightToUnitsTarget(kilograms, true)),
                       UnitsHelper::weightUnitsStringShortTemplate());
    }
    return withLabel(UnitsHelper::weightInUnits(kilograms), UnitsHelper::weightUnitsStringShort());
  }
  if (unit == "g" || unit == "oz") {
    const double grams = unit == "g" ? x : x * 28.3495;
    return UnitsHelper::grammWeightWithTitleInUnits(grams);
  }
  if (unit == "cm") return heightText(x);
  if (unit == "in") return heightText(UnitsHelper::inToCM(x));
  if (unit == "ft") return heightText(UnitsHelper::heightToCMFootsInches(x, 0));
  if (unit == "c" || unit == "f") {
    const double celsius = unit == "c" ? x : (x - 32.0) / 1.8;
    if (!(std::fabs(celsius) < 1e9))
      throw CommandError("temperature out of range", dm::ErrorCode::InvalidInput);
    const auto degrees = static_cast<std::int32_t>(std::lround(celsius));
    return withLabel(std::to_string(UnitsHelper::tempertureFromCelsium(degrees)),
                     UnitsHelper::temperatureUnitsShort());
  }
  throw CommandError(
      "unknown unit \"" + quantity.unit + "\" (known: kg, lb, lbs, g, oz, cm, in, ft, C, F)",
      dm::ErrorCode::InvalidInput);
}

// The first read of an underived default answers metric while storing the derived one; read
// each unit once first so that one printed line never mixes the two answers.
void settleDefaults() {
  UnitsHelper::weightUnits();
  UnitsHelper::weightMealUnits();
  UnitsHelper::temperatureUnits();
  UnitsHelper::heightUnits();
}

void convert(const GlobalOptions& options, const UnitsArguments& arguments) {
  settleDefaults();
  nlohmann::json rows = nlohmann::json::array();
  for (const auto& text : arguments.quantities) {
    const Quantity quantity = parseQuantity(text);
    rows.push_back({{"input", text}, {"shown", shown(quantity, arguments.exercise)}});
  }
  if (options.json) return printJson(rows);
  for (const auto& row : rows)
    std::printf("%s -> %s\n", row["input"].get<std::string>().c_str(),
                row["shown"].get<std::string>().c_str());
}

void height(const GlobalOptions& options, const UnitsArguments& arguments) {
  settleDefaults();
  // The caption names the unit (or the value carries its marks), as on the profile screen.
  const auto text = UnitsHelper::heightInUnitsWithFoots(arguments.height);
  if (options.json)
    return printJson({{"centimetres", arguments.height},
                      {"label", UnitsHelper::heightLabelString()},
                      {"shown", text ? nlohmann::json(*text) : nlohmann::json(nullptr)}});
  std::printf("%s: %s\n", UnitsHelper::heightLabelString().c_str(),
              text ? text->c_str() : "(unknown height unit)");
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static UnitsArguments arguments;
  auto* command = app.add_subcommand(
      "units", "Show the unit settings and their sources, change them, or convert values");
  command->require_subcommand(0, 1);
  command->add_option("--locale", arguments.locale,
                      "Locale for number texts, e.g. ru_RU (C/POSIX reads as en_US)");
  command->add_option("--language", arguments.language, "Interface language, e.g. ru");
  command->add_option("--country", arguments.country,
                      "The user's country (two-letter code) to derive defaults from");

  command->callback([command, &options] {
    if (!command->get_subcommands().empty()) return;
    prepare(options, arguments);
    show(options);
  });

  auto* setCommand = command->add_subcommand("set", "Choose a unit: set weight imperial");
  setCommand
      ->add_option("setting", arguments.setting,
                   "weight, food, temperature, distance, calories, height or currency")
      ->required();
  setCommand
      ->add_option("value", arguments.value, "metric, imperial, 0, 1, a unit (kg, oz...) or code")
      ->required();
  setCommand->add_flag("--default", arguments.setDefault,
                       "Store the default instead of the user's choice");
  setCommand->callback([&options] {
    prepare(options, arguments);
    set(options, arguments);
  });

  auto* reset = command->add_subcommand(
      "reset",
      "Forget the weight, distance, calories and height defaults so they are derived again");
  reset->callback([&options] {
    prepare(options, arguments);
    UnitsHelper::sharedInstance().resetDefaultValues();
    save();
    if (options.json) return printJson({{"reset", {"weight", "distance", "calories", "height"}}});
    std::printf("weight, distance, calories and height defaults removed\n");
  });

  auto* convertCommand = command->add_subcommand(
      "convert", "Show quantities as the screens would: convert 70kg 180cm");
  convertCommand->add_option("quantity", arguments.quantities, "e.g. 70kg, 154lbs, 100g, 37C")
      ->required();
  convertCommand->add_flag("--exercise", arguments.exercise,
                           "Weights are exercise targets (pounds snap to 5 lb steps)");
  convertCommand->callback([&options] {
    prepare(options, arguments);
    convert(options, arguments);
  });

  auto* heightCommand = command->add_subcommand("height", "Show a height in centimetres as shown");
  heightCommand->add_option("centimetres", arguments.height, "Height in centimetres")->required();
  heightCommand->callback([&options] {
    prepare(options, arguments);
    height(options, arguments);
  });
}

const CommandRegistration registration("units", &setup);

}  // namespace
}  // namespace dmctl
