// Exercise behaviour: classification, alternatives, pyramid steps, progress, serialisation.
#include "Training/ExerciseEntity.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <sstream>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Mapping/EntityStatus.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Host/EquipmentTypeRules.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExercisesUtils.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingCoursePresetEntity.h"
#include "Training/TrainingCourseType.h"
#include "Training/TrainingDayEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

// Handbook tags that decide whether an alternative suits a home course.
constexpr std::int64_t kTagHomeEquipmentA = 1034;
constexpr std::int64_t kTagHomeEquipmentB = 1035;
constexpr std::int64_t kTagWithoutEquipment = 1002;

// A number, or a text holding one; anything else is nothing.
std::optional<double> numberIn(const nlohmann::json& value) {
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) {
    std::string text = value.get<std::string>();
    std::replace(text.begin(), text.end(), ',', '.');
    double parsed = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error == std::errc() && end != text.data()) return parsed;
  }
  return std::nullopt;
}

// A text read as an integer (leading digits, decimals dropped); 0 when unreadable.
double integerIn(const std::string& text) {
  std::int64_t parsed = 0;
  auto begin = text.data();
  while (begin < text.data() + text.size() && *begin == ' ') ++begin;
  std::from_chars(begin, text.data() + text.size(), parsed);
  return static_cast<double>(parsed);
}

int codeValue(const CodeTable& table, const std::string& code) {
  auto value = table.valueForCode(code);
  return value ? *value : 0;
}

}  // namespace

int ExerciseEntity::setTypeValue() const {
  return codeValue(ExerciseSetTypeMappings(), setTypeString());
}
int ExerciseEntity::handbookTypeValue() const {
  return codeValue(ExerciseHandbookTypeMappings(), handbookTypeString());
}
int ExerciseEntity::weightTypeValue() const {
  return codeValue(ExerciseWeightTypeMappings(), weightTypeString());
}

bool ExerciseEntity::isKind(int kind) const {
  if (handbookTypeValue() != 1) {
    if (auto* post = currentPostExercise()) {
      auto type = post->exerciseType();
      return type && static_cast<int>(*type) == kind;
    }
  }
  return handbookTypeValue() == kind;
}

std::optional<std::int64_t> ExerciseEntity::currentEquipmentType() const {
  auto* post = currentPostExercise();
  return post ? post->equipmentType() : std::nullopt;
}

bool ExerciseEntity::currentEquipmentHolds(EquipmentTypeRule rule) const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->holds(rule, *type);
}

bool ExerciseEntity::isOneArmType() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isOneArmType(*type);
}
bool ExerciseEntity::isOneLegType() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isOneLegType(*type);
}
bool ExerciseEntity::isOneSideType() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isOneSideType(*type);
}

int ExerciseEntity::exerciseWhichSideType() const {
  if (isOneArmType()) return 1;
  if (isOneLegType()) return 2;
  if (isOneSideType()) return 3;
  return 0;
}

double ExerciseEntity::recommendedWeightMultiplyer() const {
  auto type = currentEquipmentType();
  return type ? EquipmentTypeRules::shared()->recommendedWeightMultiplyer(*type) : 1.0;
}
bool ExerciseEntity::isIgnorableWeight() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isIgnorableWeight(*type);
}
bool ExerciseEntity::isRecommendedWeightWithBar() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isRecommendedWeightWithBar(*type);
}
bool ExerciseEntity::isOneArmExtraExplanation() const {
  auto type = currentEquipmentType();
  return type && EquipmentTypeRules::shared()->isOneArmExtraExplanation(*type);
}

void ExerciseEntity::setTopConnection(bool value) {
  if (topSupersetConnection() != value || !hasTopSupersetConnection())
    setTopSupersetConnection(value);
}
void ExerciseEntity::setBottomConnection(bool value) {
  if (bottomSupersetConnection() != value || !hasBottomSupersetConnection())
    setBottomSupersetConnection(value);
}
void ExerciseEntity::clearConnections() {
  setTopConnection(false);
  setBottomConnection(false);
}

HandbookPostExerciseEntity* ExerciseEntity::postExerciseForId(std::int64_t postExerciseId) const {
  return HandbookAdapter::shared().getPostExerciseEntity(postExerciseId);
}

HandbookPostExerciseEntity* ExerciseEntity::mainPostExercise() const {
  return hasPostExerciseID() ? postExerciseForId(postExerciseID()) : nullptr;
}

