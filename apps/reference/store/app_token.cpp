#include "reference/store/app_token.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "platform/base64.h"

namespace drive::reference {

std::string mintAppToken(const nlohmann::json& claims, std::string_view secret) {
  const nlohmann::json header = {{"alg", "HS256"}, {"typ", "JWT"}};
  const std::string signedPart =
      fp::Base64::encodeURL(header.dump()) + "." + fp::Base64::encodeURL(claims.dump());
  unsigned char mac[EVP_MAX_MD_SIZE];
  unsigned int macLength = 0;
  HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
       reinterpret_cast<const unsigned char*>(signedPart.data()), signedPart.size(), mac,
       &macLength);
  return signedPart + "." +
         fp::Base64::encodeURL(std::string_view(reinterpret_cast<const char*>(mac), macLength));
}

}  // namespace drive::reference
