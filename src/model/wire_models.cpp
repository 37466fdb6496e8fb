#include "model/wire_models.h"

#include <simdjson.h>

#include <cstdint>
#include <functional>
#include <type_traits>

#include "platform/scope_exit.h"

namespace drive {
namespace {

namespace od = simdjson::ondemand;

[[noreturn]] void fail(const std::string& why) {
  throw WireDecodingError(why);
}

void check(simdjson::error_code error, std::string_view what) {
  if (error) fail(std::string(what) + ": " + simdjson::error_message(error));
}

template <typename T>
struct IsOptional : std::false_type {};
template <typename T>
struct IsOptional<std::optional<T>> : std::true_type {};

template <typename T>
struct IsVector : std::false_type {};
template <typename T>
struct IsVector<std::vector<T>> : std::true_type {};

template <typename R>
R decodeObject(od::object object);

template <typename T>
T readValue(od::value& value, std::string_view key) {
  if constexpr (std::is_same_v<T, std::string>) {
    std::string_view text;
    check(value.get_string().get(text), key);
    return std::string(text);
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    std::int64_t number = 0;
    check(value.get_int64().get(number), key);
    return number;
  } else if constexpr (std::is_same_v<T, bool>) {
    bool flag = false;
    check(value.get_bool().get(flag), key);
    return flag;
  } else if constexpr (IsVector<T>::value) {
    od::array array;
    check(value.get_array().get(array), key);
    T elements;
    for (auto element : array) {
      od::value item;
      check(element.get(item), key);
      elements.push_back(readValue<typename T::value_type>(item, key));
    }
    return elements;
  } else {
    od::object object;
    check(value.get_object().get(object), key);
    return decodeObject<T>(object);
  }
}

template <typename T>
nlohmann::ordered_json writeValue(const T& value) {
  if constexpr (IsVector<T>::value) {
    auto array = nlohmann::ordered_json::array();
    for (const auto& element : value)
      array.push_back(writeValue(element));
    return array;
  } else if constexpr (std::is_class_v<T> && !std::is_same_v<T, std::string>) {
    return encodeRecord(value);
  } else {
    return value;
  }
}

// One key of a record: how to read it into the record and write it out, and whether it must
// be there. Absent optionals are left out when writing.
template <typename R>
struct Field {
  std::string_view key;
  bool required;
  std::function<void(od::value&, R&)> read;
  std::function<void(const R&, nlohmann::ordered_json&)> write;
};

template <typename R, typename T>
Field<R> field(std::string_view key, T R::*member) {
  if constexpr (IsOptional<T>::value) {
    return {key, false,
            [member, key](od::value& value, R& record) {
              record.*member = readValue<typename T::value_type>(value, key);
            },
            [member, key](const R& record, nlohmann::ordered_json& json) {
              if (record.*member) json[std::string(key)] = writeValue(*(record.*member));
            }};
  } else {
    return {
        key, true,
        [member, key](od::value& value, R& record) { record.*member = readValue<T>(value, key); },
        [member, key](const R& record, nlohmann::ordered_json& json) {
          json[std::string(key)] = writeValue(record.*member);
        }};
  }
}

template <typename R>
const std::vector<Field<R>>& fieldsOf();

template <>
const std::vector<Field<StorageNamespace>>& fieldsOf() {
  using N = StorageNamespace;
  static const std::vector<Field<N>> fields = {
      field("id", &N::id),
      field("kind", &N::kind),
      field("title", &N::title),
      field("userId", &N::userId),
      field("organizationId", &N::organizationId),
      field("workspaceId", &N::workspaceId),
      field("rootNodeId", &N::rootNodeId),
  };
  return fields;
}

// In the encoding key order, which is also the order the service sends.
template <>
const std::vector<Field<StorageNode>>& fieldsOf() {
  using N = StorageNode;
  static const std::vector<Field<N>> fields = {
      field("id", &N::id),
      field("namespaceId", &N::namespaceId),
      field("parentId", &N::parentId),
      field("name", &N::name),
      field("kind", &N::kind),
      field("appKind", &N::appKind),
      field("mime", &N::mime),
      field("assetId", &N::assetId),
      field("groupId", &N::groupId),
      field("inheritGrants", &N::inheritGrants),
      field("byteSize", &N::byteSize),
      field("contentHash", &N::contentHash),
      field("cloudOnly", &N::cloudOnly),
      field("role", &N::role),
      field("isPersonal", &N::isPersonal),
      field("trashedAt", &N::trashedAt),
      field("createdAt", &N::createdAt),
      field("updatedAt", &N::updatedAt),
      field("extension", &N::fileExtension),
  };
  return fields;
}

template <>
const std::vector<Field<DriveListing>>& fieldsOf() {
  using L = DriveListing;
  static const std::vector<Field<L>> fields = {
      field("namespaces", &L::namespaces),
      field("roots", &L::roots),
  };
  return fields;
}

template <>
const std::vector<Field<NodeChildren>>& fieldsOf() {
  using C = NodeChildren;
  static const std::vector<Field<C>> fields = {
      field("parent", &C::parent),
      field("children", &C::children),
  };
  return fields;
}

template <>
const std::vector<Field<IssuedAppToken>>& fieldsOf() {
  using T = IssuedAppToken;
  static const std::vector<Field<T>> fields = {
      field("token", &T::token),
      field("app", &T::app),
      field("id", &T::id),
      field("expiresAt", &T::expiresAt),
      field("pairingExpiresAt", &T::pairingExpiresAt),
  };
  return fields;
}

template <>
const std::vector<Field<DriveSession>>& fieldsOf() {
  using S = DriveSession;
  static const std::vector<Field<S>> fields = {
      field("token", &S::token),
      field("tokenId", &S::tokenId),
      field("email", &S::email),
      field("expiresAt", &S::expiresAt),
      field("pairingExpiresAt", &S::pairingExpiresAt),
  };
  return fields;
}

template <>
const std::vector<Field<APIErrorBody>>& fieldsOf() {
  static const std::vector<Field<APIErrorBody>> fields = {
      field("message", &APIErrorBody::message),
  };
  return fields;
}

// Finds the field for a key, trying the one after the last match first: the service
// sends keys in their usual order, so that guess is almost always right.
template <typename R>
std::size_t findField(const std::vector<Field<R>>& fields, std::string_view key,
                      std::size_t guess) {
  if (guess < fields.size() && fields[guess].key == key) return guess;
  for (std::size_t index = 0; index < fields.size(); ++index) {
    if (fields[index].key == key) return index;
  }
  return fields.size();
}

template <typename R>
R decodeObject(od::object object) {
  const auto& fields = fieldsOf<R>();
  R record{};
  std::uint64_t seen = 0;
  std::size_t guess = 0;
  for (auto member : object) {
    std::string_view key;
    check(member.unescaped_key().get(key), "key");
    const std::size_t index = findField(fields, key, guess);
    if (index == fields.size()) continue;  // unknown keys are ignored
    guess = index + 1;
    od::value value;
    check(member.value().get(value), key);
    bool isNull = false;
    check(value.is_null().get(isNull), key);
    if (isNull) {
      if (fields[index].required) fail(std::string(key) + " is null");
      continue;
    }
    fields[index].read(value, record);
    seen |= std::uint64_t{1} << index;
  }
  for (std::size_t index = 0; index < fields.size(); ++index) {
    if (fields[index].required && (seen & (std::uint64_t{1} << index)) == 0) {
      fail(std::string(fields[index].key) + " is missing");
    }
  }
  return record;
}

// A parser keeps the capacity of the largest document it read; past this size that memory
// goes back once the document is decoded, rather than stay with the thread for good.
constexpr std::size_t kKeptParserCapacity = 1 << 20;

template <typename R>
R decodeDocument(std::string_view json) {
  thread_local od::parser parser;
  const fp::ScopeExit shrink([&] {
    if (json.size() > kKeptParserCapacity) parser = od::parser{};
  });
  const simdjson::padded_string padded(json);
  od::document document;
  check(parser.iterate(padded).get(document), "document");
  od::object object;
  check(document.get_object().get(object), "document");
  R record = decodeObject<R>(object);
  // Anything after the record, even white space only, would leave the iterator short of the end.
  if (document.current_location().error() != simdjson::OUT_OF_BOUNDS) {
    fail("trailing content after the record");
  }
  return record;
}

template <typename R>
nlohmann::ordered_json encodeObject(const R& record) {
  auto json = nlohmann::ordered_json::object();
  for (const auto& field : fieldsOf<R>())
    field.write(record, json);
  return json;
}

}  // namespace

template <typename Record>
Record decodeRecord(std::string_view json) {
  return decodeDocument<Record>(json);
}
template StorageNamespace decodeRecord<StorageNamespace>(std::string_view);
template StorageNode decodeRecord<StorageNode>(std::string_view);
template DriveListing decodeRecord<DriveListing>(std::string_view);
template NodeChildren decodeRecord<NodeChildren>(std::string_view);
template IssuedAppToken decodeRecord<IssuedAppToken>(std::string_view);
template DriveSession decodeRecord<DriveSession>(std::string_view);
template APIErrorBody decodeRecord<APIErrorBody>(std::string_view);

nlohmann::ordered_json encodeRecord(const StorageNamespace& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const StorageNode& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const DriveListing& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const NodeChildren& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const IssuedAppToken& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const DriveSession& record) {
  return encodeObject(record);
}
nlohmann::ordered_json encodeRecord(const APIErrorBody& record) {
  return encodeObject(record);
}

}  // namespace drive
