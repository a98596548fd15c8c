// Measurement requests: filling from a stored measurement, photos and comparison.
#include "Measurements/MeasurementAddRequest.h"

#include "Accounts/RequestValues.h"
#include "Measurements/MeasurementEntity.h"
#include "Measurements/MeasurementUpdateRequest.h"
#include "Measurements/ProgressPhotoAddRequest.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Profile/ProfileCommonPhotoEntity.h"
#include "Profile/UserEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

RecordValue recordValueOf(const Value& value) {
  if (value.isNull()) return {};
  if (value.isString()) return RecordValue(value.asString());
  if (value.isDate()) return RecordValue(value.asDate());
  if (value.isDouble()) return RecordValue(value.asDouble());
  if (value.isNumber()) return RecordValue(static_cast<long long>(value.asInt64()));
  return {};
}

RecordValue trainerIdOf(const MeasurementEntity& measurement) {
  UserEntity* trainer = measurement.trainer();
  return trainer ? RecordValue(static_cast<long long>(trainer->entityID())) : RecordValue();
}

// The fields compared by isEqual besides photos and dates.
const std::vector<std::string>& comparedFields() {
  static const std::vector<std::string> fields = [] {
    std::vector<std::string> out = MeasurementAddRequest::girthFields();
    out.insert(out.end(), {"weight", "height", "bodyFatPercentage", "everydayLoad", "trainerId",
                           "trainerName", "mission"});
    return out;
  }();
  return fields;
}

// A new record of the same class holding every declared field, local ones included (copy()
// takes only the mapped ones).
std::shared_ptr<BaseMappableObject> copyOfEveryField(const BaseMappableObject& source) {
  const auto* cls = source.recordClass();
  auto copied = cls ? cls->newInstance() : nullptr;
  if (!copied) return nullptr;
  for (const PropertyDeclaration& property : cls->allProperties()) {
    copied->setValueForKey(property.name, source.valueForKey(property.name));
  }
  return copied;
}

}  // namespace

const std::vector<std::string>& MeasurementAddRequest::girthFields() {
  static const std::vector<std::string> fields = {
      "leftAnkle", "rightAnkle", "leftBiceps",  "rightBiceps",  "leftShin", "rightShin",
      "leftWrist", "rightWrist", "leftForearm", "rightForearm", "leftHip",  "rightHip",
      "buttocks",  "shoulders",  "waist",       "chest",        "neck"};
  return fields;
}

RecordValue photoRequestsOf(const MeasurementEntity& measurement) {
  RecordValue::Array out;
  for (ProfileCommonPhotoEntity* photo : measurement.photos()) {
    out.push_back(RecordValue(ProgressPhotoAddRequest::requestWithPhotoEntity(*photo)));
  }
  return RecordValue(std::move(out));
}

void MeasurementAddRequest::fillDataWith(const MeasurementEntity* measurement) {
  if (!measurement) return;
  for (const char* field : {"weight", "height", "everydayLoad"}) {
    setValueForKey(field, recordValueOf(measurement->valueForKey(field)));
  }
  for (const std::string& field : girthFields()) {
    setValueForKey(field, noEmpty(recordValueOf(measurement->valueForKey(field))));
  }
  setValueForKey("bodyFatPercentage",
                 noEmpty(recordValueOf(measurement->valueForKey("bodyFatPercentage"))));
  setValueForKey("trainerId", noEmpty(trainerIdOf(*measurement)));
  setPhotos(photoRequestsOf(*measurement));
  if (!hasDate() && measurement->hasDate()) setDate(measurement->date());
}

void MeasurementAddRequest::setWeightInUnits(double weight) {
  setWeight(UnitsHelper::weightToKG(weight));
}

void MeasurementAddRequest::setLengthInUnits(const std::string& field, double length) {
  setValueForKey(field, RecordValue(UnitsHelper::heightToCM(length)));
}

