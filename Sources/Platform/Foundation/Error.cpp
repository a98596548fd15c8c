// The stable names of the library's error codes.
#include "Platform/Foundation/Error.h"

namespace dm {

const char* errorCodeName(ErrorCode code) {
  switch (code) {
    case ErrorCode::InvalidInput:
      return "invalid_input";
    case ErrorCode::UnknownEntity:
      return "unknown_entity";
    case ErrorCode::InvalidKeyPath:
      return "invalid_key_path";
    case ErrorCode::NestingTooDeep:
      return "nesting_too_deep";
    case ErrorCode::StoreUnavailable:
      return "store_unavailable";
    case ErrorCode::StoreCorrupt:
      return "store_corrupt";
    case ErrorCode::IncompatibleModel:
      return "incompatible_model";
    case ErrorCode::InvalidModel:
      return "invalid_model";
    case ErrorCode::ValidationFailed:
      return "validation_failed";
    case ErrorCode::SaveFailed:
      return "save_failed";
    case ErrorCode::FetchFailed:
      return "fetch_failed";
    case ErrorCode::InvalidPredicate:
      return "invalid_predicate";
    case ErrorCode::MalformedPayload:
      return "malformed_payload";
    case ErrorCode::WrongShape:
      return "wrong_shape";
    case ErrorCode::InvalidValue:
      return "invalid_value";
    case ErrorCode::UnknownClass:
      return "unknown_class";
    case ErrorCode::NoMatchingDescriptor:
      return "no_matching_descriptor";
    case ErrorCode::DestinationFailure:
      return "destination_failure";
    case ErrorCode::ArchiveCannotOpen:
      return "archive_cannot_open";
    case ErrorCode::ArchiveCorrupt:
      return "archive_corrupt";
    case ErrorCode::ArchiveUnsafeEntry:
      return "archive_unsafe_entry";
    case ErrorCode::ArchiveTooLarge:
      return "archive_too_large";
    case ErrorCode::ArchiveNoSpace:
      return "archive_no_space";
    case ErrorCode::ArchiveConflict:
      return "archive_conflict";
    case ErrorCode::ArchiveIo:
      return "archive_io";
    case ErrorCode::ImageEncodingFailed:
      return "image_encoding_failed";
    case ErrorCode::InvalidSeedSource:
      return "invalid_seed_source";
    case ErrorCode::SeedBuildFailed:
      return "seed_build_failed";
    case ErrorCode::RecordClassMismatch:
      return "record_class_mismatch";
  }
  return "unknown";
}

}  // namespace dm
