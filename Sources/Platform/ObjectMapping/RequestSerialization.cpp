// Request serialisation: a recursive walk over the request mapping, bounded in depth.
#include "Platform/ObjectMapping/RequestSerialization.h"

#include "Platform/ObjectMapping/MappingError.h"

namespace dm {
namespace {

using Code = MappingError::Code;

void put(nlohmann::json& body, const KeyPath& keyPath, nlohmann::json value) {
  nlohmann::json* node = &body;
  for (std::size_t i = 0; i + 1 < keyPath.segments.size(); ++i) {
    nlohmann::json& next = (*node)[keyPath.segments[i]];
    if (!next.is_object()) next = nlohmann::json::object();
    node = &next;
  }
  if (!keyPath.segments.empty()) (*node)[keyPath.segments.back()] = std::move(value);
}

nlohmann::json serializeObject(const ObjectMapping& mapping, const MappingSource& source,
                               ObjectRef object, const SerializationOptions& options,
                               unsigned depth, const std::string& where) {
  if (mapping.kind() != ObjectMapping::Kind::Request) {
    throw MappingError(Code::UnknownClass, where, "not a request mapping");
  }
  if (depth > options.maxDepth) {
    throw MappingError(Code::NestingTooDeep, where,
                       "records nested deeper than " + std::to_string(options.maxDepth));
  }
  nlohmann::json body = nlohmann::json::object();
  for (const auto& attribute : mapping.attributeMappings()) {
    auto value = source.fieldValue(object, attribute.source.text);
    if (!value) {
      throw MappingError(Code::UnknownClass, where, "record has no field " + attribute.source.text);
    }
    nlohmann::json json = std::holds_alternative<Value>(*value)
                              ? jsonFromValue(std::get<Value>(*value))
                              : std::get<nlohmann::json>(std::move(*value));
    if (json.is_null() && options.omitNullValues) continue;
    put(body, attribute.destination, std::move(json));
  }
  for (const auto& relationship : mapping.relationshipMappings()) {
    bool toMany = false;
    auto related = source.relatedObjects(object, relationship.source.text, toMany);
    const std::string path =
        where.empty() ? relationship.destination.text : where + "." + relationship.destination.text;
    if (!related) {
      throw MappingError(Code::UnknownClass, where,
                         "record has no relationship " + relationship.source.text);
    }
    const auto nested = relationship.mapping();
    if (!nested) {
      throw MappingError(Code::UnknownClass, path, "relationship has no nested mapping");
    }
    if (toMany) {
      nlohmann::json array = nlohmann::json::array();
      for (std::size_t i = 0; i < related->size(); ++i) {
        array.push_back(serializeObject(*nested, source, (*related)[i], options, depth + 1,
                                        path + "[" + std::to_string(i) + "]"));
      }
      put(body, relationship.destination, std::move(array));
    } else if (!related->empty()) {
      put(body, relationship.destination,
          serializeObject(*nested, source, related->front(), options, depth + 1, path));
    } else if (!options.omitNullValues) {
      put(body, relationship.destination, nullptr);
    }
  }
  return body;
}

}  // namespace

nlohmann::json serializeRequest(const ObjectMapping& mapping, const MappingSource& source,
                                ObjectRef object, std::string_view rootKeyPath,
                                const SerializationOptions& options) {
  nlohmann::json body = serializeObject(mapping, source, object, options, 1, "");
  if (rootKeyPath.empty()) return body;
  nlohmann::json wrapped = nlohmann::json::object();
  put(wrapped, KeyPath(rootKeyPath), std::move(body));
  return wrapped;
}

}  // namespace dm
