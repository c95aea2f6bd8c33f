// Root of every ASN.1 value class.
#ifndef K3_ASN_ASN_TYPE_H
#define K3_ASN_ASN_TYPE_H

#include <cstddef>

#include "asn/asn_pool.h"

namespace CSTA3V6 {

class AsnPrintStream;

// Two virtual slots only: the destructor and Print. Encoding, decoding, copying
// and comparing are plain members of each class, chosen at compile time.
class AsnType {
 public:
  AsnType() = default;
  AsnType(const AsnType &) = default;
  AsnType &operator=(const AsnType &) = default;
  virtual ~AsnType() = default;
  // Stands in for a value of unknown class: "Unknown operation-value" on a line
  // of its own at the current indent.
  virtual void Print(AsnPrintStream &os) const;

  // Model objects are many and small: they come from the per-thread block
  // lists. Deleting through the virtual destructor hands over the size of
  // the object's own class.
  static void *operator new(std::size_t n) { return AsnPoolAlloc(n); }
  static void operator delete(void *p, std::size_t n) noexcept { AsnPoolFree(p, n); }
};

}  // namespace CSTA3V6

#endif
