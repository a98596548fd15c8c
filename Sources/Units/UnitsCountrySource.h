// Where UnitsHelper learns the user's country: the replaceable source of the ISO region code of
// the first stored country.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace dm {

// The user's country is the first stored country record sorted ascending by "weight" then
// "name"; UnitsHelper only needs its two-letter `iso` code. The records live in the main
// object store, so this interface keeps UnitsHelper's rules free of the store. The shared
// UnitsHelper starts with a StoreCountrySource that follows the open main store; a helper
// built without a source, or before any store is open, knows no country and derives the unit
// defaults from the locale's region alone. Hosts may install another through
// UnitsHelper::setCountrySource.
//
// Which region yields which defaults, and when they are derived, is decided by UnitsHelper,
// not here. Implementations may be called from any thread that reads a unit setting whose
// default has not been derived yet, and must be safe for that.
class UnitsCountrySource {
 public:
  virtual ~UnitsCountrySource() = default;

  // The `iso` code of the first country by weight then name; nothing when there is no stored
  // country or its code is absent. Failures (a store that cannot be read) give nothing.
  virtual std::optional<std::string> firstCountryIso() const = 0;

  // The source used until another is installed: never a country.
  static std::shared_ptr<UnitsCountrySource> none();
  // A source that asks `lookup` each time (an empty function behaves as none()).
  static std::shared_ptr<UnitsCountrySource> fromFunction(
      std::function<std::optional<std::string>()> lookup);
};

}  // namespace dm