std::shared_ptr<MeasurementAddRequest> MeasurementAddRequest::createCopy() const {
  auto copied = std::dynamic_pointer_cast<MeasurementAddRequest>(copyOfEveryField(*this));
  if (!copied) return nullptr;
  // The photo requests are records of their own: copy them too, so editing one request's
  // photos never shows in the other.
  RecordValue elements = photos();
  if (elements.isArray()) {
    RecordValue::Array photoCopies;
    for (const RecordValue& element : elements.asArray()) {
      auto record = element.isRecord() ? element.asRecord() : nullptr;
      photoCopies.push_back(record ? RecordValue(copyOfEveryField(*record)) : element);
    }
    copied->setPhotos(RecordValue(std::move(photoCopies)));
  }
  return copied;
}

void MeasurementAddRequest::serializePhotos() {
  RecordValue::Array trees;
  RecordValue elements = photos();
  if (elements.isArray()) {
    for (const RecordValue& element : elements.asArray()) {
      if (!element.isRecord() || !element.asRecord()) continue;
      RecordValue tree = element.asRecord()->serialized();
      auto* cls = element.asRecord()->recordClass();
      auto root = cls ? cls->rootKeyPath() : std::nullopt;
      if (!root || !tree.isDictionary()) continue;
      auto it = tree.asDictionary().find(*root);
      if (it != tree.asDictionary().end()) trees.push_back(it->second);
    }
  }
  setSerializedPhotos(RecordValue(std::move(trees)));
}

bool isDatesEqual(const RecordValue& lhs, const RecordValue& rhs) {
  if (!lhs.isDate() || !rhs.isDate()) return lhs.isDate() == rhs.isDate();
  return isSameDay(Date(lhs.asDouble()), Date(rhs.asDouble()));
}

bool arePhotoEntityArraysEqual(const RecordValue& lhs, const RecordValue& rhs) {
  static const RecordValue::Array kNone;
  const auto& left = lhs.isArray() ? lhs.asArray() : kNone;
  const auto& right = rhs.isArray() ? rhs.asArray() : kNone;
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    auto a = left[i].isRecord() ? std::dynamic_pointer_cast<PhotoAddRequest>(left[i].asRecord())
                                : nullptr;
    auto b = right[i].isRecord() ? std::dynamic_pointer_cast<PhotoAddRequest>(right[i].asRecord())
                                 : nullptr;
    if (!a || !b) return false;
    if (a->fullAddress() != b->fullAddress() || a->statusString() != b->statusString()) {
      return false;
    }
  }
  return true;
}

bool MeasurementAddRequest::isEqual(const MeasurementAddRequest& other) const {
  for (const std::string& field : comparedFields()) {
    if (!(valueForKey(field) == other.valueForKey(field))) return false;
  }
  return arePhotoEntityArraysEqual(photos(), other.photos()) &&
         isDatesEqual(valueForKey("date"), other.valueForKey("date"));
}

std::shared_ptr<MeasurementUpdateRequest> MeasurementUpdateRequest::requestWithEntity(
    const MeasurementEntity& measurement) {
  auto request = std::make_shared<MeasurementUpdateRequest>();
  request->setMeasurementID(measurement.entityID());
  for (const std::string& field : girthFields()) {
    request->setValueForKey(field, recordValueOf(measurement.valueForKey(field)));
  }
  for (const char* field : {"date", "mission", "trainerName", "weight", "height",
                            "bodyFatPercentage", "everydayLoad"}) {
    request->setValueForKey(field, recordValueOf(measurement.valueForKey(field)));
  }
  request->setValueForKey("trainerId", trainerIdOf(measurement));
  request->setPhotos(photoRequestsOf(measurement));
  request->entity_ = &measurement;
  return request;
}

std::shared_ptr<MeasurementUpdateRequest> MeasurementUpdateRequest::copyWithEntity() const {
  auto copied = std::dynamic_pointer_cast<MeasurementUpdateRequest>(createCopy());
  if (copied) copied->entity_ = entity_;
  return copied;
}

}  // namespace dm
