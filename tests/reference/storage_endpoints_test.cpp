// The service's REST endpoints over loopback: answers the provider's decoders accept, and the
// refusals of the service's rules.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "model/wire_models.h"
#include "reference/reference_fixture.h"
#include "reference/store/random_id.h"

namespace drive::reference::test_support {
namespace {

std::string sha256Hex(const std::string& bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
  return lowerHex(std::string_view(reinterpret_cast<const char*>(digest), length));
}

class StorageEndpoints : public ReferenceTest {
 protected:
  HttpResponse create(const std::string& parentId, const std::string& name,
                      const std::string& kind = "file") {
    return client().sendJSON(
        "POST", "/storage/nodes",
        nlohmann::json{{"parentId", parentId}, {"name", name}, {"kind", kind}});
  }
  HttpResponse rename(const std::string& id, const std::string& name) {
    return client().sendJSON("PATCH", "/storage/nodes/" + id, nlohmann::json{{"name", name}});
  }
  HttpResponse move(const std::string& id, const std::string& parentId) {
    return client().sendJSON("POST", "/storage/nodes/" + id + "/move",
                             nlohmann::json{{"parentId", parentId}});
  }
  HttpResponse put(const std::string& id, const std::string& bytes) {
    return client().upload("/storage/nodes/" + id + "/content", bytes.size(),
                           [&, offset = std::size_t{0}](char* buffer, std::size_t length) mutable {
                             bytes.copy(buffer, length, offset);
                             offset += length;
                           });
  }
};

TEST_F(StorageEndpoints, ListingAndChildrenDecodeAsTheProviderReadsThem) {
  const auto listing = decodeRecord<DriveListing>(client().get("/storage/listing").body);
  ASSERT_EQ(listing.namespaces.size(), 3u);
  EXPECT_EQ(listing.namespaces[0].kind, "personal");
  ASSERT_TRUE(listing.roots);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ((*listing.roots)[i].id, listing.namespaces[i].rootNodeId);

  const auto answer = client().get("/storage/nodes/" + idOf("Alex Morgan/Documents") + "/children");
  ASSERT_EQ(answer.status, 200);
  EXPECT_EQ(answer.headers.at("content-type"), "application/json");
  const auto children = decodeRecord<NodeChildren>(answer.body);
  EXPECT_EQ(children.parent->name, "Documents");
  std::vector<std::string> names;
  for (const auto& child : children.children) {
    names.push_back(child.name);
    EXPECT_TRUE(child.createdAt->ends_with("Z") && child.createdAt->find('.') != std::string::npos);
    EXPECT_EQ(child.trashedAt.has_value(), child.name == "Old draft.txt");  // listed, trashed
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Quarterly Report.pdf", "Notes.md", "notes.md",
                                             "Old draft.txt", "Drafts"}));
  const auto scene = decodeRecord<StorageNode>(
      client().get("/storage/nodes/" + idOf("Alex Morgan/Launch Scene.vtrscene")).body);
  EXPECT_EQ(scene.appKind, "scene");
  EXPECT_EQ(scene.cloudOnly, true);
  EXPECT_EQ(
      client().get("/storage/nodes/" + idOf("Alex Morgan/Photos/Beach.jpg") + "/children").status,
      400);
}

TEST_F(StorageEndpoints, HostileIdsAreUnknownNodes) {
  for (const std::string& id :
       {std::string(8000, 'a'), std::string("..%2F..%2Fetc%2Fpasswd"), std::string("%00"),
        std::string("x'%20OR%20'1'='1"), std::string("%E2%80%AE%FF"), std::string("..")}) {
    const auto answer = client().get("/storage/nodes/" + id + "/content");
    EXPECT_EQ(answer.status, 404) << id;
    EXPECT_EQ(answer.message(), "Not found");
  }
  EXPECT_EQ(client().get("/storage/nothing/here").status, 404);
  EXPECT_EQ(client().get("/storage/listing").status, 200);  // the connection is still good
}

TEST_F(StorageEndpoints, TokensMissingUnknownExpiredOrRetiredAreRefused) {
  HttpClient anonymous(service().baseURL());
  EXPECT_EQ(anonymous.get("/storage/listing").status, 401);
  anonymous.setToken("not-a-token");
  EXPECT_EQ(anonymous.get("/storage/listing").message(), "Invalid token");
  EXPECT_EQ(anonymous.sendJSON("POST", "/me/apps/tokens/refresh", nlohmann::json::object()).status,
            401);

  const auto refreshed =
      client().sendJSON("POST", "/me/apps/tokens/refresh", nlohmann::json::object());
  ASSERT_EQ(refreshed.status, 200);
  const auto issued = decodeRecord<IssuedAppToken>(refreshed.body);
  EXPECT_EQ(client().get("/storage/listing").status, 401);  // the old token is retired
  client().setToken(issued.token);
  EXPECT_EQ(client().get("/storage/listing").status, 200);

  service().expireToken(issued.token);
  const auto expired = client().get("/storage/listing");
  EXPECT_EQ(expired.status, 401);
  EXPECT_EQ(expired.message(), "Token expired");
}

