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

// A decode's own list of fragments, on the decoding function's stack: the
// first kInline entries need no allocation, more grow on the heap (doubling,
// so that a string of many tiny fragments stays linear to collect) and go with
// the stack object.
class AsnFragStack {
 public:
  static constexpr size_t kInline = 32;

  AsnFragment *entries = inlineEntries;
  size_t capacity = kInline;
  size_t used = 0;
  uint64_t totalLen = 0;            // sum of the fragment lengths
  unsigned char lastUnusedBits = 0;  // BIT STRING: unused-bits octet last seen

  AsnFragStack() = default;
  AsnFragStack(const AsnFragStack &) = delete;
  AsnFragStack &operator=(const AsnFragStack &) = delete;
  ~AsnFragStack() {
    if (entries != inlineEntries) delete[] entries;
  }

  void Push(const unsigned char *data, size_t len);
  // Concatenates the fragments in order into dst (totalLen octets).
  void CopyTo(unsigned char *dst) const;

 private:
  AsnFragment inlineEntries[kInline];
};

// Fills fs (empty) with the fragments of one
// constructed string whose content length is len (possibly indefinite), the
// inner tag and length of the first fragment being next in b. bitString: the
// fragments are 0x03/0x23 and each primitive one starts with an unused-bits
// octet (kept in lastUnusedBits, not in the fragment). Adds the octets read to
// bytesDecoded, which never exceeds the octets really read. Throws -15 (a
// fragment runs past the data or past the definite length of a constructed
// string around it), -16 (other inner tag), -1 (BIT STRING fragment without its
// unused-bits octet), -22 (data ends where a fragment's tag or the
// end-of-contents is due) and the length codes.
void AsnCollectFragments(AsnBuf &b, AsnLen len, AsnLen &bytesDecoded, bool bitString,
                         AsnFragStack &fs);

}  // namespace CSTA3V6

#endif
