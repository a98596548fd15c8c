// Registers the test record classes with the record class registry and the object store.
#include "RecordsTestSupport.h"

namespace dm::test {
namespace {

const EntityClassRegistration<RecordsWorkoutEntity> kWorkout("RecordsWorkoutEntity",
                                                             "BaseUUIDEntity");
const EntityClassRegistration<RecordsItemEntity> kItem("RecordsItemEntity", "BaseMappableEntity");
const EntityClassRegistration<RecordsCoachEntity> kCoach("RecordsCoachEntity",
                                                         "BaseMappableEntity");
const EntityClassRegistration<RecordsMessageEntity> kMessage("RecordsMessageEntity",
                                                             "BaseUUIDEntity");
const ObjectClassRegistration<RecordsAuthorObject> kAuthor("RecordsAuthorObject",
                                                           "BaseMappableObject");
const ObjectClassRegistration<RecordsCommentRequest> kComment("RecordsCommentRequest",
                                                              "BaseUUIDObject");
const ObjectClassRegistration<RecordsReplyRequest> kReply("RecordsReplyRequest",
                                                          "RecordsCommentRequest");
const ObjectClassRegistration<RecordsBareObject> kBare("RecordsBareObject", "BaseMappableObject");

}  // namespace
}  // namespace dm::test
