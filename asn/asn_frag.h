// Collection of the fragments of a constructed OCTET STRING or BIT STRING.
// Runtime-internal; the value classes use it while decoding.
#ifndef K3_ASN_ASN_FRAG_H
#define K3_ASN_ASN_FRAG_H

#include <cstddef>
#include <cstdint>

#include "asn/asn_buf.h"

namespace CSTA3V6 {

struct AsnFragment {
  const unsigned char *data;  // points into the buffer being decoded
  size_t len;
};

// One per thread, so that threads may decode at the same time. Emptied at the
// start of every constructed-string decode; the array is kept for the next one.
class AsnFragStack {
 public:
  static constexpr size_t kFirstCapacity = 128;  // doubled whenever full

  AsnFragment *entries = nullptr;
  size_t capacity = 0;
  size_t used = 0;
  uint64_t totalLen = 0;            // sum of the fragment lengths
  unsigned char lastUnusedBits = 0;  // BIT STRING: unused-bits octet last seen

  AsnFragStack() = default;
  AsnFragStack(const AsnFragStack &) = delete;
  AsnFragStack &operator=(const AsnFragStack &) = delete;
  ~AsnFragStack() { delete[] entries; }

  void Reset() {
    used = 0;
    totalLen = 0;
    lastUnusedBits = 0;
  }
  void Push(const unsigned char *data, size_t len);
  // Concatenates the fragments in order into dst (totalLen octets).
  void CopyTo(unsigned char *dst) const;
};

AsnFragStack &AsnThreadFragStack();

// Empties the calling thread's stack and fills it with the fragments of one
// constructed string whose content length is len (possibly indefinite), the
// inner tag and length of the first fragment being next in b. bitString: the
// fragments are 0x03/0x23 and each primitive one starts with an unused-bits
// octet (kept in lastUnusedBits, not in the fragment). Adds the octets read to
// bytesDecoded, which never exceeds the octets really read. Throws -15 (a
// fragment runs past the data or past the definite length of a constructed
// string around it), -16 (other inner tag), -1 (BIT STRING fragment without its
// unused-bits octet), -22 (data ends where a fragment's tag or the
// end-of-contents is due) and the length codes.
void AsnCollectFragments(AsnBuf &b, AsnLen len, AsnLen &bytesDecoded, bool bitString);

}  // namespace CSTA3V6

#endif
