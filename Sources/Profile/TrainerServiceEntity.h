// A service a trainer sells (one-time or monthly), with its price and state.
#pragma once

#include <optional>
#include <string>

#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Models/KorvaloEntities.h"

namespace dm {

// Threads and ownership as ManagedObject. Generated accessors: serviceName, serviceTypeString,
// price, currency, enabled, general, comment, createdAt, coach.
class TrainerServiceEntity : public TrainerServiceEntityGenerated {
 public:
  // serviceTypeString through ServiceTypeMappings; nothing for an absent or unknown code.
  std::optional<ServiceType> serviceType() const;
  void setServiceType(ServiceType type);

  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    MappingDictionary attributeMappings() const override {
      auto mapping = BaseUUIDEntity::Class::attributeMappings();
      mapping["serviceTypeString"] = "service_type";
      return mapping;
    }
    std::optional<std::string> rootKeyPath() const override { return "service"; }
    std::optional<std::string> pluralRootKeyPath() const override { return "services"; }
  };
};

}  // namespace dm
