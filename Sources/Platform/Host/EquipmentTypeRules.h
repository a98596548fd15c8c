// The equipment-type rules of exercises: for an equipment type number of a handbook exercise,
// whether it is done one side at a time, alternately, with a bar, and which recommendation
// and weight texts apply. The tables of equipment types belong to the application, so this
// is a host hook: the host hands its table over (or overrides the answers).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace dm {

// The yes/no rules, named as the exercise texts use them.
enum class EquipmentTypeRule {
  OneArm,
  OneLeg,
  OneSide,
  InterchangeArm,
  InterchangeLeg,
  InterchangeSide,
  Gravitron,
  IgnorableWeight,
  BigBarRecomendation,
  SmallStraightBarRecomendation,
  ExtraWeightExplanation6,
  ExtraWeightExplanation14,
  RecommendedWeightWithBar,
  OneArmExtraExplanation,
};

// The application's table: the equipment types each rule holds for, the weight multiplier of
// types whose recommended weight is not taken as is, and the recommendation template key of
// types that have their own sentence.
struct EquipmentTypeTable {
  std::map<EquipmentTypeRule, std::set<std::int64_t>> rules;
  std::map<std::int64_t, double> weightMultipliers;
  std::map<std::int64_t, std::string> recommendationKeys;
};

// Answers from a table. The default (an empty table, used until the host installs its own)
// gives no equipment type any rule: every test is false, every multiplier 1 and no type has a
// template key, so the exercise texts fall back to their default sentences.
// Immutable after construction; any thread. Hosts may subclass to answer otherwise.
class EquipmentTypeRules {
 public:
  // Throws Error InvalidInput for a multiplier that is not a finite number above 0 or an
  // empty template key.
  explicit EquipmentTypeRules(EquipmentTypeTable table = {});
  virtual ~EquipmentTypeRules() = default;

  virtual bool holds(EquipmentTypeRule rule, std::int64_t equipmentType) const;
  // The factor the recommended weight is multiplied by; 1 for a type without one.
  virtual double recommendedWeightMultiplyer(std::int64_t equipmentType) const;
  // The display key of the type's own recommendation sentence, if it has one.
  virtual std::optional<std::string> getTypeRecomendationString(std::int64_t equipmentType) const;

  bool isOneArmType(std::int64_t type) const { return holds(EquipmentTypeRule::OneArm, type); }
  bool isOneLegType(std::int64_t type) const { return holds(EquipmentTypeRule::OneLeg, type); }
  bool isOneSideType(std::int64_t type) const { return holds(EquipmentTypeRule::OneSide, type); }
  bool isInterchangeArm(std::int64_t type) const {
    return holds(EquipmentTypeRule::InterchangeArm, type);
  }
  bool isInterchangeLeg(std::int64_t type) const {
    return holds(EquipmentTypeRule::InterchangeLeg, type);
  }
  bool isInterchangeSide(std::int64_t type) const {
    return holds(EquipmentTypeRule::InterchangeSide, type);
  }
  bool isGravitron(std::int64_t type) const { return holds(EquipmentTypeRule::Gravitron, type); }
  bool isIgnorableWeight(std::int64_t type) const {
    return holds(EquipmentTypeRule::IgnorableWeight, type);
  }
  bool isBigBarRecomendation(std::int64_t type) const {
    return holds(EquipmentTypeRule::BigBarRecomendation, type);
  }
  bool isSmallStraightBarRecomendation(std::int64_t type) const {
    return holds(EquipmentTypeRule::SmallStraightBarRecomendation, type);
  }
  bool isExtraWeightExplanation6(std::int64_t type) const {
    return holds(EquipmentTypeRule::ExtraWeightExplanation6, type);
  }
  bool isExtraWeightExplanation14(std::int64_t type) const {
    return holds(EquipmentTypeRule::ExtraWeightExplanation14, type);
  }
  bool isRecommendedWeightWithBar(std::int64_t type) const {
    return holds(EquipmentTypeRule::RecommendedWeightWithBar, type);
  }
  bool isOneArmExtraExplanation(std::int64_t type) const {
    return holds(EquipmentTypeRule::OneArmExtraExplanation, type);
  }

  // The process-wide rules (the empty-table default unless the host installed its own).
  static std::shared_ptr<EquipmentTypeRules> shared();
  // Replaces the process-wide rules; nullptr restores the default.
  static void setShared(std::shared_ptr<EquipmentTypeRules> rules);

 private:
  const EquipmentTypeTable table_;
};

}  // namespace dm
