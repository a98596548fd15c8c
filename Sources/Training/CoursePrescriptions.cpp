// Mapping a course's pharmacy or sport-food list onto the stored course.
#include "Training/CoursePrescriptions.h"

#include <string>
#include <unordered_set>

#include <nlohmann/json.hpp>

#include "Mapping/Records/ModelMapper.h"
#include "Mapping/Records/RecordClass.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectStore/BulkWrite.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/TrainingCourseEntity.h"

namespace dm {

namespace {

// Where a kind's records sit in the answer and how they hang off the course.
struct PrescriptionList {
  const char* className;
  const char* pluralKey;
  const char* singularKey;
  const char* courseRelationship;  // the course's to-many; the record's side is trainingCourse
};

const PrescriptionList& listOf(CoursePrescriptionKind kind) {
  static const PrescriptionList pharmacy{"PharmacyEntity", "pharmacies", "pharmacy", "pharmacies"};
  static const PrescriptionList sportFood{"SportFoodEntity", "sport_foods", "sport_food",
                                          "sportFoods"};
  return kind == CoursePrescriptionKind::Pharmacy ? pharmacy : sportFood;
}

constexpr const char* kCourseOfItem = "trainingCourse";

nlohmann::json parseAnswer(std::string_view answer) {
  try {
    return nlohmann::json::parse(answer);
  } catch (const nlohmann::json::parse_error& error) {
    throw MappingError(MappingError::Code::MalformedJson, "", error.what());
  }
}

// The answer's roots holding the list. Neither key present is refused: mapping it as an empty
// list would delete every record of the course.
std::vector<MappingOperation::Root> rootsOf(const nlohmann::json& tree,
                                            const PrescriptionList& list) {
  const std::string expected =
      std::string("\"") + list.pluralKey + "\" or \"" + list.singularKey + "\"";
  if (!tree.is_object())
    throw MappingError(MappingError::Code::WrongShape, "",
                       "the answer is not an object holding " + expected);
  std::vector<MappingOperation::Root> roots;
  for (const char* key : {list.pluralKey, list.singularKey})
    if (tree.contains(key)) roots.push_back({key, nullptr, false});
  if (roots.empty())
    throw MappingError(MappingError::Code::WrongShape, "",
                       "the answer holds neither " + expected + " (is it another list?)");
  return roots;
}

std::shared_ptr<const ObjectMapping> responseMapping(const PrescriptionList& list) {
  const RecordClass* cls = RecordClasses::classNamed(list.className);
  auto mapper = ModelMapper::shared();
  if (!cls || !mapper)
    throw MappingError(MappingError::Code::UnknownClass, "",
                       std::string(list.className) +
                           " has no response mapping: the main store's record classes and "
                           "services are not installed");
  return mapper->responseMappingForClass(*cls);
}

}  // namespace

const char* coursePrescriptionClassName(CoursePrescriptionKind kind) {
  return listOf(kind).className;
}

CourseNotStoredError::CourseNotStoredError(std::int64_t courseId)
    : Error(ErrorCode::InvalidInput, "no course " + std::to_string(courseId) + " is stored"),
      courseId_(courseId) {}

CoursePrescriptionsResult mapCoursePrescriptions(ManagedObjectContext& root, std::int64_t courseId,
                                                 CoursePrescriptionKind kind,
                                                 std::string_view answer,
                                                 const CoursePrescriptionsOptions& options) {
  const PrescriptionList& list = listOf(kind);
  const nlohmann::json tree = parseAnswer(answer);
  auto roots = rootsOf(tree, list);
  const auto mapping = responseMapping(list);
  for (auto& entry : roots) entry.mapping = mapping;

  TrainingCourseEntity* course = TrainingCourseEntity::entity(root, courseId);
  if (!course) throw CourseNotStoredError(courseId);

  // Mapping, linking and removal are one transaction: any throw below rolls all of it back
  // when the scope closes uncommitted.
  BulkWrite bulk = root.beginBulkWrite();
  ManagedObjectDestination destination(root);
  auto mapped = MappingOperation(destination, options.mapping).map(tree, roots);

  CoursePrescriptionsResult result;
  std::vector<ManagedObject*> listed;
  std::unordered_set<ManagedObject*> listedSet;
  for (auto& rootResult : mapped) {
    for (ManagedObject* object : ManagedObjectDestination::objects(rootResult.objects))
      if (listedSet.insert(object).second) listed.push_back(object);
    result.skippedCount += rootResult.skippedCount;
    for (auto& issue : rootResult.skipped)
      if (result.skipped.size() < options.mapping.maxIssues)
        result.skipped.push_back(std::move(issue));
  }

  for (ManagedObject* object : listed) {
    if (object->objectForKey(kCourseOfItem) != course)
      object->setObjectForKey(kCourseOfItem, course);
    if (object->isInserted())
      ++result.inserted;
    else if (object->hasChanges())
      ++result.updated;
    else
      ++result.unchanged;
  }
  result.mapped = listed.size();

  for (ManagedObject* member : course->objectsForKey(list.courseRelationship)) {
    if (listedSet.count(member)) continue;
    root.deleteObject(member);
    ++result.removed;
  }

  if (options.commitIf && !options.commitIf(result)) {
    bulk.rollback();
    return result;
  }
  bulk.commit();
  result.committed = true;
  return result;
}

}  // namespace dm
