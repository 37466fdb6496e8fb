// The built pralodrive against the reference service, as scripts use it: one JSON object per
// request, exit statuses, and a shell session that keeps the process's state across lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/pralodrive_child.h"
#include "platform/file_lock.h"
#include "session/session_store.h"
#include "support/child_process.h"
#include "support/service_fixture.h"
#include "support/test_files.h"

namespace drive::cli::test_support {
namespace {

using Json = nlohmann::ordered_json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Strings = std::vector<std::string>;

const std::string kRoot = "NSFileProviderRootContainerItemIdentifier";
const Strings kItemKeys{"itemIdentifier", "parentItemIdentifier", "filename",
                        "contentType",    "contentVersion",       "metadataVersion",
                        "capabilities",   "documentSize",         "contentModificationDate",
                        "creationDate",   "isDownloaded",         "isMostRecentVersionDownloaded",
                        "isUploaded",     "decorations",          "userInfo",
                        "contentPolicy"};

Strings keysOf(const Json& object) {
  Strings keys;
  for (const auto& [key, value] : object.items())
    keys.push_back(key);
  return keys;
}

Strings without(Strings keys, const Strings& absent) {
  std::erase_if(keys, [&](const auto& key) { return std::ranges::count(absent, key) > 0; });
  return keys;
}

Strings filenames(const Json& items) {
  Strings names;
  for (const auto& item : items)
    names.push_back(item["filename"]);
  return names;
}

Json progress(int completed) {
  return Json::array({completed, 1});
}

struct Result {
  int status = -1;
  std::string out;
  std::string err;
  Json json;  // the one line of output, parsed
};

class CommandLineTest : public drive::test_support::ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    // The child judges the token's expiry by the real clock, not this test's fake one.
    saveSession(service().issueSession(std::chrono::system_clock::now() + std::chrono::days(365)));
    service().clearRequests();
  }

  std::map<std::string, std::string> environment() { return childEnvironment(); }

  std::filesystem::path errorFile() const { return root() / "stderr.txt"; }

  Result run(const Strings& arguments, const std::map<std::string, std::string>& variables = {}) {
    auto merged = variables;
    merged.merge(environment());
    PralodriveChild child(arguments, merged, errorFile());
    Result result;
    result.status = child.finish();
    result.out = child.rest();
    result.err = drive::test_support::readText(errorFile());
    return result;
  }

  // With --json: exactly one line, one object.
  Result json(Strings arguments, const std::map<std::string, std::string>& variables = {}) {
    arguments.insert(arguments.begin(), "--json");
    auto result = run(arguments, variables);
    EXPECT_EQ(std::ranges::count(result.out, '\n'), 1) << result.out;
    result.json = Json::parse(result.out, nullptr, false);
    return result;
  }

  Json parsed(const std::optional<std::string>& line) {
    return Json::parse(line.value_or(""), nullptr, false);
  }
};