TEST_F(StorageEndpoints, RefreshIssuesADottedTokenNamingTheUser) {
  const auto answer = client().send("POST", "/me/apps/tokens/refresh", std::string("{}"));
  const auto issued = decodeRecord<IssuedAppToken>(answer.body);
  EXPECT_NE(issued.id, session().tokenId);
  EXPECT_EQ(issued.pairingExpiresAt, session().pairingExpiresAt);
  // 2026-11-16T20:17:20Z on the test's clock, plus the default 30 days.
  EXPECT_EQ(issued.expiresAt, "2026-12-16T20:17:20.000Z");

  std::string payload = issued.token.substr(issued.token.find('.') + 1);
  payload = payload.substr(0, payload.find('.'));
  ASSERT_EQ(std::count(issued.token.begin(), issued.token.end(), '.'), 2);
  std::replace(payload.begin(), payload.end(), '-', '+');
  std::replace(payload.begin(), payload.end(), '_', '/');
  while (payload.size() % 4 != 0)
    payload += '=';
  std::string decoded(payload.size(), '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                     reinterpret_cast<const unsigned char*>(payload.data()),
                                     static_cast<int>(payload.size()));
  ASSERT_GT(length, 0);
  decoded.resize(decoded.find('}') + 1);
  EXPECT_EQ(nlohmann::json::parse(decoded).at("email"), "alex.morgan@example.com");

  EXPECT_EQ(client().send("POST", "/me/apps/tokens/refresh", std::string("[1")).status, 401);
  client().setToken(issued.token);
  EXPECT_EQ(client().send("POST", "/me/apps/tokens/refresh", std::string("[1")).status, 400);
}

TEST_F(StorageEndpoints, CreateFollowsNamesRolesAndParents) {
  const auto documents = idOf("Alex Morgan/Documents");
  const auto created = create(documents, "Plan.pdf");
  ASSERT_EQ(created.status, 201);
  const auto node = decodeRecord<StorageNode>(created.body);
  EXPECT_EQ(node.parentId, documents);
  EXPECT_EQ(node.fileExtension, "pdf");
  EXPECT_EQ(node.mime, "application/pdf");
  EXPECT_EQ(node.byteSize, 0);
  EXPECT_EQ(node.contentHash, sha256Hex(""));
  EXPECT_EQ(node.role, "owner");
  EXPECT_EQ(decodeRecord<StorageNode>(create(documents, "Drafts 2", "folder").body).kind, "folder");
  EXPECT_EQ(decodeRecord<StorageNode>(create(documents, "Piece.vtrobj").body).appKind, "object");

  EXPECT_EQ(create(documents, "PLAN.PDF").message(), "Name already taken");
  EXPECT_EQ(create(documents, "Old Draft.TXT").status, 201);  // trashed names are free
  EXPECT_EQ(create(idOf("Client Showcase/Deliverables"), "Mine.txt").status, 403);
  EXPECT_EQ(create(idOf("Studio Team/Shared Assets"), "Ours.txt").status, 201);
  EXPECT_EQ(create("no-such-node", "x.txt").status, 404);
  EXPECT_EQ(create(idOf("Alex Morgan/Photos/Beach.jpg"), "x.txt").status, 400);

  for (const std::string& body :
       {std::string("not json"), std::string("[]"), std::string(R"({"parentId":"p"})"),
        R"({"parentId":")" + documents + R"(","name":7,"kind":"file"})",
        R"({"parentId":")" + documents + R"(","name":"a/b","kind":"file"})",
        R"({"parentId":")" + documents + R"(","name":"  ","kind":"file"})",
        R"({"parentId":")" + documents + R"(","name":"x","kind":"album"})"}) {
    EXPECT_EQ(client().send("POST", "/storage/nodes", body).status, 400) << body;
  }
}

