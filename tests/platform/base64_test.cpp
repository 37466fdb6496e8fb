#include "platform/base64.h"

#include <gtest/gtest.h>

namespace fp {
namespace {

using namespace std::string_literals;

TEST(Base64, RoundTripsEveryPaddingLength) {
  EXPECT_EQ(Base64::encode("foobar"), "Zm9vYmFy");
  for (const auto& bytes : {""s, "f"s, "fo"s, "foo"s, "foob"s, "\0\xff\x10"s}) {
    EXPECT_EQ(Base64::decode(Base64::encode(bytes)), bytes);
  }
  EXPECT_EQ(Base64::encode("fo"), "Zm8=");
}

TEST(Base64, RejectsWhatIsNotPaddedBase64) {
  for (const char* text : {"Zm8", "Zm9v!A==", "====", "Zg==="}) {
    EXPECT_EQ(Base64::decode(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace fp
