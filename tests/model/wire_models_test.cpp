#include "model/wire_models.h"

#include <gtest/gtest.h>

#include "model/drive_api_error.h"
#include "model/timestamp.h"

namespace drive {
namespace {

const std::string kNode =
    R"({"id":"n1","namespaceId":"ns1","name":"Plan.pdf","kind":"file","appKind":"none")";

StorageNode node(const std::string& extraMembers) {
  return decodeRecord<StorageNode>(kNode + extraMembers + "}");
}

TEST(WireModels, NodeKeysAreExactAndOptionalsMayBeMissingOrNull) {
  const auto minimal = node("");
  EXPECT_EQ(minimal.id, "n1");
  EXPECT_FALSE(minimal.mime || minimal.byteSize || minimal.role || minimal.createdAt);
  EXPECT_EQ(node(R"(,"extension":"png")").fileExtension, "png");
  EXPECT_FALSE(node(R"(,"fileExtension":"png")").fileExtension);
  EXPECT_FALSE(node(R"(,"mime":null,"parentId":null)").mime);
  EXPECT_EQ(node(R"(,"byteSize":0)").byteSize, 0);
  EXPECT_EQ(node(R"(,"groupId":-9223372036854775808)").groupId, INT64_MIN);
  const auto full = node(
      R"(,"parentId":"p","mime":"application/pdf","assetId":"a","groupId":12,)"
      R"("inheritGrants":true,"byteSize":4096,"contentHash":"ab","cloudOnly":false,"role":"viewer",)"
      R"("isPersonal":false,"trashedAt":"t","createdAt":"c","updatedAt":"u","unknown":[1,{"x":2}])");
  EXPECT_EQ(full.groupId, 12);
  EXPECT_EQ(full.inheritGrants, true);
  EXPECT_EQ(full.role, "viewer");
  EXPECT_EQ(full.updatedAt, "u");
}

TEST(WireModels, MalformedNodesFailWhole) {
  const std::string malformed[] = {
      R"({"id":"n1","namespaceId":"ns1","name":"x","kind":"file"})",                 // no appKind
      R"({"id":"n1","namespaceId":"ns1","name":"x","kind":"file","appKind":null})",  // null
      kNode + R"(,"groupId":"12"})",
      kNode + R"(,"inheritGrants":1})",
      kNode + R"(,"cloudOnly":"true"})",
      kNode + R"(,"byteSize":1.5})",
      kNode + R"(,"byteSize":18446744073709551616})",
      R"({"id":7,"namespaceId":"ns1","name":"x","kind":"file","appKind":"none"})",
      kNode + "}garbage",
      kNode,  // truncated
      "[]",
      "",
  };
  for (const auto& json : malformed) {
    EXPECT_THROW(decodeRecord<StorageNode>(json), WireDecodingError) << json;
  }
}

TEST(WireModels, ContainersFailWhenAnElementFails) {
  const std::string ns = R"({"id":"p","kind":"personal","title":"My Drive","rootNodeId":"r"})";
  const auto listing = decodeRecord<DriveListing>(R"({"namespaces":[)" + ns + "]}");
  EXPECT_EQ(listing.namespaces.at(0).title, "My Drive");
  EXPECT_FALSE(listing.roots);
  EXPECT_THROW(decodeRecord<DriveListing>(R"({"roots":[]})"), WireDecodingError);
  EXPECT_THROW(decodeRecord<DriveListing>(R"({"namespaces":[)" + ns + R"(,{"id":"q"}]})"),
               WireDecodingError);

  const auto children = decodeRecord<NodeChildren>(R"({"children":[)" + kNode + "}]}");
  EXPECT_FALSE(children.parent);
  EXPECT_EQ(children.children.size(), 1u);
  EXPECT_THROW(decodeRecord<NodeChildren>(R"({"parent":)" + kNode + "}}"), WireDecodingError);
  EXPECT_THROW(decodeRecord<NodeChildren>(R"({"children":[)" + kNode + R"(,"kind":3}]})"),
               WireDecodingError);
  EXPECT_THROW(decodeRecord<NodeChildren>(R"({"children":{}})"), WireDecodingError);
}

TEST(WireModels, EncodingKeepsTheKeyOrderAndLeavesAbsentOptionalsOut) {
  auto record = node(R"(,"extension":"pdf","byteSize":3,"role":"owner","parentId":"p")");
  EXPECT_EQ(encodeRecord(record).dump(),
            R"({"id":"n1","namespaceId":"ns1","parentId":"p","name":"Plan.pdf","kind":"file",)"
            R"("appKind":"none","byteSize":3,"role":"owner","extension":"pdf"})");
  EXPECT_EQ(decodeRecord<StorageNode>(encodeRecord(record).dump()), record);

  const DriveSession session{"tok", "tid", "", "2026-01-01T00:00:00Z", "2027-01-01T00:00:00Z"};
  EXPECT_EQ(encodeRecord(session).dump(),
            R"({"token":"tok","tokenId":"tid","email":"","expiresAt":"2026-01-01T00:00:00Z",)"
            R"("pairingExpiresAt":"2027-01-01T00:00:00Z"})");
  EXPECT_EQ(decodeRecord<DriveSession>(encodeRecord(session).dump()), session);
  EXPECT_THROW(decodeRecord<DriveSession>(R"({"token":"t","tokenId":"i","expiresAt":"e",)"
                                          R"("pairingExpiresAt":"p"})"),
               WireDecodingError);
  EXPECT_FALSE(decodeRecord<APIErrorBody>("{}").message);
  EXPECT_THROW(decodeRecord<APIErrorBody>(R"({"message":42})"), WireDecodingError);
}

TEST(WireModels, ErrorDescriptions) {
  EXPECT_EQ(DriveAPIError::http(502, "").errorDescription(), "Server error (502)");
  EXPECT_EQ(DriveAPIError::http(409, "Name already taken").errorDescription(),
            "Name already taken");
  EXPECT_EQ(DriveAPIError::message("").errorDescription(), "");
  EXPECT_EQ(DriveAPIError::unauthorized().errorDescription(),
            "Sign in expired. Open Drive and sign in again.");
  EXPECT_EQ(DriveAPIError::decoding().errorDescription(), "Unexpected response from the server.");
}

double secondsOf(const std::string& text) {
  auto date = readTimestamp(text);
  return date ? date->time_since_epoch().count() : -1;
}

TEST(Timestamp, ReadsWithThenWithoutFractionalSeconds) {
  EXPECT_DOUBLE_EQ(secondsOf("2024-05-01T12:30:00.250Z"), 1714566600.25);
  EXPECT_DOUBLE_EQ(secondsOf("2024-05-01T12:30:00Z"), 1714566600);
  EXPECT_DOUBLE_EQ(secondsOf("2024-05-01T14:30:00.5+02:00"), 1714566600.5);
  EXPECT_DOUBLE_EQ(secondsOf("2024-05-01T12:30:00.123456Z"), 1714566600.123);
  EXPECT_DOUBLE_EQ(secondsOf("1970-01-01T00:00:00Z"), 0);
  for (const std::string bad :
       {"", "2024-05-01", "2024-05-01 12:30:00Z", "2024-02-30T00:00:00Z", "2024-05-01T12:30:00",
        "2024-05-01T12:30:00.Z", "2024-05-01T24:00:00Z", "2024-05-01T12:30:00+0200"}) {
    EXPECT_FALSE(readTimestamp(bad)) << bad;
  }
}

}  // namespace
}  // namespace drive