TEST_F(StorageEndpoints, RenameAndMoveKeepTheTreeConsistent) {
  const auto notes = idOf("Alex Morgan/Documents/Notes.md");
  const auto renamed = decodeRecord<StorageNode>(rename(notes, "Notes.txt").body);
  EXPECT_EQ(renamed.name, "Notes.txt");
  EXPECT_EQ(renamed.mime, "text/plain");
  EXPECT_EQ(rename(notes, "NOTES.MD").status, 409);   // the other notes.md
  EXPECT_EQ(rename(notes, "notes.TXT").status, 200);  // its own name in other case
  EXPECT_EQ(rename(idOf("Client Showcase/README.txt"), "x.txt").status, 403);
  EXPECT_EQ(rename(idOf("Alex Morgan"), "Me").status, 403);
  EXPECT_EQ(rename("unknown", "x").status, 404);
  EXPECT_EQ(client().send("PATCH", "/storage/nodes/" + notes, std::string("{}")).status, 400);

  const auto drafts = idOf("Alex Morgan/Documents/Drafts");
  const auto assets = idOf("Studio Team/Shared Assets");
  const auto moved = decodeRecord<StorageNode>(move(drafts, assets).body);
  EXPECT_EQ(moved.parentId, assets);
  EXPECT_EQ(moved.namespaceId, service().tree().node(assets).namespaceId);
  const auto outline = service().tree().nodeAt("Studio Team/Shared Assets/Drafts/Outline.docx");
  ASSERT_TRUE(outline);
  EXPECT_EQ(outline->namespaceId, moved.namespaceId);  // the subtree went along
  EXPECT_EQ(move(assets, drafts).status, 400);         // into its own sub-folder
  EXPECT_EQ(move(drafts, drafts).status, 400);
  EXPECT_EQ(move(drafts, assets).status, 200);  // to where it already is
  EXPECT_EQ(move(idOf("Alex Morgan/Documents/notes.md"), idOf("Alex Morgan/Documents")).status,
            200);
  EXPECT_EQ(move(drafts, idOf("Client Showcase/Deliverables")).status, 403);
  EXPECT_EQ(
      move(idOf("Alex Morgan/Photos/budget.csv"), idOf("Alex Morgan/Photos/Beach.jpg")).status,
      400);
  create(idOf("Alex Morgan/Photos"), "drafts", "folder");
  EXPECT_EQ(move(drafts, idOf("Alex Morgan/Photos")).status, 409);
}

TEST_F(StorageEndpoints, DeleteMovesToTheTrashOnce) {
  const auto beach = idOf("Alex Morgan/Photos/Beach.jpg");
  const auto deleted = client().send("DELETE", "/storage/nodes/" + beach);
  EXPECT_EQ(deleted.status, 204);
  EXPECT_TRUE(deleted.body.empty());
  EXPECT_TRUE(service().tree().node(beach).trashedAt);
  EXPECT_EQ(service().tree().children(idOf("Alex Morgan/Photos")).size(), 2u);
  EXPECT_EQ(client().send("DELETE", "/storage/nodes/" + beach).status, 204);
  EXPECT_EQ(rename(beach, "Shore.jpg").status, 404);
  EXPECT_EQ(client().send("DELETE", "/storage/nodes/" + idOf("Client Showcase/README.txt")).status,
            403);
  EXPECT_EQ(client().send("DELETE", "/storage/nodes/nothing").status, 404);
}

TEST_F(StorageEndpoints, ContentRoundTripsWithTrueSizeAndHash) {
  const auto id = decodeRecord<StorageNode>(create(idOf("Alex Morgan/Photos"), "Dune.bin").body).id;
  EXPECT_EQ(client().get("/storage/nodes/" + id + "/content").body, "");
  std::string bytes(300'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(i * 7919 % 251);
  const auto uploaded = decodeRecord<StorageNode>(put(id, bytes).body);
  EXPECT_EQ(uploaded.byteSize, 300'000);
  EXPECT_EQ(uploaded.contentHash, sha256Hex(bytes));
  const auto downloaded = client().get("/storage/nodes/" + id + "/content");
  EXPECT_EQ(downloaded.headers.at("content-length"), "300000");
  EXPECT_EQ(downloaded.body, bytes);
  EXPECT_EQ(decodeRecord<StorageNode>(put(id, "short").body).contentHash, sha256Hex("short"));
  EXPECT_EQ(client().get("/storage/nodes/" + id + "/content").body, "short");

  const auto scene = idOf("Alex Morgan/Launch Scene.vtrscene");
  EXPECT_EQ(client().get("/storage/nodes/" + scene + "/content").status, 404);
  EXPECT_EQ(client().get("/storage/nodes/" + idOf("Alex Morgan/Photos") + "/content").status, 400);
  EXPECT_EQ(put(idOf("Alex Morgan/Photos"), "x").status, 400);
  // A refused upload is read to its end, so the connection carries the next request.
  const auto refused = put(idOf("Client Showcase/README.txt"), bytes);
  EXPECT_EQ(refused.status, 403);
  EXPECT_EQ(service().tree().content(idOf("Client Showcase/README.txt")),
            "Read-only copies for the client.\n");
  EXPECT_EQ(client().get("/storage/listing").status, 200);
  EXPECT_EQ(client().connectionsOpened(), 0);  // the last request reused the connection
}

}  // namespace
}  // namespace drive::reference::test_support
