// Mapping a large payload into a store a window of records at a time, so memory stays bounded
// by the window instead of growing with the payload, while the whole payload still commits
// or fails as one.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "Platform/Foundation/MappedFile.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/ObjectMapping.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

struct WindowedMappingResult;

struct WindowedMappingOptions {
  MappingOptions mapping{};
  // Text per window: records are added to a window until it holds this many bytes (a single
  // larger record makes a window of its own). The parser keeps about ten times the largest
  // window it read and the context holds the window's objects; below 256 KB windows save no
  // memory and cost time.
  std::size_t windowBytes = 256 << 10;
  // Asked with the totals once every window is mapped: false rolls the whole import back (a
  // caller's last check, or a dry run that still learns what would be inserted and updated).
  // Unset: commit.
  std::function<bool(const WindowedMappingResult&)> commitIf{};
};

struct WindowedMappingResult {
  std::size_t mapped = 0;   // top-level records mapped, over all windows
  std::size_t windows = 0;  // operations run (1 when the payload was mapped whole)
  // As in MappingResult: what was left out, key paths indexed in the whole payload.
  std::vector<MappingError::Issue> skipped;
  std::size_t skippedCount = 0;
  bool committed = false;  // false when commitIf refused
};

// How it works: when the value under the key path is an array (the whole text for "", or a
// member of the top-level object for a one-component key path), its elements are located
// without parsing and mapped in windows: each window is one MappingOperation on the context
// followed by save() and reset(), all inside one bulk write (docs/bulk-writes.md) that is
// committed at the end. Any other payload is mapped whole, in the same bulk write.
//
// Records of later windows are matched against the rows earlier windows wrote, so a record
// repeated across windows is updated, not duplicated. A foreign-key connection finds targets
// of its own window and those already written, not those of later windows: order payloads so
// that what is referred to comes first, as the server's answers do.
//
// Success: every window mapped and the bulk write committed (or rolled back when commitIf
// refused). Failure: MappingError (as from
// MappingOperation; key paths indexed in the whole payload) or StoreError; the store is then
// as before the call. Either way the context has been reset: objects the caller held from it
// are invalid, and the context must be a root context without unsaved changes on entry
// (std::logic_error otherwise, nothing done).
//
// `observer`, when given, sees each window's mapped top-level records before they are saved
// (to count inserts and updates, or print them); it must not save or reset the context.
//
// Threads: on the context's queue (inside its perform/performAndWait), like every use of it.
class WindowedMapping {
 public:
  using WindowObserver = std::function<void(const std::vector<ManagedObject*>& records)>;

  explicit WindowedMapping(ManagedObjectContext& context, WindowedMappingOptions options = {});

  WindowedMappingResult map(std::string_view jsonText, std::string_view keyPath,
                            const std::shared_ptr<const ObjectMapping>& mapping,
                            const WindowObserver& observer = {});
  // The same over a mapped file's text, letting each part of it go once it has been located
  // or copied into a window: the file is never in memory whole.
  WindowedMappingResult map(const MappedFile& file, std::string_view keyPath,
                            const std::shared_ptr<const ObjectMapping>& mapping,
                            const WindowObserver& observer = {});

 private:
  WindowedMappingResult mapText(std::string_view jsonText, const MappedFile* pages,
                                std::string_view keyPath,
                                const std::shared_ptr<const ObjectMapping>& mapping,
                                const WindowObserver& observer);

  ManagedObjectContext& context_;
  WindowedMappingOptions options_;
};

}  // namespace dm
