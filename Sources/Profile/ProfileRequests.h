// The requests that change a profile: user update, name and gender, trainer services, abuse
// reports and recalls. Transient records, sent through their `serialized` trees.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Mapping/Enumerations/FinanceEnumerations.h"
#include "Mapping/Enumerations/UserEnumerations.h"
#include "Mapping/Records/BaseMappableObject.h"

namespace dm {

// All: one thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
// Fields are set with setValueForKey under the names below.

// "user": profile fields under their own names, five flags under the server's names.
class UpdateUserRequest : public BaseMappableObject {
  DM_RECORD_OBJECT(UpdateUserRequest)
 public:
  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
    std::optional<std::string> rootKeyPath() const override { return "user"; }
  };
};

// "profile": firstName, lastName and the gender code.
class ProfileRequest : public BaseMappableObject {
  DM_RECORD_OBJECT(ProfileRequest)
 public:
  // genderTypeString through GenderTypeMappings; NotAvailable for an unknown code.
  GenderType genderType() const;
  void setGenderType(GenderType type);

  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
    std::optional<std::string> rootKeyPath() const override { return "profile"; }
  };
};

// "service": a new trainer service.
class TrainerServiceAddRequest : public BaseMappableObject {
  DM_RECORD_OBJECT(TrainerServiceAddRequest)
 public:
  // serviceTypeString through ServiceTypeMappings; nothing for an unknown code.
  std::optional<ServiceType> serviceType() const;
  void setServiceType(ServiceType type);

  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
    std::optional<std::string> rootKeyPath() const override { return "service"; }
  };
};

// "service": an existing service's changes, with its status and its entityID (not sent; it
// names the service in the route).
class TrainerServiceUpdateRequest : public TrainerServiceAddRequest {
  DM_RECORD_OBJECT(TrainerServiceUpdateRequest)
 public:
  class Class : public TrainerServiceAddRequest::Class {
   public:
    using TrainerServiceAddRequest::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
  };
};

// "abuse": exactly userID, message, title and abuse_reason (an AbuseType code).
class AbuseUserRequest : public BaseMappableObject {
  DM_RECORD_OBJECT(AbuseUserRequest)
 public:
  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
    std::optional<std::string> rootKeyPath() const override { return "abuse"; }
  };
};

// "recall": text and rating of a recall about a trainer.
class PostRecallRequest : public BaseMappableObject {
  DM_RECORD_OBJECT(PostRecallRequest)
 public:
  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    MappingDictionary attributeMappings() const override;
    std::optional<std::string> rootKeyPath() const override { return "recall"; }
  };
};

}  // namespace dm
