// The user's country for unit defaults, read from the main store's country records.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Units/UnitsCountrySource.h"

namespace dm {

class ManagedObjectStore;

// Answers with the `iso` of the first CountryEntity by weight then name. Each answer reads
// the store afresh in a private context of its own, so any thread may ask and no screen's
// context is touched. Nothing when the store is gone, has no country, or fails (logged).
class StoreCountrySource final : public UnitsCountrySource {
 public:
  // Reads `store`, or the shared main store at the time of each answer when null.
  explicit StoreCountrySource(std::shared_ptr<ManagedObjectStore> store = nullptr);
  std::optional<std::string> firstCountryIso() const override;

 private:
  std::weak_ptr<ManagedObjectStore> store_;
  bool followsShared_;
};

}  // namespace dm
