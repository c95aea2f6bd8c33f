// Arbitrary octets as private data: the octet-form decoders (ACL and office
// form) and the BER carrier. Everything decoded is written back and printed.
// The ACL form must reach a fixed point after one decode/encode pass.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "csta3/private/private_data.h"

using namespace CSTA3V6;

namespace {

OctetVec RoundTrip(const unsigned char *p, size_t n, uint32_t *form) {
  PrivateDataChoiceSeq s;
  s.SetRaw(p, n);
  s.DecodeData();
  *form = s.DataChoice();
  OctetVec out;
  s.EncodeData(out);
  std::ostringstream text;
  AsnPrintStream os(text, (n & 1) != 0);
  s.Print(os);
  PrivateDataChoiceSeq copy(s);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const unsigned char *p = data + 1;
  const size_t n = size - 1;
  if (data[0] & 1) {
    // The whole carrier as BER.
    PrivateDataChoiceSeq s;
    std::ostringstream err;
    if (DecodeFrom(p, n, s, err) == 0) {
      OctetVec ber = EncodeToVector(s);
      PrivateDataChoiceSeq back;
      if (DecodeFrom(ber.data(), ber.size(), back, err) != 0) abort();
      std::ostringstream text;
      AsnPrintStream os(text, (data[0] & 2) != 0);
      back.Print(os);
    }
    return 0;
  }
  // The private octets alone.
  uint32_t form1 = 0, form2 = 0;
  OctetVec once = RoundTrip(p, n, &form1);
  OctetVec twice = RoundTrip(once.data(), once.size(), &form2);
  if (form1 == PrivateDataChoiceSeq::FORM_ACL) {
    if (form2 != form1) abort();
    if (twice != once) abort();
  }
  return 0;
}
