// The service's answers and the stored session, decoded as the provider decodes them.

#include <optional>

#include "api/drive_api.h"
#include "api/drive_api_error.h"
#include "fuzz_input.h"

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
    DriveAPI::decodeBody<Record>(std::string(json));
  } catch (const DriveAPIError&) {
  }
}

}  // namespace
}  // namespace drive::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace drive;
  using namespace drive::fuzz;
  const auto input = FuzzInput::from(data, size);
  switch (input.choice % 6) {
    case 0:
      decodeAndRoundTrip<StorageNode>(input.text);
      decodeBody<StorageNode>(input.text);
      break;
    case 1:
      decodeAndRoundTrip<StorageNamespace>(input.text);
      break;
    case 2:
      decodeAndRoundTrip<DriveListing>(input.text);
      decodeBody<DriveListing>(input.text);
      break;
    case 3:
      decodeAndRoundTrip<NodeChildren>(input.text);
      decodeBody<NodeChildren>(input.text);
      break;
    case 4:
      decodeAndRoundTrip<DriveSession>(input.text);
      break;
    default:
      decodeAndRoundTrip<IssuedAppToken>(input.text);
      decodeBody<IssuedAppToken>(input.text);
      break;
  }
  return 0;
}
