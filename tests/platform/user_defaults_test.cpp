#include "platform/user_defaults.h"

#include <gtest/gtest.h>

#include "platform/json_file.h"
#include "platform/preferences.h"
#include "support/child_process.h"
#include "support/test_environment.h"
#include "support/test_files.h"

namespace drive {
namespace {

using fp::UserDefaults;
using nlohmann::json;

constexpr const char* kSuite = "group.eu.vantrel.drive";

class UserDefaultsTest : public test_support::DriveTest {
 protected:
  std::filesystem::path suiteFile() {
    return container() / "Library" / "Preferences" / "group.eu.vantrel.drive.json";
  }
  UserDefaults suite() { return *UserDefaults::suite(kSuite); }
};

TEST_F(UserDefaultsTest, WritesTheSharedFilesInTheAgreedFormat) {
  suite().setData(R"({"a":1})", "drive.session.v1");
  suite().setObject(json::array({"x", "y"}), "drive.enum.ids.root");
  EXPECT_EQ(test_support::readText(suiteFile()),
            R"({"drive.enum.ids.root":["x","y"],"drive.session.v1":{"data":"eyJhIjoxfQ=="}})");

  UserDefaults::standard().setObject(true, "flag");
  EXPECT_EQ(test_support::readText(root() / "config" / "pralodrive" / "defaults.json"),
            R"({"flag":true})");
  configure([](fp::Environment& environment) { environment.configHome.reset(); });
  EXPECT_EQ(UserDefaults::standard().file(), root() / "home" / ".config/pralodrive/defaults.json");
  configure([](fp::Environment& environment) { environment.appGroupContainer.reset(); });
  EXPECT_EQ(UserDefaults::suite(kSuite), std::nullopt);
  EXPECT_EQ(fp::Preferences::copyAppValue("drive.itemRevision", kSuite), std::nullopt);
}

TEST_F(UserDefaultsTest, TypedReadsAnswerOnlyValuesOfTheirType) {
  test_support::writeText(suiteFile(), R"({"ids":["a","b"],"mixed":["a",1],"text":"t","n":4.5,
    "blob":{"data":"AP8="},"notBase64":{"data":"!!"},"twoKeys":{"data":"","x":1}})");
  EXPECT_EQ(suite().stringArrayForKey("ids"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(suite().stringArrayForKey("mixed"), std::nullopt);
  EXPECT_EQ(suite().stringArrayForKey("text"), std::nullopt);
  EXPECT_EQ(suite().dataForKey("blob"), std::string("\0\xff", 2));
  EXPECT_EQ(suite().dataForKey("text"), std::nullopt);
  EXPECT_EQ(suite().dataForKey("notBase64"), std::nullopt);
  EXPECT_EQ(suite().dataForKey("twoKeys"), std::nullopt);
  EXPECT_EQ(suite().objectForKey("n"), json(4.5));
  EXPECT_EQ(fp::Preferences::copyAppValue("n", kSuite), json(4.5));
  EXPECT_EQ(suite().objectForKey("absent"), std::nullopt);
}

// Keys are read one at a time from the text; the file still reads as a whole JSON object.
TEST_F(UserDefaultsTest, AKeyReadsAsTheWholeFileWouldHaveIt) {
  test_support::writeText(suiteFile(), R"({"ids":["a",{"b":[1,2]}], "s\u0074r" : "v\n",
    "obj":{"k":null},"dup":1,"dup":2}
)");
  EXPECT_EQ(suite().objectForKey("str"), json("v\n"));
  EXPECT_EQ(suite().objectForKey("obj"), json::parse(R"({"k":null})"));
  EXPECT_EQ(suite().objectForKey("ids"), json::parse(R"(["a",{"b":[1,2]}])"));
  EXPECT_EQ(suite().objectForKey("dup"), json(2));
  for (const char* malformed : {R"({"a":1,"b":)", R"({"a":1} x)", R"({"a":1,"b":tru})",
                                R"({"a":1,"b":[1 2]})", R"({"a":1,"b":[1}})"}) {
    test_support::writeText(suiteFile(), malformed);
    EXPECT_EQ(suite().objectForKey("a"), std::nullopt) << malformed;
  }
}

TEST_F(UserDefaultsTest, ChangesKeepOtherKeysAndReplaceAMalformedFile) {
  suite().setObject("one", "a");
  suite().setObject("two", "b");
  suite().removeObjectForKey("a");
  EXPECT_EQ(test_support::readText(suiteFile()), R"({"b":"two"})");

  for (const char* malformed : {"{", "[1,2]"}) {
    test_support::writeText(suiteFile(), malformed);
    EXPECT_EQ(suite().objectForKey("b"), std::nullopt);
    suite().setObject(1, "c");
    EXPECT_EQ(test_support::readText(suiteFile()), R"({"c":1})");
  }
}

TEST_F(UserDefaultsTest, ReadsSeeAnotherWritersChangeAtOnce) {
  suite().setObject("one", "a");
  EXPECT_EQ(suite().objectForKey("a"), json("one"));
  // Read from the parsed copy unless the file changed: a replacement of the same size, then
  // an edit in place.
  ASSERT_TRUE(fp::writeJSONFile(suiteFile(), json{{"a", "two"}}));
  EXPECT_EQ(suite().objectForKey("a"), json("two"));
  test_support::writeText(suiteFile(), R"({"a":"three"})");
  EXPECT_EQ(suite().objectForKey("a"), json("three"));
}

TEST_F(UserDefaultsTest, OnlyChangesRewriteTheFile) {
  suite().setObject(json::array({"x", "y"}), "ids");
  suite().setObject(1, "n");
  {
    test_support::ReplacementWatch watch(suiteFile());
    suite().setObject(json::array({"x", "y"}), "ids");
    suite().removeObjectForKey("absent");
    EXPECT_FALSE(watch.replaced());
  }
  suite().setObject(1.0, "n");
  EXPECT_EQ(test_support::readText(suiteFile()), R"({"ids":["x","y"],"n":1.0})");
}

TEST_F(UserDefaultsTest, WritersInTwoProcessesLoseNoKey) {
  constexpr int kKeysPerProcess = 25;
  const auto writeKeys = [this](const std::string& prefix) {
    return [this, prefix] {
      for (int index = 0; index < kKeysPerProcess; ++index)
        suite().setObject(index, prefix + std::to_string(index));
      return 0;
    };
  };
  test_support::ChildProcess first(writeKeys("first."));
  test_support::ChildProcess second(writeKeys("second."));
  ASSERT_EQ(first.wait(), 0);
  ASSERT_EQ(second.wait(), 0);
  EXPECT_EQ(fp::readJSONFile(suiteFile())->size(), 2u * kKeysPerProcess);
}

}  // namespace
}  // namespace drive
