// The built-in country sources: none, and one backed by a caller's function.
#include "Units/UnitsCountrySource.h"

namespace dm {

namespace {

class NoCountrySource final : public UnitsCountrySource {
 public:
  std::optional<std::string> firstCountryIso() const override { return std::nullopt; }
};

class FunctionCountrySource final : public UnitsCountrySource {
 public:
  explicit FunctionCountrySource(std::function<std::optional<std::string>()> lookup)
      : lookup_(std::move(lookup)) {}
  std::optional<std::string> firstCountryIso() const override {
    return lookup_ ? lookup_() : std::nullopt;
  }

 private:
  std::function<std::optional<std::string>()> lookup_;
};

}  // namespace

std::shared_ptr<UnitsCountrySource> UnitsCountrySource::none() {
  static const std::shared_ptr<UnitsCountrySource> source = std::make_shared<NoCountrySource>();
  return source;
}

std::shared_ptr<UnitsCountrySource> UnitsCountrySource::fromFunction(
    std::function<std::optional<std::string>()> lookup) {
  return std::make_shared<FunctionCountrySource>(std::move(lookup));
}

}  // namespace dm
