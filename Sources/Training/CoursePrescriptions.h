// A course's pharmacy or sport-food list as the server sends it from the course's own route.
// Its records carry no course key (the course is the one that was asked for), so the list is
// mapped "for course N": each record becomes that course's, and the course's records the list
// no longer names are removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "Platform/Foundation/Error.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"

namespace dm {

class ManagedObjectContext;

// Which of a course's lists an answer holds.
enum class CoursePrescriptionKind {
  Pharmacy,   // PharmacyEntity records under "pharmacies" (a list) or "pharmacy" (one record)
  SportFood,  // SportFoodEntity records under "sport_foods" or "sport_food"
};

// The record class whose response mapping maps the kind: "PharmacyEntity", "SportFoodEntity".
const char* coursePrescriptionClassName(CoursePrescriptionKind kind);

// What mapping a course's list did. Plain data.
struct CoursePrescriptionsResult {
  std::size_t mapped = 0;     // distinct records in the answer, each now the course's
  std::size_t inserted = 0;   //   of them new to the store
  std::size_t updated = 0;    //   changed values, or moved here from another course
  std::size_t unchanged = 0;  //   already stored as the answer says
  std::size_t removed = 0;    // the course's records the answer no longer lists, deleted
  // Values (or records without a readable id) left out, as MappingResult reports them: the
  // first MappingOptions::maxIssues, and how many there were.
  std::vector<MappingError::Issue> skipped;
  std::size_t skippedCount = 0;
  bool committed = false;  // false when commitIf refused: the store is as it was
};

struct CoursePrescriptionsOptions {
  MappingOptions mapping{};
  // Asked with the totals once the list is mapped, linked and the stale records deleted;
  // false rolls everything back (a dry run that still learns what would change). Unset: commit.
  std::function<bool(const CoursePrescriptionsResult&)> commitIf{};
};

// The course the list was asked for is not stored, so there is nothing to link the records to.
// Code InvalidInput.
class CourseNotStoredError : public Error {
 public:
  explicit CourseNotStoredError(std::int64_t courseId);
  std::int64_t courseId() const { return courseId_; }

 private:
  std::int64_t courseId_;
};

// Maps `answer`, the whole pharmacy (or sport-food) list of course `courseId`, into the store
// of `root` with the record class's normal response mapping, and in the same transaction:
// - sets every mapped record's `trainingCourse` to the course (a record the server moved from
//   another course moves with it);
// - deletes the course's records of that kind that the answer does not list (an empty list
//   or null empties the course's list);
// - leaves other courses' records alone.
// The records sit under the plural key ("pharmacies", an array) or the singular one
// ("pharmacy", one object) of the answer's top-level object; both may be present.
//
// Success: all of it committed to the file in one bulk write (docs/bulk-writes.md), or none
// of it when commitIf refused. Failure, with the store and the context as they were:
// - CourseNotStoredError: no course with that id is stored in `root`;
// - MappingError: text that is not JSON (MalformedJson), an answer that is not an object or
//   holds neither key (WrongShape), and whatever MappingOperation refuses; wrong-typed values
//   are skipped and reported instead, unless options.mapping.skipInvalidValues is false;
// - StoreError: the store could not be read or written (another bulk write open, a full disk).
// `root` must be a root context without unsaved changes (std::logic_error otherwise, nothing
// done). After a failure, fetch records again rather than reuse ones read before the call.
//
// Threads: on the root context's queue (inside its perform/performAndWait), like every use of
// it.
CoursePrescriptionsResult mapCoursePrescriptions(ManagedObjectContext& root, std::int64_t courseId,
                                                 CoursePrescriptionKind kind,
                                                 std::string_view answer,
                                                 const CoursePrescriptionsOptions& options = {});

}  // namespace dm