void ExerciseEntity::updatePostExercise(const HandbookPostExerciseEntity& postExercise) {
  setPostExerciseID(postExercise.entityID().value_or(0));
}

std::optional<std::int64_t> ExerciseEntity::selectedCustomExerciseId() const {
  return ExercisesUtils::shared().postExerciseIdForExerciseId(
      hasEntityID() ? std::optional<std::int64_t>(entityID()) : std::nullopt);
}

std::int64_t ExerciseEntity::currentPostExerciseIdForPostExerciseId(
    std::optional<std::int64_t> id) const {
  if (id) return *id;
  if (auto selected = selectedCustomExerciseId()) return *selected;
  return postExerciseID();
}

HandbookPostExerciseEntity* ExerciseEntity::currentPostExerciseForPostExerciseId(
    std::optional<std::int64_t> id) const {
  auto wanted = id ? id : selectedCustomExerciseId();
  if (wanted)
    if (auto* post = postExerciseForId(*wanted)) return post;
  return mainPostExercise();
}

std::vector<std::int64_t> ExerciseEntity::mainExercisesIds() const {
  std::vector<std::int64_t> ids;
  auto* day = trainingDay();
  if (!day) return ids;
  auto exercises = day->exercises();
  std::sort(exercises.begin(), exercises.end(), [](ExerciseEntity* a, ExerciseEntity* b) {
    return std::pair(a->position(), a->entityID()) < std::pair(b->position(), b->entityID());
  });
  for (auto* exercise : exercises)
    if (auto* post = exercise->mainPostExercise())
      if (auto id = post->entityID()) ids.push_back(*id);
  return ids;
}

std::optional<std::vector<std::int64_t>> ExerciseEntity::alternativeIds() {
  if (cachedAlternativeIds_ && !cachedAlternativeIds_->empty()) return cachedAlternativeIds_;
  auto* main = mainPostExercise();
  std::string text = main ? main->alternativeIds() : std::string();
  if (text.empty()) return std::nullopt;
  auto dayIds = mainExercisesIds();
  std::vector<std::int64_t> ids;
  std::stringstream tokens(text);
  for (std::string token; std::getline(tokens, token, ',');) {
    auto id = static_cast<std::int64_t>(integerIn(token));
    if (std::find(dayIds.begin(), dayIds.end(), id) != dayIds.end()) continue;
    if (std::find(ids.begin(), ids.end(), id) != ids.end()) continue;
    if (!isCanBeAlternativeWithPostExerciseId(id)) continue;
    ids.push_back(id);
  }
  cachedAlternativeIds_ = ids;
  return ids;
}

bool ExerciseEntity::isCanBeAlternativeWithPostExerciseId(std::int64_t postExerciseId) const {
  auto* day = trainingDay();
  auto* course = day ? day->cource() : nullptr;
  if (!course || courseTypeOf(*course) != TrainingCourseType::Preset) return true;
  std::vector<std::int64_t> tags;
  if (auto* post = postExerciseForId(postExerciseId)) tags = post->tagIds();
  auto has = [&](std::int64_t tag) {
    return std::find(tags.begin(), tags.end(), tag) != tags.end();
  };
  auto* preset = presetOf(*course);
  int trainingFor = preset && preset->trainingFor() ? static_cast<int>(*preset->trainingFor()) : 0;
  bool withEquipment = preset && preset->withEquipment();
  if (trainingFor == 1 && withEquipment && !has(kTagHomeEquipmentA) && !has(kTagHomeEquipmentB))
    return false;
  return trainingFor != 1 || withEquipment || has(kTagWithoutEquipment);
}

void ExerciseEntity::rotateCurrentPostExerciseToNext() {
  auto alternatives = alternativeIds();
  if (!alternatives || alternatives->empty()) return;
  auto selected = selectedCustomExerciseId();
  std::optional<std::int64_t> next;
  if (!selected) {
    next = alternatives->front();
  } else if (*selected == alternatives->back()) {
    next = std::nullopt;  // back to the main exercise
  } else {
    auto found = std::find(alternatives->begin(), alternatives->end(), *selected);
    // An id no longer among the alternatives counts as the first position.
    std::size_t position = found == alternatives->end() ? 0 : found - alternatives->begin();
    next = (*alternatives)[std::min(position + 1, alternatives->size() - 1)];
  }
  ExercisesUtils::shared().setPostExerciseIdForExerciseId(entityID(), next, true);
}

