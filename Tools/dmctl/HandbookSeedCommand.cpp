// `dmctl handbook seed-dictionary`: writes the handbook update dictionary built from the
// seed sources, the input of a seed handbook store.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "Handbook/Seed/HandbookSeedSource.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "dmctl/Command.h"
#include "dmctl/CommandTree.h"
#include "dmctl/HandbookCommandGroup.h"

namespace dmctl {
namespace {

struct SeedDictionaryOptions {
  std::string language = "en";
  std::string sourceDir;
  std::string outFile;
  std::int64_t version = 1;
  std::size_t limit = 0;
};

void writeDictionary(const GlobalOptions& global, const SeedDictionaryOptions& options) {
  applyGlobalOptions(global);
  std::string text;
  std::size_t exercises = 0;
  std::size_t products = 0;
  try {
    auto source = dm::HandbookSeedSource::load(options.sourceDir);
    dm::HandbookSeedOptions seedOptions;
    seedOptions.language = options.language;
    seedOptions.version = options.version;
    seedOptions.limit = options.limit;
    auto dictionary = source.updateDictionary(seedOptions);
    exercises = dictionary["post_exercises"].size();
    products = dictionary["post_products"].size();
    text = dm::serializeHandbookSeedDictionary(dictionary);
  } catch (const dm::Error& error) {  // a malformed source file or option
    throw CommandError(error.what(), libraryCode(error));
  }
  // Written to a temporary file first so a failed run never leaves a truncated dictionary.
  std::string temporary = options.outFile + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
      std::remove(temporary.c_str());
      throw CommandError("cannot write " + temporary);
    }
  }
  if (std::rename(temporary.c_str(), options.outFile.c_str()) != 0) {
    std::remove(temporary.c_str());
    throw CommandError("cannot write " + options.outFile);
  }
  if (global.json) {
    std::printf("{\"file\":%s,\"exercises\":%zu,\"products\":%zu,\"bytes\":%zu}\n",
                nlohmann::json(options.outFile).dump().c_str(), exercises, products, text.size());
  } else {
    std::printf("%s: %zu exercises, %zu products, %zu bytes\n", options.outFile.c_str(), exercises,
                products, text.size());
  }
}

void setup(CLI::App& app, const GlobalOptions& global) {
  auto options = std::make_shared<SeedDictionaryOptions>();
  auto* command = handbookCommandGroup(app).add_subcommand(
      "seed-dictionary", "Build the handbook update dictionary from the seed sources");
  command
      ->add_option("--lang", options->language,
                   "Language code: en, or any other code for marked test data")
      ->capture_default_str();
  command->add_option("--source", options->sourceDir, "Seed source directory (Resources/Seeds)")
      ->required()
      ->check(CLI::ExistingDirectory);
  command->add_option("--out", options->outFile, "Output JSON file")->required();
  command->add_option("--version", options->version, "Batch version announced")
      ->check(nonNegativeNumber())
      ->capture_default_str();
  command
      ->add_option("--limit", options->limit, "Keep only the first N exercises and foods (0: all)")
      ->check(nonNegativeNumber())
      ->capture_default_str();
  command->callback([&global, options] { writeDictionary(global, *options); });
}

const CommandRegistration registration("handbook seed-dictionary", &setup);

}  // namespace
}  // namespace dmctl
