// Reads the server's handbook update text a window at a time: one pass over the text finds
// the top-level members and where each element of a top-level array begins and ends; any run
// of elements is then parsed on its own, so the whole payload never exists as a parsed tree.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <simdjson.h>

#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Platform/Foundation/MappedFile.h"
#include "Platform/ObjectMapping/JsonStructure.h"

namespace dm {

// Threads: one thread at a time. Non-copyable; the text is not copied and must outlive the
// reader.
class HandbookPayloadReader {
 public:
  explicit HandbookPayloadReader(std::string_view text);
  // Reads a mapped file's text and lets go of each part once it has been scanned or copied
  // out for parsing, so the file's pages do not all stay in memory at once.
  explicit HandbookPayloadReader(const MappedFile& file);
  ~HandbookPayloadReader();
  HandbookPayloadReader(const HandbookPayloadReader&) = delete;
  HandbookPayloadReader& operator=(const HandbookPayloadReader&) = delete;

  // Locates the members of the top-level object and parses every value once to check it.
  // true: the text is one JSON object whose values all parse. false: anything else (not an
  // object, malformed, or a value the fast parser refuses, such as an integer wider than 64
  // bits); the reader is then empty and the caller may try a more lenient parser.
  bool open();
  // Only the first half of open(): the members and elements are located, no value is parsed.
  // Whatever elements() parses is checked then; checkRemaining() checks the rest, so a
  // caller that reads every array anyway parses each value once.
  bool locate();
  // Parses every value that no call of elements() has parsed yet. false when one of them
  // does not parse (nothing is then known about the rest).
  bool checkRemaining();

  // An object holding only the top-level members named (the last of repeated keys), parsed on
  // its own. Meant for the few small values beside the arrays. Valid until the next call of
  // header(); an object without members before open() succeeded.
  handbook_dict::Node header(std::initializer_list<std::string_view> keys);
  // The number of elements of the top-level array under `key` (the last of repeated keys);
  // 0 when the value is missing or not an array.
  std::size_t elementCount(std::string_view key) const;
  // Parses elements [first, first + count) of that array into `out` (replacing its contents).
  // The nodes are valid until the next call of elements(). false (and `out` empty) when the
  // range is not inside the array.
  bool elements(std::string_view key, std::size_t first, std::size_t count,
                std::vector<handbook_dict::Node>& out);

 private:
  using Span = json_structure::Span;
  struct Member {
    std::string key;
    Span value;
    bool isArray = false;
    std::vector<Span> elements;  // arrays only
    // Elements before this one were parsed by elements() (or the check); for a value that is
    // not an array, 1 once it was parsed.
    mutable std::size_t checkedUpTo = 0;
  };

  bool scan();
  bool checkValues(std::size_t fromMember);
  const Member* find(std::string_view key) const;
  // Parses `prefix` + the text of `span` + `suffix` with `parser`, copied into `buffer` with
  // the padding the parser reads past the end.
  bool parse(simdjson::dom::parser& parser, std::string& buffer, std::string_view prefix, Span span,
             std::string_view suffix, simdjson::dom::element& out);
  bool parseWindow(const Member& member, std::size_t first, std::size_t count,
                   simdjson::dom::element& out);

  // The parsers live out of line: their layout depends on how the library was configured.
  struct Parsers;

  std::string_view text_;
  const MappedFile* pages_ = nullptr;  // set when text_ is a mapped file's
  std::vector<Member> members_;
  std::unique_ptr<Parsers> parsers_;
  std::string headerBuffer_;
  std::string windowBuffer_;
};

}  // namespace dm