std::int64_t ExerciseEntity::getCourseId() const {
  auto* day = trainingDay();
  if (!day) return 0;
  if (auto* course = day->cource()) return course->entityID();
  return day->courseId();
}

nlohmann::json ExerciseEntity::alternativeValuesArray() const {
  auto values = alternativeValues();
  return values.is_array() ? values : nlohmann::json::array();
}

std::optional<nlohmann::json> ExerciseEntity::alternativeEntry(std::optional<std::int64_t> id,
                                                               const char* key) const {
  auto wanted = id ? id : selectedCustomExerciseId();
  if (!wanted) return std::nullopt;
  auto alternatives = const_cast<ExerciseEntity*>(this)->alternativeIds();
  if (!alternatives || alternatives->empty()) return std::nullopt;
  for (const auto& entry : alternativeValuesArray()) {
    if (!entry.is_object()) continue;
    auto entryId = entry.find("id");
    if (entryId == entry.end() || !entryId->is_number() || entryId->get<double>() != *wanted)
      continue;
    if (auto value = entry.find(key); value != entry.end()) return *value;
  }
  return std::nullopt;
}

double ExerciseEntity::recommendedRepeatsValueForPostExerciseId(
    std::optional<std::int64_t> id) const {
  if (auto value = alternativeEntry(id, "recommended_repeats")) {
    if (value->is_number()) return value->get<double>();
    if (value->is_string()) return integerIn(value->get<std::string>());
    return 0;
  }
  return isCardio() ? 0 : static_cast<double>(recommendedRepeats());
}

double ExerciseEntity::recommendedWeightValueForPostExerciseId(
    std::optional<std::int64_t> id) const {
  if (auto value = alternativeEntry(id, "recommended_weight_value")) {
    if (value->is_number()) return value->get<double>();
    if (value->is_string()) return integerIn(value->get<std::string>());
    return 0;
  }
  return isCardio() ? 0 : recommendedWeightValue();
}

nlohmann::json ExerciseEntity::recommendedPyramidArrayForPostExerciseId(
    std::optional<std::int64_t> id) const {
  if (auto value = alternativeEntry(id, "recommended_pyramid")) return *value;
  return recommendedPyramid();
}

void ExerciseEntity::setRecommendedPyramidArray(const nlohmann::json& steps) {
  setRecommendedPyramid(steps.is_array() ? steps : nlohmann::json::array());
}

void ExerciseEntity::setRecommendedPyramidWithRepeats(const std::vector<double>& repeats,
                                                      const std::vector<double>& weights) {
  auto steps = nlohmann::json::array();
  for (std::size_t i = 0; i < repeats.size(); ++i) {
    double weight = i < weights.size() ? weights[i] : 0;
    if (weightTypeValue() == 0) weight = UnitsHelper::weightToKG(weight);
    steps.push_back({{"repeats", repeats[i]}, {"weight", weight}});
  }
  setRecommendedPyramidArray(steps);
}

std::pair<std::vector<double>, std::vector<double>> ExerciseEntity::recommendedPyramidSimpleArrays()
    const {
  std::pair<std::vector<double>, std::vector<double>> out;
  auto steps = recommendedPyramidArray();
  if (!steps.is_array()) return out;
  for (const auto& step : steps) {
    if (!step.is_object()) continue;
    auto repeats = numberIn(step.value("repeats", nlohmann::json()));
    auto weight = numberIn(step.value("weight", nlohmann::json()));
    if (!repeats || !weight) continue;
    out.first.push_back(*repeats);
    out.second.push_back(
        weightTypeValue() == 0 ? UnitsHelper::weightToUnitsTarget(*weight, isTarget()) : *weight);
  }
  return out;
}

double ExerciseEntity::setsCount() const {
  if (isPyramid()) {
    auto steps = recommendedPyramidArray();
    return steps.is_array() ? static_cast<double>(steps.size()) : 0;
  }
  if (isCardio()) return sets() >= 2 ? static_cast<double>(sets()) : 0;
  return static_cast<double>(recommendedSets());
}

double ExerciseEntity::repeatsCount() const {
  if (isCardio()) return sets() >= 2 ? static_cast<double>(recommendedSets()) : 0;
  return recommendedRepeatsValueCurrent();
}

