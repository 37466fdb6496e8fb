#include "platform/type_registry.h"

#include <gtest/gtest.h>

namespace fp {
namespace {

TEST(TypeRegistry, ExtensionsAreFoundWhateverTheirCaseAndOnlyInTheLastComponent) {
  EXPECT_EQ(TypeRegistry::typeForFilename("Report.PDF"), UniformType("com.adobe.pdf"));
  EXPECT_EQ(TypeRegistry::typeForFilename("archive.tar.gz"),
            UniformType("org.gnu.gnu-zip-archive"));
  EXPECT_EQ(TypeRegistry::typeForFilename("Launch.VtrScene"),
            UniformType("eu.vantrel.drive.vtrscene"));
  EXPECT_EQ(TypeRegistry::typeForFilenameExtension("PDF"), UniformType("com.adobe.pdf"));
  // A dot in a folder's name, a leading dot and a trailing dot give no extension.
  for (const auto* name : {"notes.d/README", ".bashrc", "draft.", "plain", "x.unknownext"}) {
    EXPECT_EQ(TypeRegistry::typeForFilename(name), std::nullopt) << name;
  }
  EXPECT_EQ(pathExtension("a/b.c/d.txt"), "txt");
  EXPECT_EQ(deletingPathExtension("photo.jpeg"), "photo");
  EXPECT_EQ(deletingPathExtension(".profile"), ".profile");
}

TEST(TypeRegistry, ConformanceFollowsTheHierarchyAndFiltersLookups) {
  const auto jpeg = UniformType("public.jpeg");
  EXPECT_TRUE(TypeRegistry::conformsTo(jpeg, UniformType("public.image")));
  EXPECT_TRUE(TypeRegistry::conformsTo(jpeg, UniformType::data()));
  EXPECT_TRUE(TypeRegistry::conformsTo(jpeg, jpeg));
  EXPECT_FALSE(TypeRegistry::conformsTo(jpeg, UniformType("public.plain-text")));
  EXPECT_TRUE(TypeRegistry::conformsTo(UniformType::folder(), UniformType("public.directory")));
  EXPECT_FALSE(TypeRegistry::conformsTo(UniformType::folder(), UniformType::data()));
  // A type nobody declared is plain data, never a folder.
  EXPECT_TRUE(TypeRegistry::conformsTo(UniformType("com.example.unknown"), UniformType::data()));
  EXPECT_FALSE(TypeRegistry::conformsTo(UniformType("com.example.unknown"), UniformType::folder()));

  EXPECT_EQ(TypeRegistry::typeForFilenameExtension("png", UniformType("public.image")),
            UniformType("public.png"));
  EXPECT_EQ(TypeRegistry::typeForFilenameExtension("txt", UniformType("public.image")),
            std::nullopt);
}

TEST(TypeRegistry, PreferredExtensionsRoundTrip) {
  for (const auto* extension : {"pdf", "jpeg", "txt", "html", "vtrscene", "vtrobj", "zip"}) {
    const auto type = TypeRegistry::typeForFilenameExtension(extension);
    ASSERT_TRUE(type) << extension;
    EXPECT_EQ(TypeRegistry::preferredFilenameExtension(*type), extension);
  }
  EXPECT_EQ(TypeRegistry::preferredFilenameExtension(UniformType::folder()), std::nullopt);
}

}  // namespace
}  // namespace fp
