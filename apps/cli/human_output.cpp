#include "cli/human_output.h"

#include <cstdio>
#include <ctime>
#include <iomanip>

#include "model/node_kinds.h"

namespace drive::cli {
namespace {

// What a listing row shows, from an item or from its JSON.
struct Row {
  std::string filename;
  bool folder = false;
  std::optional<double> size;
  std::optional<double> modified;
  std::string sync;
  bool badged = false;
};

Row rowOf(const Json& item) {
  Row row;
  row.filename = item["filename"].get<std::string>();
  row.folder = item["userInfo"].value("kind", "") == NodeKind::folder;
  if (item.contains("documentSize")) row.size = item["documentSize"].get<double>();
  if (item.contains("contentModificationDate")) {
    row.modified = item["contentModificationDate"].get<double>();
  }
  row.sync = item["userInfo"].value("sync", "");
  row.badged = !item["decorations"].empty();
  return row;
}

Row rowOf(const fp::Item& item) {
  Row row;
  row.filename = item.filename();
  const auto info = item.userInfo();
  const auto valueOf = [&info](const char* key) {
    const auto found = info.find(key);
    return found == info.end() ? std::string() : found->second;
  };
  row.folder = valueOf("kind") == NodeKind::folder;
  if (auto size = item.documentSize()) row.size = static_cast<double>(*size);
  if (auto date = item.contentModificationDate()) row.modified = date->time_since_epoch().count();
  row.sync = valueOf("sync");
  row.badged = !item.decorations().empty();
  return row;
}

std::string sizeText(std::optional<double> size) {
  if (!size) return "--";
  const char* units[] = {"B", "KB", "MB", "GB", "TB"};
  int unit = 0;
  while (*size >= 1000 && unit < 4)
    *size /= 1000, ++unit;
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", *size, units[unit]);
  return text;
}

std::string dateText(std::optional<double> modified) {
  if (!modified) return "--";
  const auto seconds = static_cast<std::time_t>(*modified);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &utc);
  return text;
}

void printRow(std::ostream& out, const Row& row) {
  out << std::left << std::setw(36) << row.filename << ' ' << std::setw(7)
      << (row.folder ? "Folder" : "File") << ' ' << std::right << std::setw(9) << sizeText(row.size)
      << "  " << std::setw(16) << dateText(row.modified) << "  " << std::left << std::setw(8)
      << row.sync << ' ' << (row.badged ? "\u2601 PRALO" : "") << '\n';
}

void printHeader(std::ostream& out) {
  out << std::left << std::setw(36) << "Name" << ' ' << std::setw(7) << "Kind" << ' ' << std::right
      << std::setw(9) << "Size"
      << "  " << std::setw(16) << "Modified"
      << "  " << std::left << std::setw(8) << "Sync"
      << " Badge\n";
}

void printItemDetails(std::ostream& out, const Json& item) {
  printHeader(out);
  printRow(out, rowOf(item));
  out << "  identifier: " << item["itemIdentifier"].get<std::string>()
      << "\n  parent:     " << item["parentItemIdentifier"].get<std::string>()
      << "\n  type:       " << item["contentType"].get<std::string>()
      << "\n  writable:   " << (item["userInfo"].value("writable", "0") == "1" ? "yes" : "no")
      << "\n  downloaded: " << (item["isDownloaded"].get<bool>() ? "yes" : "no")
      << "\n  version:    " << item["metadataVersion"].get<std::string>() << '\n';
}

}  // namespace

void printForPerson(const std::string& command, const Outcome& outcome, std::ostream& out,
                    std::ostream& err) {
  const Json& json = outcome.json;
  if (json.contains("error")) {
    const auto& error = json["error"];
    err << "error: " << error["description"].get<std::string>() << " ("
        << error["domain"].get<std::string>() << " " << error["code"].get<long>() << ")\n";
    return;
  }
  if (outcome.items) {
    printHeader(out);
    for (const auto& item : *outcome.items)
      printRow(out, rowOf(*item));
    out << outcome.items->size() << " item(s)\n";
  } else if (command == "changes") {
    for (const auto& id : json["deleted"])
      out << "deleted  " << id.get<std::string>() << '\n';
    for (const auto& item : json["updated"])
      out << "updated  ", printRow(out, rowOf(item));
    out << "anchor   " << json["anchor"].get<std::string>()
        << (json["moreComing"].get<bool>() ? "  (more coming)" : "") << '\n';
  } else if (json.contains("anchor")) {
    out << (json["anchor"].is_null() ? "no anchor" : json["anchor"].get<std::string>()) << '\n';
  } else if (json.contains("item")) {
    if (json.contains("path")) out << "delivered " << json["path"].get<std::string>() << '\n';
    printItemDetails(out, json["item"]);
  } else {
    out << "done\n";
  }
}

}  // namespace drive::cli
