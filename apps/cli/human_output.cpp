#include "human_output.h"

#include <cstdio>
#include <ctime>
#include <iomanip>

namespace drive::cli {
namespace {

std::string kindOf(const Json& item) {
  if (item["userInfo"].value("kind", "") == "folder") return "Folder";
  return "File";
}

std::string sizeOf(const Json& item) {
  if (!item.contains("documentSize")) return "--";
  double size = item["documentSize"].get<double>();
  const char* units[] = {"B", "KB", "MB", "GB", "TB"};
  int unit = 0;
  while (size >= 1000 && unit < 4)
    size /= 1000, ++unit;
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, units[unit]);
  return text;
}

std::string dateOf(const Json& item) {
  if (!item.contains("contentModificationDate")) return "--";
  const auto seconds = static_cast<std::time_t>(item["contentModificationDate"].get<double>());
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &utc);
  return text;
}

std::string badgeOf(const Json& item) {
  return item["decorations"].empty() ? "" : "\u2601 PRALO";
}

void printRow(std::ostream& out, const Json& item) {
  out << std::left << std::setw(36) << item["filename"].get<std::string>() << ' ' << std::setw(7)
      << kindOf(item) << ' ' << std::right << std::setw(9) << sizeOf(item) << "  " << std::setw(16)
      << dateOf(item) << "  " << std::left << std::setw(8) << item["userInfo"].value("sync", "")
      << ' ' << badgeOf(item) << '\n';
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
  printRow(out, item);
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
  if (json.contains("items")) {
    printHeader(out);
    for (const auto& item : json["items"])
      printRow(out, item);
    out << json["items"].size() << " item(s)\n";
  } else if (command == "changes") {
    for (const auto& id : json["deleted"])
      out << "deleted  " << id.get<std::string>() << '\n';
    for (const auto& item : json["updated"])
      out << "updated  ", printRow(out, item);
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
