// The service's answers and the stored session, decoded as the provider decodes them.

#include <iterator>
#include <optional>

#include "api/request_layer.h"
#include "fuzz/fuzz_input.h"
#include "model/drive_api_error.h"

namespace drive::fuzz {
namespace {

// What a record decodes to must come back unchanged from its own encoding.
template <typename Record>
void decodeAndRoundTrip(std::string_view json) {
  std::optional<Record> record;
  try {
    record = decodeRecord<Record>(json);
  } catch (const WireDecodingError&) {
    return;
  }
  const auto encoded = encodeRecord(*record).dump();
  require(encodeRecord(decodeRecord<Record>(encoded)).dump() == encoded,
          "a decoded record does not survive its own encoding");
}

// The request layer's path: the record, else the service's message, else a decoding error.
template <typename Record>
void decodeBody(std::string_view json) {
  try {
    RequestLayer::decodeBody<Record>(std::string(json));
  } catch (const DriveAPIError&) {
  }
}

// Records the request layer decodes are also tried along its path.
template <typename Record, bool answered>
void decode(std::string_view json) {
  decodeAndRoundTrip<Record>(json);
  if constexpr (answered) decodeBody<Record>(json);
}

using Decoder = void (*)(std::string_view);
constexpr Decoder kDecoders[] = {
    decode<StorageNode, true>,  decode<StorageNamespace, false>, decode<DriveListing, true>,
    decode<NodeChildren, true>, decode<DriveSession, false>,     decode<IssuedAppToken, true>,
};

}  // namespace
}  // namespace drive::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace drive::fuzz;
  const auto input = FuzzInput::from(data, size);
  kDecoders[input.choice % std::size(kDecoders)](input.text);
  return 0;
}
