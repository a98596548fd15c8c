// Where an update batch reads the server's dictionary from: a parsed tree, or the response
// text read a window of array elements at a time. Both give the same nodes for the same
// dictionary.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookPayloadReader.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"

namespace dm {

// Thrown by a source when part of its text turns out not to parse only once it is read. What
// was applied from it is undone with the update; the text may still be read another way.
class HandbookPayloadRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Threads: one thread at a time. Nodes handed out are non-owning (see each method).
class HandbookUpdateSource {
 public:
  virtual ~HandbookUpdateSource() = default;
  // The dictionary itself, or at least its "status" and "version" members; a node that is not
  // an object when the dictionary is none. Valid until the next call of header().
  virtual handbook_dict::Node header() = 0;
  // The number of elements of the array under `key`; 0 when missing or not an array.
  virtual std::size_t elementCount(std::string_view key) = 0;
  // Elements [first, first + count) of that array into `out` (replacing its contents); valid
  // until the next call of elements(). A range outside the array gives none.
  virtual void elements(std::string_view key, std::size_t first, std::size_t count,
                        std::vector<handbook_dict::Node>& out) = 0;
  // Checks every part of the dictionary that elements() has not handed out yet, so nothing
  // the update did not read can hide a malformed value. Throws HandbookPayloadRefused.
  virtual void checkRemaining() {}
};

// A parsed tree; it must outlive the source and stay unchanged.
class HandbookTreeUpdateSource final : public HandbookUpdateSource {
 public:
  explicit HandbookTreeUpdateSource(const nlohmann::json& tree) : tree_(tree) {}
  handbook_dict::Node header() override { return handbook_dict::Node(tree_); }
  std::size_t elementCount(std::string_view key) override;
  void elements(std::string_view key, std::size_t first, std::size_t count,
                std::vector<handbook_dict::Node>& out) override;

 private:
  const nlohmann::json* array(std::string_view key) const;
  const nlohmann::json& tree_;
};

// Response text that HandbookPayloadReader::locate() (or open()) accepted; the reader must
// outlive the source. Values are checked as they are read: header(), elements() and
// checkRemaining() throw HandbookPayloadRefused on one the reader cannot parse.
class HandbookTextUpdateSource final : public HandbookUpdateSource {
 public:
  explicit HandbookTextUpdateSource(HandbookPayloadReader& reader) : reader_(reader) {}
  handbook_dict::Node header() override;
  std::size_t elementCount(std::string_view key) override { return reader_.elementCount(key); }
  void elements(std::string_view key, std::size_t first, std::size_t count,
                std::vector<handbook_dict::Node>& out) override;
  void checkRemaining() override;

 private:
  HandbookPayloadReader& reader_;
};

}  // namespace dm