std::optional<double> ExerciseEntity::repeatsIncludingPiramidForSet(std::size_t index) const {
  if (!isPyramid()) return repeatsCount();
  auto steps = recommendedPyramidArray();
  if (!steps.is_array() || steps.empty()) return std::nullopt;
  const auto& step = steps[index % steps.size()];
  return step.is_object() ? numberIn(step.value("repeats", nlohmann::json())) : std::nullopt;
}

std::optional<double> ExerciseEntity::weightIncludingPiramidForSet(std::size_t index) const {
  if (!isPyramid())
    return hasRecommendedWeightValue() ? std::optional(recommendedWeightValue()) : std::nullopt;
  auto steps = recommendedPyramidArray();
  if (!steps.is_array() || steps.empty()) return std::nullopt;
  const auto& step = steps[index % steps.size()];
  return step.is_object() ? numberIn(step.value("weight", nlohmann::json())) : std::nullopt;
}

double ExerciseEntity::setTimeOrDefaultValue() const {
  if (isFunctionalSeconds()) return recommendedRepeatsValueCurrent();
  if (isCardio()) return static_cast<double>(recommendedSets()) * 60;
  return 0;
}

bool ExerciseEntity::isTarget() const {
  return UnitsHelper::currentProgrammIsTarget();
}

void ExerciseEntity::setRecommendedWeightValueString(const std::string& text) {
  auto number = numberIn(nlohmann::json(text));
  setRecommendedWeightValue(UnitsHelper::weightToKG(number.value_or(0)));
}

std::string ExerciseEntity::recommendedWeightValueString() const {
  return localizedNumberString(
      UnitsHelper::weightToUnitsTarget(recommendedWeightValueCurrent(), isTarget()));
}

std::string ExerciseEntity::recommendedWeightValueStringForSet(std::size_t index) const {
  if (weightTypeValue() == 1) return localizedNumberString(0);
  if (!isPyramid()) return recommendedWeightValueString();
  auto weight = weightIncludingPiramidForSet(index).value_or(0);
  return localizedNumberString(UnitsHelper::weightToUnitsTarget(weight, isTarget()));
}

std::vector<ExerciseCompletedSetEntity*> ExerciseEntity::orderedCompletedSets() const {
  auto sets = completedSets();
  std::sort(sets.begin(), sets.end(),
            [](ExerciseCompletedSetEntity* a, ExerciseCompletedSetEntity* b) {
              return a->executedAt() > b->executedAt();
            });
  return sets;
}

Predicate ExerciseEntity::allCompletedSetsPredicate() const {
  std::vector<Predicate> parts;
  auto* day = trainingDay();
  if (day && day->cource() && day->cource()->hasEntityID())
    parts.push_back(Predicate::keyEquals("exersice.trainingDay.cource.entityID",
                                         Value(day->cource()->entityID())));
  parts.push_back(ExerciseCompletedSetEntity::notMarkedDeletePredicate());
  return Predicate::andPredicate(std::move(parts));
}

Predicate ExerciseEntity::thisExerciseOnlyCompletedSetsPredicate() const {
  return Predicate::andPredicate({
      Predicate::keyEquals("exersice.trainingDay.cource.entityID", Value(getCourseId())),
      Predicate::keyEquals("exerciseId", Value(entityID())),
      Predicate::keyEquals("exersice.postExerciseID", Value(postExerciseID())),
      ExerciseCompletedSetEntity::notMarkedDeletePredicate(),
  });
}

