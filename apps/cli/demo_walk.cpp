#include "cli/demo_walk.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "cli/command_line.h"
#include "cli/human_output.h"
#include "cli/shell_words.h"
#include "platform/app_group_container.h"
#include "platform/atomic_file.h"
#include "platform/environment.h"
#include "platform/item_identifier.h"
#include "platform/json_file.h"

namespace drive::cli {
namespace {

const std::string kRoot(fp::NSFileProviderRootContainerItemIdentifier);
const std::string kWorkingSet(fp::NSFileProviderWorkingSetContainerItemIdentifier);
const std::string kKeepOffline = "eu.vantrel.drive.action.offline";

std::string commandLine(const std::vector<std::string>& words) {
  std::string line = "$ pralodrive";
  for (const auto& word : words)
    line += " " + shellQuoted(word);
  return line;
}

// The identifier of the item a create request answered with.
std::string createdIdentifier(const Outcome& outcome) {
  if (!outcome.json.contains("item")) throw std::runtime_error("the item was not created");
  return outcome.json["item"]["itemIdentifier"].get<std::string>();
}

std::string firstLine(const std::filesystem::path& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return line;
}

// Written where a file manager would have the new file's contents before the upload.
std::filesystem::path localFile(const std::string& name, const std::string& contents) {
  const auto path = fp::Environment::current()->temporaryDirectory / name;
  std::ofstream(path) << contents;
  return path;
}

std::string indented(const std::string& text) {
  std::istringstream in(text);
  std::string result;
  for (std::string line; std::getline(in, line);)
    result += "  " + line + "\n";
  return result;
}

}  // namespace

bool DemoWalk::run() {
  domainRoot();
  browsing();
  opening();
  creating();
  renamingAndMoving();
  remoteChange();
  keepingOffline();
  refusals();
  deleting();
  sharedFiles();
  return surprises_ == 0;
}

void DemoWalk::domainRoot() {
  heading("The domain root and its namespaces");
  say("Finder first asks for the domain's root item, then lists it: one folder per namespace,\n"
      "the personal one first.");
  request({"item", kRoot});
  request({"list", kRoot});
}

void DemoWalk::browsing() {
  heading("Browsing into folders");
  say("Alex Morgan is the personal namespace: everything in it can be changed. The PRALO\n"
      "document carries the cloud badge; it stays online and opens in PRALO.");
  request({"list", space("Alex Morgan")});
  say("\nTwo names in Documents differ only by case; the second becomes \"notes.md (2)\". The\n"
      "trashed draft is not shown.");
  request({"list", node("Alex Morgan/Documents")});
  say("\nIn the Studio Team workspace Alex is an editor; its Q3 Campaign project holds PRALO\n"
      "documents only.");
  request({"list", node("Studio Team/Q3 Campaign")});
  say("\nIn Client Showcase Alex is a viewer: the workspace is read-only.");
  request({"list", space("Client Showcase")});
}

void DemoWalk::opening() {
  heading("Opening a file");
  say("Opening Notes.md makes the platform fetch its contents: the provider downloads them into\n"
      "a temporary file, which the platform takes over, and hands back the downloaded item.");
  const auto fetched = request({"fetch", node("Alex Morgan/Documents/Notes.md")});
  if (fetched.json.contains("path")) {
    say("The delivered file begins: " + firstLine(fetched.json["path"].get<std::string>()));
  }
  say("\nA PRALO document is never downloaded, so opening one here is refused:");
  request({"fetch", node("Alex Morgan/Launch Scene.vtrscene")}, Expect::refusal);
}

void DemoWalk::creating() {
  heading("Creating a folder and a file");
  const auto documents = node("Alex Morgan/Documents");
  say("A new folder in Documents:");
  folder_ = createdIdentifier(request({"create", documents, "Trip Plans", "--folder"}));
  say("\nA new file, with the contents the file manager wrote; the provider uploads them:");
  const auto contents = localFile("Packing List.txt", "passport\ntickets\nsunscreen\n");
  file_ = createdIdentifier(
      request({"create", documents, "Packing List.txt", "--file", contents.string()}));
}

void DemoWalk::renamingAndMoving() {
  heading("Renaming and moving");
  say("Renaming the file changes its filename field:");
  request({"modify", file_, "--name", "Packing.txt"});
  say("\nDragging it into Trip Plans changes its parent:");
  request({"modify", file_, "--parent", folder_});
  request({"list", folder_});
}

void DemoWalk::remoteChange() {
  heading("A change made elsewhere");
  say("Someone renames Quarterly Report.pdf in the web app. The companion app, which watches\n"
      "the service, writes two signal files into the shared container:");
  service_.tree().rename(nodeId("Alex Morgan/Documents/Quarterly Report.pdf"),
                         "Quarterly Report (final).pdf");
  showFile("drive-remote-refresh.json");
  showFile("drive-remote-items.json");
  const auto documents = node("Alex Morgan/Documents");
  say("\nDocuments is pending, so its change enumeration expires (-1002) and the platform lists\n"
      "it again:");
  request({"changes", documents}, Expect::refusal);
  request({"list", documents});
  say("\nThe working set publishes the renamed item from the remote items file:");
  request({"changes", kWorkingSet});
}

void DemoWalk::keepingOffline() {
  heading("Keep offline");
  say("Keep Offline on Trip Plans pins the folder and everything in it, then asks the companion\n"
      "app to download the files found:");
  request({"action", kKeepOffline, folder_});
  const auto commands = service_.finderActions();
  say("The companion app received: " + (commands.empty() ? "nothing" : commands.back().dump()));
  request({"list", folder_});
}

void DemoWalk::refusals() {
  heading("Refused changes");
  say("Alex is a viewer in Client Showcase, so renaming a file there is refused with the message\n"
      "Finder shows:");
  request({"modify", node("Client Showcase/README.txt"), "--name", "Read me first.txt"},
          Expect::refusal);
  say("\nA namespace folder cannot be deleted:");
  request({"delete", space("Studio Team")}, Expect::refusal);
}

void DemoWalk::deleting() {
  heading("Deleting");
  say("Deleting Trip Plans removes it, and the file inside, on the service:");
  request({"delete", folder_});
  request({"list", node("Alex Morgan/Documents")});
}

void DemoWalk::sharedFiles() {
  heading("What the provider wrote into the shared container");
  const auto container = fp::appGroupContainerURL();
  say("The trace log, drive-trace.log, has a line for each event:");
  out_ << indented(fp::readWholeFile(container / "drive-trace.log").value_or("(none)\n"));
  say("\nThe sync activity file, drive-sync-activity.json, tells the companion app about\n"
      "transfers:");
  const auto activity = fp::readJSONFile(container / "drive-sync-activity.json");
  out_ << indented(activity ? activity->dump(2) : "(none)");
}

void DemoWalk::heading(const std::string& title) {
  out_ << "\n== " << ++step_ << ". " << title << " ==\n\n";
}

void DemoWalk::say(const std::string& text) {
  out_ << text << '\n';
}

Outcome DemoWalk::request(const std::vector<std::string>& words, Expect expect) {
  out_ << commandLine(words) << '\n';
  const auto parsed = RequestParser().parse(words);
  auto outcome = parsed.command(host_);
  printForPerson(parsed.name, outcome, out_, out_);
  if ((outcome.status == 0) != (expect == Expect::success)) {
    ++surprises_;
    out_ << "!! unexpected: this request should have "
         << (expect == Expect::success ? "succeeded" : "been refused") << '\n';
  }
  out_.flush();
  return outcome;
}

void DemoWalk::showFile(const std::string& name) {
  const auto text = fp::readWholeFile(fp::appGroupContainerURL() / name);
  out_ << "  " << name << ": " << text.value_or("(missing)") << '\n';
}

std::string DemoWalk::nodeId(const std::string& path) {
  const auto found = service_.tree().nodeAt(path);
  if (!found) throw std::runtime_error("the demo drive has no \"" + path + "\"");
  return found->id;
}

std::string DemoWalk::space(const std::string& title) {
  for (const auto& candidate : service_.tree().listing().namespaces) {
    if (candidate.title == title) return DriveItemID::namespaceFolder(candidate.id).format();
  }
  throw std::runtime_error("the demo drive has no namespace \"" + title + "\"");
}

}  // namespace drive::cli
