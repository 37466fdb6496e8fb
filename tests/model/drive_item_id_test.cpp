#include "model/drive_item_id.h"

#include <gtest/gtest.h>

namespace drive {
namespace {

using Kind = DriveItemID::Kind;

TEST(DriveItemID, ParsesEveryFormIncludingThePlatformConstants) {
  EXPECT_EQ(DriveItemID::parse("root"), DriveItemID::root());
  EXPECT_EQ(DriveItemID::parse("NSFileProviderRootContainerItemIdentifier"), DriveItemID::root());
  EXPECT_EQ(DriveItemID::parse("workingSet"), DriveItemID::workingSet());
  EXPECT_EQ(DriveItemID::parse("NSFileProviderWorkingSetContainerItemIdentifier"),
            DriveItemID::workingSet());
  EXPECT_EQ(DriveItemID::parse("trash"), DriveItemID::trash());
  EXPECT_EQ(DriveItemID::fromPlatformIdentifier("NSFileProviderTrashContainerItemIdentifier"),
            DriveItemID::trash());
  EXPECT_EQ(DriveItemID::parse("ns:w1"), DriveItemID::namespaceFolder("w1"));
  EXPECT_EQ(DriveItemID::parse("node:n1"), DriveItemID::node("n1"));
}

TEST(DriveItemID, EmptyIdsCaseAndBareIds) {
  EXPECT_EQ(DriveItemID::parse("ns:"), DriveItemID::namespaceFolder(""));
  EXPECT_EQ(DriveItemID::parse("node:"), DriveItemID::node(""));
  // Prefixes and names are case-sensitive: anything else is a bare node id.
  EXPECT_EQ(DriveItemID::parse("NS:w1"), DriveItemID::node("NS:w1"));
  EXPECT_EQ(DriveItemID::parse("Root"), DriveItemID::node("Root"));
  EXPECT_EQ(DriveItemID::parse(""), DriveItemID::node(""));
  EXPECT_EQ(DriveItemID::parse("abc123").format(), "node:abc123");
}

TEST(DriveItemID, FormatAndPlatformFormRoundTrip) {
  EXPECT_EQ(DriveItemID::trash().format(), "trash");
  EXPECT_EQ(DriveItemID::trash().platformIdentifier(),
            "NSFileProviderTrashContainerItemIdentifier");
  EXPECT_EQ(DriveItemID::root().platformIdentifier(), "NSFileProviderRootContainerItemIdentifier");
  EXPECT_EQ(DriveItemID::workingSet().format(), "workingSet");
  EXPECT_EQ(DriveItemID::namespaceFolder("a/b").platformIdentifier(), "ns:a/b");
  // Ids that look like other forms survive only through their "node:" form.
  for (const std::string id : {"ns:x", "root", "node:y", "trash", "", "é ü/?#%"}) {
    const auto formatted = DriveItemID::node(id).format();
    EXPECT_EQ(DriveItemID::parse(formatted), DriveItemID::node(id)) << formatted;
    EXPECT_EQ(DriveItemID::parse(DriveItemID::namespaceFolder(id).format()),
              DriveItemID::namespaceFolder(id));
  }
}

}  // namespace
}  // namespace drive
