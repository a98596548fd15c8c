// Windows of a payload's records, each mapped, saved and let go inside one bulk write.
#include "Platform/ObjectMapping/WindowedMapping.h"

#include <charconv>
#include <string>

#include "Platform/ObjectMapping/JsonStructure.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectStore/BulkWrite.h"

namespace dm {
namespace {

using json_structure::Span;

// A window's issues name elements by their place in the window; the caller knows the payload.
void rebaseKeyPath(std::string& keyPath, std::string_view root, std::size_t first) {
  if (first == 0 || keyPath.size() <= root.size() + 1 ||
      keyPath.compare(0, root.size(), root) != 0 || keyPath[root.size()] != '[')
    return;
  const char* digits = keyPath.data() + root.size() + 1;
  const char* end = keyPath.data() + keyPath.size();
  std::size_t index = 0;
  auto [stop, error] = std::from_chars(digits, end, index);
  if (error != std::errc() || stop == end || *stop != ']') return;
  keyPath.replace(root.size() + 1, static_cast<std::size_t>(stop - digits),
                  std::to_string(index + first));
}

}  // namespace

WindowedMapping::WindowedMapping(ManagedObjectContext& context, WindowedMappingOptions options)
    : context_(context), options_(options) {}

WindowedMappingResult WindowedMapping::map(std::string_view jsonText, std::string_view keyPath,
                                           const std::shared_ptr<const ObjectMapping>& mapping,
                                           const WindowObserver& observer) {
  return mapText(jsonText, nullptr, keyPath, mapping, observer);
}

WindowedMappingResult WindowedMapping::map(const MappedFile& file, std::string_view keyPath,
                                           const std::shared_ptr<const ObjectMapping>& mapping,
                                           const WindowObserver& observer) {
  return mapText(file.text(), &file, keyPath, mapping, observer);
}

WindowedMappingResult WindowedMapping::mapText(std::string_view jsonText, const MappedFile* pages,
                                               std::string_view keyPath,
                                               const std::shared_ptr<const ObjectMapping>& mapping,
                                               const WindowObserver& observer) {
  std::vector<Span> elements;
  json_structure::ScannedText letGo;
  if (pages) letGo = [pages](std::size_t from, std::size_t to) { pages->release(from, to); };
  const bool windowed = keyPath.find('.') == std::string_view::npos &&
                        json_structure::locateArrayElements(jsonText, keyPath, elements, letGo) &&
                        !elements.empty();
  // A window reads as a payload of its own: the same key path over a run of the elements.
  const std::string prefix = keyPath.empty() ? "[" : "{\"" + std::string(keyPath) + "\":[";
  const std::string_view suffix = keyPath.empty() ? "]" : "]}";

  WindowedMappingResult result;
  BulkWrite bulk = context_.beginBulkWrite();
  ManagedObjectDestination destination(context_);
  MappingOperation operation(destination, options_.mapping);
  std::string window;
  std::size_t first = 0;
  try {
    do {
      MappingResult mapped;
      std::size_t next = elements.size();
      if (windowed) {
        next = first + 1;
        while (next < elements.size() &&
               elements[next].end - elements[first].begin <= options_.windowBytes)
          ++next;
        const Span span{elements[first].begin, elements[next - 1].end};
        // The commas between the elements come along; the spare capacity lets the parser
        // read the window in place.
        window.clear();
        window.reserve(prefix.size() + (span.end - span.begin) + suffix.size() +
                       MappingOperation::kParsePadding);
        window.append(prefix)
            .append(jsonText.substr(span.begin, span.end - span.begin))
            .append(suffix);
        if (pages) pages->release(span.begin, span.end);  // windows are read in order
        mapped = operation.map(window, keyPath, mapping);
      } else {
        mapped = operation.map(jsonText, keyPath, mapping);
      }
      if (observer) observer(ManagedObjectDestination::objects(mapped.objects));
      result.mapped += mapped.objects.size();
      result.skippedCount += mapped.skippedCount;
      for (auto& issue : mapped.skipped) {
        if (result.skipped.size() >= options_.mapping.maxIssues) break;
        rebaseKeyPath(issue.keyPath, keyPath, first);
        result.skipped.push_back(std::move(issue));
      }
      ++result.windows;
      context_.save();
      destination.commitChanges();
      context_.reset();
      first = next;
    } while (first < elements.size());
    result.committed = !options_.commitIf || options_.commitIf(result);
    if (result.committed)
      bulk.commit();
    else
      bulk.rollback();
  } catch (const MappingError& error) {
    bulk.rollback();
    context_.reset();
    std::vector<MappingError::Issue> issues = error.issues();
    for (auto& issue : issues) rebaseKeyPath(issue.keyPath, keyPath, first);
    throw MappingError(std::move(issues));
  } catch (...) {
    bulk.rollback();
    context_.reset();
    throw;
  }
  context_.reset();
  return result;
}

}  // namespace dm
