// The list of enumeration tables that the tests walk.
#include "EnumerationCatalog.h"

#include "Platform/Foundation/LocaleServices.h"

namespace dm::test {

const std::vector<CodeTableEntry>& allCodeTables() {
  static const std::vector<CodeTableEntry> tables{
      {"AccountType", &AccountTypeMappings},
      {"GenderType", &GenderTypeMappings},
      {"FrequencyType", &FrequencyTypeMappings},
      {"ServiceType", &ServiceTypeMappings},
      {"PaymentStatus", &PaymentStatusMappings},
      {"CardType", &CardTypeMappings},
      {"CourseStatus", &CourseStatusMappings},
      {"HandbookStatus", &HandbookStatusMappings},
      {"ExerciseType", &ExerciseTypeMappings},
      {"ExerciseHandbookType", &ExerciseHandbookTypeMappings},
      {"HandbookPostType", &HandbookPostTypeMappings},
      {"HandbookFilterTagType", &HandbookFilterTagTypeMappings},
      {"SocialMediaType", &SocialMediaTypeMappings},
      {"EntityStatus", &EntityStatusMappings},
      {"ExerciseSetType", &ExerciseSetTypeMappings},
      {"ExerciseWeightType", &ExerciseWeightTypeMappings},
      {"CoursePresetType", &CoursePresetTypeMappings},
      {"CoursePresetLevel", &CoursePresetLevelMappings},
      {"CoursePresetTrainingFor", &CoursePresetTrainingForMappings},
      {"StatisticPeriodType", &StatisticPeriodTypeMappings},
      {"ServerSubscriptionType", &ServerSubscriptionTypeMappings},
      {"AbuseType", &AbuseTypeMappings},
      {"UserStatus", &UserStatusMappings},
  };
  return tables;
}

const std::vector<TitleTableEntry>& allTitleTables() {
  using enum TitleKind;
  static const std::vector<TitleTableEntry> tables{
      {"AccountType", &AccountTypeTitleMappings, &TitleForAccountType, Localized},
      {"GenderType", &GenderTypeTitleMappings, &TitleForGenderType, Stored},
      {"FrequencyType", &FrequencyTypeTitleMappings, &TitleForFrequencyType, Stored},
      {"ServiceType", &ServiceTypeTitleMappings, &TitleForServiceType, Stored},
      {"PaymentStatus", &PaymentStatusTitleMappings, &TitleForPaymentStatus, Stored},
      {"CardType", &CardTypeTitleMappings, &TitleForCardType, Stored},
      {"CourseStatus", &CourseStatusTitleMappings, &TitleForCourseStatus, Stored},
      {"HandbookPostType", &HandbookPostTypeTitleMappings, &TitleForHandbookPostType, Stored},
      {"NutritionType", &NutritionTypeTitleMappings, &TitleForNutritionType, Localized},
      {"ProductIndexType", &ProductIndexTypeTitleMappings, &TitleForProductIndexType, Localized},
      {"ProductIndexStatus", &ProductIndexStatusTitleMappings, &TitleForProductIndexStatus,
       Localized},
      {"EntityStatus", &EntityStatusTitleMappings,
       static_cast<std::string (*)(int)>(&TitleForEntityStatus), Stored},
      {"TrainingCourseCategory", &TrainingCourseCategoryTitleMappings,
       &TitleForTrainingCourseCategory, Localized},
      {"ExerciseSetType", &ExerciseSetTypeTitleMappings, &TitleForExerciseSetType, Localized},
      {"PharmacyScreenMode", &PharmacyScreenModeTitleMappings, &TitleForPharmacyScreenMode,
       Localized},
      {"AbuseType", &AbuseTypeTitleMappings, &TitleForAbuseType, Localized},
  };
  return tables;
}

ScopedInterfaceLanguage::ScopedInterfaceLanguage(const std::string& language) {
  setCurrentInterfaceLanguage(language);
}

ScopedInterfaceLanguage::~ScopedInterfaceLanguage() {
  setCurrentInterfaceLanguage({});
}

}  // namespace dm::test
