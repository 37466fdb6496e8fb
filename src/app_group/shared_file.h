#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/app_group_container.h"
#include "platform/json_file.h"

namespace drive {

// Records shared with the companion app as JSON. A record's from_json throws on a missing key
// or a value of the wrong type, which makes the whole record unreadable.

// The record `value` holds; none when there is no value or it does not decode.
template <class Record>
std::optional<Record> decodeSharedRecord(const std::optional<nlohmann::json>& value) {
  if (!value) return std::nullopt;
  try {
    return value->template get<Record>();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

// The record in the container file `name`; none when the file is missing or unreadable.
template <class Record>
std::optional<Record> readSharedFile(const std::string& name) {
  return decodeSharedRecord<Record>(fp::readJSONFile(fp::appGroupContainerURL() / name));
}

// Replaces the container file `name` with the record, compact, creating the container first.
template <class Record>
[[nodiscard]] bool writeSharedFile(const std::string& name, const Record& record) {
  return fp::writeJSONFile(fp::appGroupContainerURL() / name, nlohmann::json(record));
}

// The integer under `key`; a fraction, another type or no value throws.
inline std::int64_t integerAt(const nlohmann::json& object, const char* key) {
  const auto& value = object.at(key);
  if (!value.is_number_integer()) throw std::invalid_argument(std::string(key) + " not an integer");
  return value.get<std::int64_t>();
}

}  // namespace drive
