// Reading the server's update text in windows of array elements.
#include "Handbook/Adapter/HandbookPayloadReader.h"

#include <algorithm>

#include "Platform/ObjectMapping/JsonStructure.h"

namespace dm {

namespace {

using json_structure::Scanner;

// Windows parsed while checking the text stay below this many bytes (one element at least).
// The parser keeps memory for the largest text it has parsed, about ten times its size, so
// the check window is kept below the windows of elements that the update reads anyway.
constexpr std::size_t kCheckWindowBytes = 256 << 10;

}  // namespace

struct HandbookPayloadReader::Parsers {
  simdjson::dom::parser header;
  simdjson::dom::parser window;
};

HandbookPayloadReader::HandbookPayloadReader(std::string_view text)
    : text_(text), parsers_(std::make_unique<Parsers>()) {}

HandbookPayloadReader::HandbookPayloadReader(const MappedFile& file)
    : text_(file.text()), pages_(&file), parsers_(std::make_unique<Parsers>()) {}

HandbookPayloadReader::~HandbookPayloadReader() = default;

bool HandbookPayloadReader::open() {
  if (locate() && checkRemaining()) return true;
  members_.clear();
  return false;
}

bool HandbookPayloadReader::locate() {
  members_.clear();
  if (scan()) return true;
  members_.clear();
  return false;
}

bool HandbookPayloadReader::checkRemaining() {
  return checkValues(0);
}

bool HandbookPayloadReader::scan() {
  Scanner in(text_);
  if (pages_)
    in.reportScanned([this](std::size_t from, std::size_t to) { pages_->release(from, to); });
  in.skipSpace();
  if (!in.consume('{')) return false;
  in.skipSpace();
  if (in.consume('}')) {
    in.skipSpace();
    return in.atEnd();
  }
  for (;;) {
    in.skipSpace();
    if (in.peek() != '"') return false;
    const std::size_t keyBegin = in.offset();
    if (!in.skipString()) return false;
    const std::size_t keyEnd = in.offset();
    Member member;
    std::string_view rawKey = text_.substr(keyBegin + 1, keyEnd - keyBegin - 2);
    if (!simdjson::validate_utf8(rawKey.data(), rawKey.size())) return false;
    if (rawKey.find('\\') == std::string_view::npos) {
      member.key.assign(rawKey);
    } else {
      simdjson::dom::element key;
      std::string_view decoded;
      if (!parse(parsers_->header, headerBuffer_, {}, {keyBegin, keyEnd}, {}, key) ||
          key.get_string().get(decoded) != simdjson::SUCCESS)
        return false;
      member.key.assign(decoded);
    }
    in.skipSpace();
    if (!in.consume(':')) return false;
    in.skipSpace();
    member.value.begin = in.offset();
    if (in.peek() == '[') {
      member.isArray = true;
      if (!in.skipArray(member.elements)) return false;
    } else if (!in.skipValue()) {
      return false;
    }
    member.value.end = in.offset();
    members_.push_back(std::move(member));
    in.skipSpace();
    if (in.consume(',')) continue;
    if (in.consume('}')) break;
    return false;
  }
  in.skipSpace();
  return in.atEnd();
}

bool HandbookPayloadReader::checkValues(std::size_t fromMember) {
  simdjson::dom::element value;
  for (std::size_t m = fromMember; m < members_.size(); ++m) {
    Member& member = members_[m];
    if (!member.isArray) {
      if (member.checkedUpTo) continue;
      if (!parse(parsers_->window, windowBuffer_, {}, member.value, {}, value)) return false;
      member.checkedUpTo = 1;
      continue;
    }
    const std::size_t n = member.elements.size();
    for (std::size_t first = member.checkedUpTo; first < n;) {
      std::size_t last = first + 1;
      while (last < n &&
             member.elements[last].end - member.elements[first].begin < kCheckWindowBytes)
        ++last;
      if (!parseWindow(member, first, last - first, value)) return false;
      first = last;
      member.checkedUpTo = last;
    }
  }
  return true;
}

const HandbookPayloadReader::Member* HandbookPayloadReader::find(std::string_view key) const {
  for (auto it = members_.rbegin(); it != members_.rend(); ++it)
    if (it->key == key) return &*it;
  return nullptr;
}

bool HandbookPayloadReader::parse(simdjson::dom::parser& parser, std::string& buffer,
                                  std::string_view prefix, Span span, std::string_view suffix,
                                  simdjson::dom::element& out) {
  const std::size_t length = prefix.size() + (span.end - span.begin) + suffix.size();
  buffer.clear();
  buffer.reserve(length + simdjson::SIMDJSON_PADDING);
  buffer.append(prefix);
  buffer.append(text_.substr(span.begin, span.end - span.begin));
  // Windows are read in order: the copy is all that is needed of this part of the text.
  if (pages_) pages_->release(span.begin, span.end);
  buffer.append(suffix);
  // The parser reads into the padding: it must hold spaces, not leftovers.
  buffer.append(simdjson::SIMDJSON_PADDING, ' ');
  return parser.parse(buffer.data(), length, false).get(out) == simdjson::SUCCESS;
}

bool HandbookPayloadReader::parseWindow(const Member& member, std::size_t first, std::size_t count,
                                        simdjson::dom::element& out) {
  // The elements keep the commas between them, so the window reads as an array of its own.
  Span span{member.elements[first].begin, member.elements[first + count - 1].end};
  return parse(parsers_->window, windowBuffer_, "[", span, "]", out);
}

handbook_dict::Node HandbookPayloadReader::header(std::initializer_list<std::string_view> keys) {
  // The named members' texts copied into one small object of their own.
  headerBuffer_.clear();
  headerBuffer_ += '{';
  for (std::string_view key : keys) {
    const Member* member = find(key);
    if (!member) continue;
    if (headerBuffer_.size() > 1) headerBuffer_ += ',';
    headerBuffer_ += '"';
    headerBuffer_ += key;
    headerBuffer_ += "\":";
    headerBuffer_.append(
        text_.substr(member->value.begin, member->value.end - member->value.begin));
  }
  headerBuffer_ += '}';
  const std::size_t length = headerBuffer_.size();
  headerBuffer_.append(simdjson::SIMDJSON_PADDING, ' ');
  simdjson::dom::element document;
  if (parsers_->header.parse(headerBuffer_.data(), length, false).get(document) !=
      simdjson::SUCCESS)
    return {};
  return handbook_dict::Node(document);
}

std::size_t HandbookPayloadReader::elementCount(std::string_view key) const {
  const Member* member = find(key);
  return member && member->isArray ? member->elements.size() : 0;
}

bool HandbookPayloadReader::elements(std::string_view key, std::size_t first, std::size_t count,
                                     std::vector<handbook_dict::Node>& out) {
  out.clear();
  const Member* member = find(key);
  if (!member || !member->isArray || count == 0 || first >= member->elements.size() ||
      count > member->elements.size() - first)
    return false;
  simdjson::dom::element window;
  simdjson::dom::array array;
  if (!parseWindow(*member, first, count, window) ||
      window.get_array().get(array) != simdjson::SUCCESS)
    return false;
  // Windows are read in order; one that continues where the checked part ends extends it.
  if (first <= member->checkedUpTo)
    member->checkedUpTo = std::max(member->checkedUpTo, first + count);
  out.reserve(count);
  for (simdjson::dom::element element : array) out.emplace_back(element);
  return true;
}

}  // namespace dm