TEST_F(CommandLineTest, ItemsListingsAnchorsAndChangesAsObjects) {
  const auto root = json({"item", kRoot});
  EXPECT_EQ(root.status, 0);
  EXPECT_EQ(keysOf(root.json), (Strings{"item", "progress"}));
  EXPECT_EQ(keysOf(root.json["item"]),
            without(kItemKeys, {"documentSize", "contentModificationDate", "creationDate"}));
  EXPECT_EQ(root.json["progress"], progress(1));

  const auto notes = json({"item", nodeIdentifier("Alex Morgan/Documents/Notes.md")});
  EXPECT_EQ(keysOf(notes.json["item"]), kItemKeys);
  EXPECT_EQ(notes.json["item"]["documentSize"], 45);
  EXPECT_TRUE(notes.json["item"]["contentVersion"].is_string());

  const auto listed = json({"list", namespaceIdentifier("Alex Morgan")});
  EXPECT_EQ(keysOf(listed.json), Strings{"items"});
  EXPECT_THAT(filenames(listed.json["items"]),
              ElementsAre("Documents", "Photos", "Launch Scene.vtrscene", "Website Redesign"));
  EXPECT_FALSE(listed.json["items"][2]["decorations"].empty());

  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  const auto anchor = json({"anchor", documents});
  const std::string hex = anchor.json["anchor"];
  EXPECT_EQ(hex.size(), 64u);
  EXPECT_EQ(hex.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(json({"anchor", "node:nothing-here"}).json, Json({{"anchor", nullptr}}));

  std::string upper = hex;
  std::ranges::transform(upper, upper.begin(), ::toupper);
  const auto changes = json({"changes", documents, "--anchor", upper});
  EXPECT_EQ(changes.status, 0);
  EXPECT_EQ(keysOf(changes.json), (Strings{"deleted", "updated", "anchor", "moreComing"}));
  EXPECT_EQ(changes.json["anchor"], hex);
  EXPECT_EQ(changes.json["moreComing"], false);
  EXPECT_THAT(filenames(changes.json["updated"]), ::testing::Contains("notes.md (2)"));
}

TEST_F(CommandLineTest, ChangesFetchesAndActionsReachTheService) {
  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  const auto folder = json({"create", documents, "Trip", "--folder"});
  EXPECT_EQ(folder.status, 0);
  EXPECT_EQ(folder.json["item"]["contentType"], "public.folder");
  EXPECT_EQ(folder.json["progress"], progress(1));
  const std::string folderId = folder.json["item"]["itemIdentifier"];

  drive::test_support::writeText(root() / "list.txt", "passport\n");
  const auto file = json({"create", folderId, "", "--file", (root() / "list.txt").string()});
  EXPECT_EQ(file.json["item"]["filename"], "Untitled");
  const std::string fileId = file.json["item"]["itemIdentifier"];
  EXPECT_EQ(service().tree().content(fileId.substr(5)), "passport\n");

  const auto moved = json({"modify", fileId, "--name", "List.txt", "--parent", documents});
  EXPECT_EQ(moved.json["item"]["parentItemIdentifier"], documents);
  EXPECT_TRUE(service().tree().nodeAt("Alex Morgan/Documents/List.txt"));

  const auto fetched = json({"fetch", fileId, "-o", (root() / "copy.txt").string()});
  EXPECT_EQ(keysOf(fetched.json), (Strings{"path", "item", "progress"}));
  EXPECT_THAT(fetched.json["path"].get<std::string>(),
              ::testing::StartsWith((root() / "tmp").string()));
  EXPECT_EQ(drive::test_support::readText(root() / "copy.txt"), "passport\n");

  EXPECT_EQ(json({"delete", folderId}).json, Json({{"progress", progress(1)}}));
  EXPECT_TRUE(service().tree().nodeAt("Alex Morgan/Documents/Trip")->trashedAt);
}

TEST_F(CommandLineTest, UsageErrorsExitTwoAndFailedRequestsOne) {
  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  for (const auto& arguments :
       std::vector<Strings>{{"create", documents, "x", "--file", "f", "--folder"},
                            {"changes", documents, "--anchor", "abc"},
                            {"modify", documents, "--fields", "size"},
                            {"--api-base", "http://example.com", "item", kRoot},
                            {"nonsense"},
                            {"create", documents, "\xff\xfe"},
                            {}}) {
    const auto usage = json(arguments);
    EXPECT_EQ(usage.status, 2) << usage.out;
    EXPECT_EQ(usage.json["error"]["domain"], "usage") << usage.out;
  }
  EXPECT_TRUE(service().requests().empty());
  const auto forPerson = run({"create", documents, "x", "--file", "f", "--folder"});
  EXPECT_EQ(forPerson.status, 2);
  EXPECT_EQ(forPerson.out, "");
  EXPECT_THAT(forPerson.err, HasSubstr("--file excludes --folder"));
  EXPECT_EQ(json({"create", documents, "\xff\xfe"}).json["error"]["description"],
            "argument 4 \"\\xFF\\xFE\" is not valid UTF-8");

  const auto missing = json({"item", "node:nothing-here"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(keysOf(missing.json), (Strings{"error", "progress"}));
  EXPECT_EQ(keysOf(missing.json["error"]), (Strings{"domain", "code", "description"}));
  EXPECT_EQ(missing.json["progress"], progress(0));

  const auto refused =
      json({"modify", nodeIdentifier("Client Showcase/README.txt"), "--name", "Notes.txt"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.json["error"], Json({{"domain", "NSCocoaErrorDomain"},
                                         {"code", 513},
                                         {"description", "This folder is read only."}}));
}

TEST_F(CommandLineTest, StartingRemovesPartialDownloadsNoProcessHolds) {
  const auto temporary = root() / "tmp";
  const auto abandoned = temporary / ".drive-1111.txt.AbC123";
  const auto held = temporary / ".drive-2222.txt.XyZ789";
  const auto delivered = temporary / "drive-3333.txt";
  const auto foreign = temporary / ".editor-swap.QwE456";
  for (const auto& file : {abandoned, held, delivered, foreign})
    drive::test_support::writeText(file, "partial");
  drive::test_support::Signal locked, release;
  drive::test_support::ChildProcess writer([&] {
    fp::FileLock lock(held);
    locked.raise();
    return release.await() ? 0 : 1;
  });
  ASSERT_TRUE(locked.await());
  EXPECT_EQ(json({"item", kRoot}).status, 0);
  release.raise();
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_FALSE(std::filesystem::exists(abandoned));
  EXPECT_TRUE(std::filesystem::exists(held));
  EXPECT_TRUE(std::filesystem::exists(delivered));
  EXPECT_TRUE(std::filesystem::exists(foreign));
}

TEST_F(CommandLineTest, AShellKeepsTheListingCacheAndBookkeepingAcrossItsLines) {
  const auto home = namespaceIdentifier("Alex Morgan");
  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  const auto notes = nodeIdentifier("Alex Morgan/Documents/Notes.md");
  PralodriveChild shell({"shell"}, environment(), errorFile());
  // Each result arrives before the next line is sent: flushed at once.
  shell.writeLine("list " + home);
  EXPECT_EQ(parsed(shell.readLine())["items"].size(), 4u);
  shell.writeLine("sleep 0");
  shell.writeLine("list " + home);
  EXPECT_EQ(parsed(shell.readLine())["items"].size(), 4u);
  EXPECT_EQ(requestCount("GET", "/storage/listing"), 1);

  shell.writeLine("list " + documents);
  EXPECT_EQ(parsed(shell.readLine())["items"].size(), 4u);
  shell.writeLine("delete '" + notes + "'");
  EXPECT_EQ(parsed(shell.readLine()), Json({{"progress", progress(1)}}));
  shell.writeLine("list \"unterminated");
  EXPECT_EQ(parsed(shell.readLine())["error"]["domain"], "usage");
  shell.writeLine("changes " + documents);
  EXPECT_EQ(parsed(shell.readLine())["deleted"], Json::array({notes}));

  shell.writeLine("action eu.vantrel.drive.action.offline " + documents);
  EXPECT_EQ(parsed(shell.readLine()), Json({{"progress", progress(1)}}));
  // The follow-up's command was posted before the line's result.
  ASSERT_EQ(service().finderActions().size(), 1u);
  EXPECT_EQ(service().finderActions()[0]["action"], "download");
  EXPECT_EQ(shell.finish(), 0);
  EXPECT_EQ(shell.rest(), "");
}

// "  export NAME=VALUE NAME=VALUE…" as the demo prints it.
std::map<std::string, std::string> exportedBy(const std::string& line) {
  std::map<std::string, std::string> variables;
  std::istringstream words(line.substr(line.find("export ") + 7));
  for (std::string word; words >> word;)
    variables[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
  return variables;
}

TEST_F(CommandLineTest, TheDemoWalksThroughAndCleansUp) {
  const bool fuse = std::filesystem::exists("/dev/fuse");
  const auto demo = run({"demo"});
  EXPECT_EQ(demo.status, 0) << demo.out << demo.err;
  if (fuse) {
    EXPECT_THAT(demo.out, HasSubstr("$ ls -l 'Alex Morgan/Documents'"));
    EXPECT_THAT(demo.out, HasSubstr("Every step showed what it should."));
  } else {
    EXPECT_THAT(demo.out, HasSubstr("FUSE is not available here (no /dev/fuse)"));
    EXPECT_THAT(demo.out, HasSubstr("Every step answered as expected."));
    EXPECT_THAT(demo.out, HasSubstr(" remote expire "));
  }
  EXPECT_TRUE(std::filesystem::is_empty(root() / "tmp"));
}

TEST_F(CommandLineTest, TheKeptDemoStaysUntilStopped) {
  PralodriveChild kept({"demo", "--keep"}, environment(), errorFile());
  if (std::filesystem::exists("/dev/fuse")) {
    const std::string prefix = "The drive stays mounted at ";
    std::string folder;
    for (auto line = kept.readLine(); line && folder.empty(); line = kept.readLine()) {
      if (line->starts_with(prefix))
        folder = line->substr(prefix.size(), line->rfind(':') - prefix.size());
    }
    ASSERT_FALSE(folder.empty());
    EXPECT_TRUE(std::filesystem::exists(folder + "/Alex Morgan/Documents/Notes.md"));
    kept.sendSignal(SIGTERM);
    EXPECT_EQ(kept.finish(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder));
  } else {
    std::map<std::string, std::string> exported;
    for (auto line = kept.readLine(); line && exported.empty(); line = kept.readLine()) {
      if (line->starts_with("  export ")) exported = exportedBy(*line);
    }
    ASSERT_EQ(exported.size(), 3u);
    EXPECT_EQ(json({"list", kRoot}, exported).json["items"].size(), 3u);
    kept.sendSignal(SIGTERM);
    EXPECT_EQ(kept.finish(), 0);
  }
  EXPECT_TRUE(std::filesystem::is_empty(root() / "tmp"));
}

}  // namespace
}  // namespace drive::cli::test_support
