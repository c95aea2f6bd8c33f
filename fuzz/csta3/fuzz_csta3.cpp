// Decodes arbitrary octets as a CSTAMsg; what decodes is printed (both forms),
// copied and re-encoded, and the re-encoding must decode to the same octets. A
// decode never reports more octets than it was given.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "csta3_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  using namespace CSTA3V6;
  std::ostringstream err;
  CSTAMsg msg;
  AsnLen used = 0;
  int rc = DecodeFrom(data, size, msg, err, &used);
  if (rc == 0 && used > size) std::abort();
  if (rc != 0) return 0;
  (void)AsnPrintToString(msg);
  (void)AsnPrintToString(msg, true);
  CSTAMsg copy(msg);
  std::vector<unsigned char> enc = EncodeToVector(msg);
  if (EncodeToVector(copy) != enc) std::abort();
  CSTAMsg again;
  if (DecodeFrom(enc.data(), enc.size(), again, err) != 0) std::abort();
  if (EncodeToVector(again) != enc) std::abort();
  return 0;
}
