#include "model/name_rules.h"

#include <gtest/gtest.h>

namespace drive {
namespace {

TEST(NameRules, TrimmingAndCaseAreUnicodeAware) {
  // NBSP, ideographic space, line separator, NEL and tabs all count as white space.
  EXPECT_EQ(trimmedName("\u00a0\u3000\t Report.PDF \u2028\u0085\n"), "Report.PDF");
  EXPECT_EQ(trimmedName("a b"), "a b");
  EXPECT_EQ(nameKey("  ÄRGER.TXT "), "ärger.txt");
  // Full lower-casing: İ becomes i + combining dot, not a lone i.
  EXPECT_EQ(lowercasedName("\u0130"), "i\u0307");
  EXPECT_EQ(composedName("Cafe\u0301"), "Caf\u00e9");
  // Plain ASCII names take a shorter way to the same answers.
  EXPECT_EQ(trimmedName("\t\n\v\f\r Report.PDF \r\n"), "Report.PDF");
  EXPECT_EQ(trimmedName("\037a\034"), "\037a\034");
  EXPECT_EQ(trimmedName(" \t "), "");
  EXPECT_EQ(nameKey("  ARGER.TXT@[`{ "), "arger.txt@[`{");
  EXPECT_EQ(composedName("Cafe"), "Cafe");
}

TEST(NameRules, CleaningNeverLeavesSlashesNulsOrEmptyNames) {
  EXPECT_EQ(cleanFilename(" a/b "), "a:b");
  EXPECT_EQ(cleanFilename(std::string("x\0y", 3)), "xy");
  EXPECT_EQ(cleanFilename(" \n "), "Untitled");
  EXPECT_EQ(cleanFilename(std::string("\0", 1)), "Untitled");
}

TEST(NameRules, UniqueNamesCountFromTwoAfterTheWholeName) {
  std::set<std::string> used;
  EXPECT_EQ(uniqueFilename("Notes", used), "Notes");
  EXPECT_EQ(uniqueFilename("notes", used), "notes (2)");
  EXPECT_EQ(uniqueFilename("NOTES", used), "NOTES (3)");
  EXPECT_EQ(uniqueFilename("Plan.pdf", used), "Plan.pdf");
  EXPECT_EQ(uniqueFilename("plan.PDF", used), "plan.PDF (2)");
  EXPECT_EQ(uniqueFilename("   ", used), "Untitled");
  EXPECT_EQ(uniqueFilename("", used), "Untitled (2)");
  EXPECT_EQ(uniqueFilename("a/b", used), "a:b");
  // A name that collides with a generated one keeps counting.
  EXPECT_EQ(uniqueFilename("Notes (2)", used), "Notes (2) (2)");
}

TEST(NameRules, ArchiveAndIgnoredNames) {
  for (const std::string name : {"__archive__", " _ARCHIVE\n", "_Archive"}) {
    EXPECT_TRUE(isArchiveName(name)) << name;
  }
  EXPECT_FALSE(isArchiveName("archive"));
  for (const std::string name :
       {"Icon\r", ".DS_Store", " Thumbs.db", "desktop.ini", ".VolumeIcon.icns", "._Plan.pdf"}) {
    EXPECT_TRUE(isIgnoredName(name)) << name;
  }
  EXPECT_FALSE(isIgnoredName("icon\r"));
  EXPECT_FALSE(isIgnoredName("Icon"));
  EXPECT_FALSE(isIgnoredName("_Plan.pdf"));
}

}  // namespace
}  // namespace drive