double ExerciseEntity::progressMade(std::optional<Date> start) {
  if (entityID() == 0 || !managedObjectContext()) return 0;
  FetchRequest request(
      managedObjectContext()->model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
  request.predicate = allCompletedSetsPredicate();
  request.sortDescriptors = {{"executedAt", true}};
  std::vector<ExerciseCompletedSetEntity*> sets;
  for (auto* object : managedObjectContext()->executeFetchRequest(request))
    if (auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(object)) sets.push_back(set);
  return progressMadeForSets(sets, start);
}

double ExerciseEntity::progressMadeForSets(const std::vector<ExerciseCompletedSetEntity*>& sets,
                                           std::optional<Date> start) {
  if (entityID() == 0) return 0;
  bool cardioWithoutSets = isCardio() && setsCount() == 0;
  if (!cardioWithoutSets && sets.empty()) return 0;

  auto saved = customAlternativeExercisePostId;
  double sum = 0;
  std::size_t scored = 0;
  for (auto* set : sets) {
    if (!set || !set->hasExecutedAt() || set->exerciseId() != entityID()) continue;
    if (start && set->executedAt() < *start) continue;
    customAlternativeExercisePostId =
        set->hasPostExerciseId() ? std::optional(set->postExerciseId()) : std::nullopt;
    if (isCardio() && setsCount() == 0) {
      sum += set->updatedValue().value_or(0);
    } else if (setsCount() == 0) {
      sum = 1;
    } else {
      double done = (isFunctionalSeconds() || isCardio())
                        ? set->updatedValue().value_or(0)
                        : static_cast<double>(set->updatedRepeats().value_or(0));
      double planned = repeatsIncludingPiramidForSet(scored).value_or(0);
      double ratio = planned != 0 ? done / planned : 1;  // a set without a plan counts as done
      sum += std::min(ratio, 1.0);
      ++scored;
    }
  }
  if (isCardio() && setsCount() == 0) {
    if (recommendedSets() != 0) sum /= static_cast<double>(recommendedSets());
  } else if (setsCount() != 0) {
    sum /= setsCount();
  }
  customAlternativeExercisePostId = saved;
  if (!std::isfinite(sum)) return 0;
  sum = std::clamp(sum, 0.0, 1.0);
  if (sum > 0 && sum < 0.01) sum = 0.01;
  return sum;
}

nlohmann::json ExerciseEntity::serialized() const {
  nlohmann::json body = nlohmann::json::object();
  if (entityID() >= 1) body["id"] = entityID();
  auto put = [&](const char* key, bool present, auto value) {
    if (present) body[key] = value;
  };
  put("post_exercise_id", hasPostExerciseID(), postExerciseID());
  put("position", hasPosition(), position());
  put("superset", hasSuperset(), superset());
  put("set_type", hasSetTypeString(), setTypeString());
  put("handbook_type", hasHandbookTypeString(), handbookTypeString());
  put("weight_type", hasWeightTypeString(), weightTypeString());
  put("recommended_repeats", hasRecommendedRepeats(), recommendedRepeats());
  put("recommended_weight_value", hasRecommendedWeightValue(), recommendedWeightValue());
  put("recommended_max_weight_percent", hasRecommendedMaxWeightPercent(),
      recommendedMaxWeightPercent());
  put("recommended_sets", hasRecommendedSets(), recommendedSets());
  put("recommended_pyramid", hasRecommendedPyramid(), recommendedPyramidArray());
  put("comment", hasComment(), comment());
  if (markDeleted()) body["_delete"] = true;
  put("rest_time", hasRestTime(), restTime());
  put("sets", hasSets(), sets());
  return body;
}

Predicate ExerciseEntity::deletePredicate() {
  auto deleted = EntityStatusMappings().codeForValue(static_cast<int>(EntityStatus::Deleted));
  return Predicate::parse("%K != YES && %K != %@",
                          {Value(std::string("markDeleted")), Value(std::string("statusString")),
                           Value(deleted.value_or(std::string("deleted")))});
}

ExerciseEntity* ExerciseEntity::createExerciseWithPostID(std::int64_t postExerciseId,
                                                         TrainingDayEntity* trainingDay) {
  if (!trainingDay || !trainingDay->managedObjectContext()) return nullptr;
  auto* post = HandbookAdapter::shared().getPostExerciseEntity(postExerciseId);
  if (!post) return nullptr;
  auto* exercise = dynamic_cast<ExerciseEntity*>(
      trainingDay->managedObjectContext()->insertNewObject(kEntityName));
  if (!exercise) return nullptr;
  exercise->isNew = true;
  exercise->setHandbookTypeString(post->exerciseTypeString());
  exercise->setTrainingDay(trainingDay);
  exercise->setStatus(EntityStatus::Draft);
  exercise->updatePostExercise(*post);
  exercise->setRestTime(static_cast<std::int64_t>(defaultRestTimeValue));
  return exercise;
}

void ExerciseEntity::deleteAllExercisesWithNilEntityId(ManagedObjectContext& context) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.predicate = Predicate::parse(
      "%K == 0 || %K == nil",
      {Value(std::string("trainingDay.entityID")), Value(std::string("trainingDay.entityID"))});
  for (auto* object : context.executeFetchRequest(request)) context.deleteObject(object);
}

}  // namespace dm
