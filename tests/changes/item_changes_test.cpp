#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app_group/disk_state.h"
#include "platform/atomic_file.h"
#include "platform/json_file.h"
#include "support/service_fixture.h"

namespace drive {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
namespace calls = fp::BlockingCalls;

class ItemChangesTest : public test_support::ServiceTest {
 protected:
  fp::ItemPtr newItem(const std::string& parent, const std::string& name,
                      fp::UniformType type = fp::UniformType::data()) {
    return std::make_shared<fp::ItemTemplate>("", parent, name, type);
  }
  fp::ItemPtr changed(const std::string& identifier, const std::string& parent,
                      const std::string& name) {
    return std::make_shared<fp::ItemTemplate>(identifier, parent, name, fp::UniformType::data());
  }
  std::filesystem::path localFile(const std::string& name, const std::string& content) {
    const auto path = root() / name;
    EXPECT_TRUE(fp::writeFileAtomically(path, content));
    return path;
  }
  nlohmann::json activity() {
    return fp::readJSONFile(container() / "drive-sync-activity.json").value_or(nullptr);
  }
  int uploads() { return requestCount("PUT", "*/content"); }
};

TEST_F(ItemChangesTest, ARoundTripThroughThePlatformRequests) {
  const auto home = namespaceIdentifier("Alex Morgan");
  const auto folder =
      calls::createItem(extension(), newItem(home, "Trips", fp::UniformType::folder()), {});
  ASSERT_FALSE(folder.error);
  EXPECT_EQ(folder.item->capabilities(), 47u);
  const auto file =
      calls::createItem(extension(), newItem(folder.item->itemIdentifier(), "Plan.txt"),
                        localFile("plan.txt", "day one: fly"));
  ASSERT_FALSE(file.error);
  EXPECT_EQ(file.progress.completed, 1);
  const auto nodeId = file.item->itemIdentifier().substr(5);
  EXPECT_EQ(service().tree().content(nodeId), "day one: fly");
  EXPECT_TRUE(DriveDiskState::current().materialized.contains(nodeId));
  EXPECT_FALSE(
      DriveDiskState::current().materialized.contains(folder.item->itemIdentifier().substr(5)));
  EXPECT_EQ(activity()["recent"][0]["direction"], "upload");

  const auto fetched = calls::fetchContents(extension(), file.item->itemIdentifier());
  ASSERT_FALSE(fetched.error);
  EXPECT_EQ(fetched.url->extension(), ".txt");
  EXPECT_EQ(fetched.url->parent_path(), root() / "tmp");
  EXPECT_EQ(fp::readWholeFile(*fetched.url), "day one: fly");
  EXPECT_EQ(activity()["recent"][0]["direction"], "download");
  EXPECT_THAT(traceLog(), HasSubstr(" fetch " + nodeId + "\n"));

  auto moved =
      calls::modifyItem(extension(), changed(file.item->itemIdentifier(), home, "Plan v2.txt"),
                        fp::ItemField::filename | fp::ItemField::parentItemIdentifier,
                        localFile("v2.txt", "day one: fly, day two: swim"));
  ASSERT_FALSE(moved.error);
  EXPECT_EQ(moved.item->filename(), "Plan v2.txt");
  EXPECT_EQ(moved.item->parentItemIdentifier(), home);
  EXPECT_EQ(service().tree().content(nodeId), "day one: fly, day two: swim");
  const auto requests = service().requests();
  std::vector<std::string> order;
  for (const auto& request : requests) {
    if (request.method != "GET") order.push_back(request.method);
  }
  EXPECT_EQ(order, (std::vector<std::string>{"POST", "POST", "PUT", "POST", "PATCH", "PUT"}));

  EXPECT_FALSE(calls::deleteItem(extension(), file.item->itemIdentifier()).error);
  EXPECT_TRUE(service().tree().node(nodeId).trashedAt);
}

TEST_F(ItemChangesTest, ALibraryFailureReachesTheUserInTheSystemsOwnWords) {
  // Only a host that skips the platform's checks passes such a name; the request still fails
  // cleanly, and the library's own text goes to the log, not to the user or the trace.
  const auto created =
      calls::createItem(extension(), newItem(namespaceIdentifier("Alex Morgan"), "\xff\xfe"), {});
  ASSERT_TRUE(created.error);
  EXPECT_EQ(created.error->localizedDescription(),
            "The operation couldn\u2019t be completed. (NSCocoaErrorDomain error 256.)");
  EXPECT_THAT(traceLog(), Not(HasSubstr("json.exception")));
}

TEST_F(ItemChangesTest, ReimportAdoptsWhatIsAlreadyThere) {
  const auto documents = nodeIdentifier("Alex Morgan/Documents");
  const auto notes = "# Notes\n\n- call the printer\n- book the venue\n";
  auto same = calls::createItem(extension(), newItem(documents, " NOTES.md "),
                                localFile("n.md", notes), fp::CreateItemOption::mayAlreadyExist);
  ASSERT_FALSE(same.error);
  EXPECT_EQ(same.item->itemIdentifier(), nodeIdentifier("Alex Morgan/Documents/Notes.md"));
  EXPECT_EQ(uploads(), 0);
  calls::createItem(extension(), newItem(documents, "Notes.md"), localFile("n2.md", "changed"),
                    fp::CreateItemOption::mayAlreadyExist);
  EXPECT_EQ(uploads(), 1);

  // Equal to exactly one sibling under another name: that sibling.
  const auto report = service().tree().content(idOf("Alex Morgan/Documents/Quarterly Report.pdf"));
  auto renamed =
      calls::createItem(extension(), newItem(documents, "Q3.pdf"), localFile("q.pdf", report),
                        fp::CreateItemOption::mayAlreadyExist);
  EXPECT_EQ(renamed.item->itemIdentifier(),
            nodeIdentifier("Alex Morgan/Documents/Quarterly Report.pdf"));
  EXPECT_THAT(traceLog(), HasSubstr(" create renamed "));
  // Two equal siblings: a new node under a unique name.
  service().tree().addFile(idOf("Alex Morgan/Documents"), "Copy.pdf", report);
  auto fresh = calls::createItem(extension(), newItem(documents, "Quarterly Report.pdf"),
                                 localFile("q2.pdf", report));
  EXPECT_EQ(fresh.item->filename(), "Quarterly Report 2.pdf");
}

TEST_F(ItemChangesTest, RefusalsReachThePlatformWithoutRequests) {
  const auto home = namespaceIdentifier("Alex Morgan");
  const auto skip = calls::createItem(extension(), newItem(home, ".DS_Store"), {});
  EXPECT_EQ(skip.error, fp::PlatformError(fp::NSFileProviderErrorDomain, -2010));
  configure([](fp::Environment& e) { e.platformVersion = {13, 2, 0}; });
  EXPECT_EQ(calls::createItem(extension(), newItem(home, "Thumbs.db"), {}).error,
            fp::PlatformError(fp::NSCocoaErrorDomain, 3328));
  const auto pralo = calls::createItem(extension(), newItem(home, "x.VTRSCENE"), {});
  EXPECT_EQ(pralo.error->localizedDescription(),
            "PRALO documents stay in the cloud. Open them in PRALO.");
  EXPECT_EQ(calls::deleteItem(extension(), home).error->localizedDescription(),
            "This folder is read only.");
  const auto fetchFolder = calls::fetchContents(extension(), home);
  EXPECT_EQ(fetchFolder.error->localizedDescription(),
            "This item can\u2019t be changed from Finder.");
  EXPECT_EQ(fetchFolder.error->code(), 513);
  // Refused before anything could change on the service.
  EXPECT_EQ(requestCount("POST", "*") + requestCount("PUT", "*") + requestCount("DELETE", "*"), 0);

  const auto scene = nodeIdentifier("Alex Morgan/Launch Scene.vtrscene");
  EXPECT_EQ(calls::fetchContents(extension(), scene).error->code(), 513);
  EXPECT_THAT(traceLog(), HasSubstr(" fetch cloud " + scene.substr(5) + "\n"));
  EXPECT_THAT(traceLog(), HasSubstr(" fetch failed " + scene + " PRALO documents"));
  EXPECT_EQ(calls::fetchContents(extension(), "node:missing").error,
            fp::PlatformError(fp::NSFileProviderErrorDomain, -1005));

  // Read-only places: a viewer's folder keeps same-named children and skips new ones.
  const auto deliverables = nodeIdentifier("Client Showcase/Deliverables");
  const auto kept = calls::createItem(extension(), newItem(deliverables, "invoice.PDF "), {});
  EXPECT_EQ(kept.item->itemIdentifier(),
            nodeIdentifier("Client Showcase/Deliverables/Invoice.pdf"));
  EXPECT_EQ(calls::createItem(extension(), newItem(deliverables, "New.pdf"), {}).error->code(),
            3328);
  const auto invoice = nodeIdentifier("Client Showcase/Deliverables/Invoice.pdf");
  EXPECT_EQ(calls::modifyItem(extension(), changed(invoice, "", ""), fp::ItemField::tagData)
                .error->localizedDescription(),
            "This folder is read only.");
  EXPECT_EQ(calls::deleteItem(extension(), invoice).error->code(), 513);
  EXPECT_EQ(requestCount("DELETE", "*"), 0);
}

TEST_F(ItemChangesTest, AFailedUploadLeavesTheNodeAndAFailedActivityEntry) {
  const auto home = namespaceIdentifier("Alex Morgan");
  service().injectFault("*/content", reference::Fault::answer(500, ""), 1, "PUT");
  const auto failed =
      calls::createItem(extension(), newItem(home, "Big.bin"), localFile("big.bin", "payload"));
  EXPECT_EQ(failed.error->code(), -1004);
  EXPECT_TRUE(service().tree().nodeAt("Alex Morgan/Big.bin"));
  EXPECT_EQ(activity()["recent"][0]["ok"], false);
  EXPECT_THAT(traceLog(),
              HasSubstr(" create failed Big.bin parent " + home + " Server error (500)\n"));
  // A 409 with no same-named child to adopt reaches the user with its own text.
  service().injectFault("/storage/nodes", reference::Fault::message(409, "Taken"), 1, "POST");
  const auto conflict = calls::createItem(extension(), newItem(home, "Big.bin"), {});
  EXPECT_EQ(conflict.error->code(), 513);
  EXPECT_EQ(conflict.error->localizedDescription(), "An item with that name already exists here");
}

TEST_F(ItemChangesTest, AFetchThatFailsPartWayLeavesNoFile) {
  const auto notes = nodeIdentifier("Alex Morgan/Documents/Notes.md");
  for (const auto& fault : {reference::Fault::truncated(), reference::Fault::answer(403, "no")}) {
    service().injectFault("*/content", fault, 1, "GET");
    EXPECT_TRUE(calls::fetchContents(extension(), notes).error);
    EXPECT_TRUE(std::filesystem::is_empty(root() / "tmp"));
  }
  EXPECT_EQ(activity()["recent"][0]["ok"], false);
  // A 404 is an empty file, not its error page.
  service().injectFault("*/content", reference::Fault::message(404, "No content"), 1, "GET");
  const auto empty = calls::fetchContents(extension(), notes);
  ASSERT_FALSE(empty.error);
  EXPECT_EQ(fp::readWholeFile(*empty.url), "");
  EXPECT_EQ(std::filesystem::status(*empty.url).permissions(), std::filesystem::perms(0600));
}

}  // namespace
}  // namespace drive
