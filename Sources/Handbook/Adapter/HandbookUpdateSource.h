// Where an update batch reads the server's dictionary from: a parsed tree, or the response
// text read a window of array elements at a time. Both give the same nodes for the same
// dictionary.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookPayloadReader.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"

namespace dm {

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

// Response text that HandbookPayloadReader::open() accepted; the reader must outlive the
// source.
class HandbookTextUpdateSource final : public HandbookUpdateSource {
 public:
  explicit HandbookTextUpdateSource(HandbookPayloadReader& reader) : reader_(reader) {}
  handbook_dict::Node header() override { return reader_.header({"status", "version"}); }
  std::size_t elementCount(std::string_view key) override { return reader_.elementCount(key); }
  void elements(std::string_view key, std::size_t first, std::size_t count,
                std::vector<handbook_dict::Node>& out) override {
    reader_.elements(key, first, count, out);
  }

 private:
  HandbookPayloadReader& reader_;
};

}  // namespace dm
