// The library's one error model: every failure an entry point reports about outside input
// (payloads, files, archives, predicate strings, model texts, host values) is a dm::Error
// carrying one ErrorCode. The platform parts throw named kinds of it (StoreError,
// PredicateError, MappingError, zip::ZipError, ...) that add their own detail.
#pragma once

#include <stdexcept>
#include <string>

namespace dm {

// Declared once for the whole library, grouped by the part that raises the code. The names
// errorCodeName() gives are stable: tools print them and scripts match on them.
enum class ErrorCode {
  // Outside input in general.
  InvalidInput,    // "invalid_input": a value or file is malformed or out of range
  UnknownEntity,   // "unknown_entity": an entity name the store's model lacks
  InvalidKeyPath,  // "invalid_key_path": a key path names a key the entity lacks or passes
                   // through a to-many relationship
  NestingTooDeep,  // "nesting_too_deep": a tree or predicate deeper than the operation allows

  // Object store (StoreError). A failure SQLite reports about the file (StoreError::kind()
  // is not Other) is StoreUnavailable or StoreCorrupt whatever the operation was.
  StoreUnavailable,   // "store_unavailable": the file cannot be used now (busy, locked, full,
                      // read-only, no access, I/O error, or it cannot be opened at all)
  StoreCorrupt,       // "store_corrupt": the file is damaged; only this allows recovery
  IncompatibleModel,  // "incompatible_model": the file's schema cannot migrate to the model
  InvalidModel,       // "invalid_model": a model text is malformed or inconsistent
  ValidationFailed,   // "validation_failed": a required attribute is missing on save
  SaveFailed,         // "save_failed": a save failed and was rolled back
  FetchFailed,        // "fetch_failed": a query failed

  // Predicates (PredicateError).
  InvalidPredicate,  // "invalid_predicate": a malformed format, a wrong argument

  // Mapping payloads to records and records to request bodies (MappingError).
  MalformedPayload,      // "malformed_payload": the payload text is not JSON
  WrongShape,            // "wrong_shape": an object where an array was expected, a missing
                         // root key path, ...
  InvalidValue,          // "invalid_value": a value the field's type cannot take
  UnknownClass,          // "unknown_class": a mapping names a class, entity or field the
                         // destination lacks
  NoMatchingDescriptor,  // "no_matching_descriptor": no response descriptor fits
  DestinationFailure,    // "destination_failure": the destination refused a write; its
                         // changes were rolled back

  // ZIP archives (zip::ZipError).
  ArchiveCannotOpen,   // "archive_cannot_open": missing, unreadable or not a ZIP archive
  ArchiveCorrupt,      // "archive_corrupt": truncated, inconsistent, CRC mismatch
  ArchiveUnsafeEntry,  // "archive_unsafe_entry": an entry leaving the target, a link or
                       // device entry, a duplicate name
  ArchiveTooLarge,     // "archive_too_large": more bytes than the extraction allows
  ArchiveNoSpace,      // "archive_no_space": more bytes than the target has free
  ArchiveConflict,     // "archive_conflict": an entry collides with a file of the other kind
  ArchiveIo,           // "archive_io": reading or writing a file failed

  // Host hooks (ImageEncodingError).
  ImageEncodingFailed,  // "image_encoding_failed": pixels that cannot be encoded, or JPEG
                        // bytes that cannot be decoded

  // Handbook seeds (SeedSourceError; the seed builder).
  InvalidSeedSource,  // "invalid_seed_source": a seed source file is missing or malformed
  SeedBuildFailed,    // "seed_build_failed": the seed store could not be built or compacted

  // Opening the library (RecordClassMismatch).
  RecordClassMismatch,  // "record_class_mismatch": registered classes disagree with the model
};

// Every code in declaration order, for help texts and tests.
inline constexpr ErrorCode kAllErrorCodes[] = {
    ErrorCode::InvalidInput,      ErrorCode::UnknownEntity,        ErrorCode::InvalidKeyPath,
    ErrorCode::NestingTooDeep,    ErrorCode::StoreUnavailable,     ErrorCode::StoreCorrupt,
    ErrorCode::IncompatibleModel, ErrorCode::InvalidModel,         ErrorCode::ValidationFailed,
    ErrorCode::SaveFailed,        ErrorCode::FetchFailed,          ErrorCode::InvalidPredicate,
    ErrorCode::MalformedPayload,  ErrorCode::WrongShape,           ErrorCode::InvalidValue,
    ErrorCode::UnknownClass,      ErrorCode::NoMatchingDescriptor, ErrorCode::DestinationFailure,
    ErrorCode::ArchiveCannotOpen, ErrorCode::ArchiveCorrupt,       ErrorCode::ArchiveUnsafeEntry,
    ErrorCode::ArchiveTooLarge,   ErrorCode::ArchiveNoSpace,       ErrorCode::ArchiveConflict,
    ErrorCode::ArchiveIo,         ErrorCode::ImageEncodingFailed,  ErrorCode::InvalidSeedSource,
    ErrorCode::SeedBuildFailed,   ErrorCode::RecordClassMismatch,
};

// The code's stable name ("invalid_input", "store_unavailable", ...), for logs and tools' output.
const char* errorCodeName(ErrorCode code);

// A failure caused by outside input or by the environment, reported by a library entry
// point. Catch it to handle every such failure in one place and switch on code(); catch a
// named kind (StoreError, MappingError, ...) for its extra detail. Named kinds with their own
// code() (StoreError, MappingError) hide this one; call dm::Error::code() through a reference
// to Error to get the ErrorCode. Plain data: may be copied and passed between threads.
class Error : public std::runtime_error {
 public:
  Error(ErrorCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ErrorCode code() const noexcept { return code_; }

 private:
  ErrorCode code_;
};

}  // namespace dm
