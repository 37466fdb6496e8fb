#pragma once

#include <string>

#include "platform/item_identifier.h"

namespace drive {

// The parsed form of an item identifier.
class DriveItemID {
 public:
  enum class Kind { root, workingSet, trash, namespaceFolder, node };

  static DriveItemID root() { return DriveItemID(Kind::root, {}); }
  static DriveItemID workingSet() { return DriveItemID(Kind::workingSet, {}); }
  static DriveItemID trash() { return DriveItemID(Kind::trash, {}); }
  static DriveItemID namespaceFolder(std::string id) {
    return DriveItemID(Kind::namespaceFolder, std::move(id));
  }
  static DriveItemID node(std::string id) { return DriveItemID(Kind::node, std::move(id)); }

  // Total: every string names something; an unknown one is a bare node id.
  static DriveItemID parse(const std::string& identifier);
  // Same result as parse: the platform constants are recognised first.
  static DriveItemID fromPlatformIdentifier(const fp::ItemIdentifier& identifier);

  Kind kind() const { return kind_; }
  // The namespace or node id; empty for the containers.
  const std::string& id() const { return id_; }
  bool isContainer() const {
    return kind_ == Kind::root || kind_ == Kind::workingSet || kind_ == Kind::trash;
  }

  // "root", "workingSet", "trash", "ns:<id>" or "node:<id>".
  std::string format() const;
  // As format, but the three containers as the platform's constants.
  fp::ItemIdentifier platformIdentifier() const;

  bool operator==(const DriveItemID&) const = default;

 private:
  DriveItemID(Kind kind, std::string id) : kind_(kind), id_(std::move(id)) {}
  Kind kind_;
  std::string id_;
};

inline constexpr std::string_view kNamespacePrefix = "ns:";
inline constexpr std::string_view kNodePrefix = "node:";

}  // namespace drive
