// Root of every ASN.1 value class.
#ifndef K3_ASN_ASN_TYPE_H
#define K3_ASN_ASN_TYPE_H

namespace CSTA3V6 {

class AsnPrintStream;

// Two virtual slots only: the destructor and Print. Encoding, decoding, copying
// and comparing are plain members of each class, chosen at compile time.
class AsnType {
 public:
  AsnType() = default;
  AsnType(const AsnType &) = default;
  AsnType &operator=(const AsnType &) = default;
  virtual ~AsnType();
  // Stands in for a value of unknown class: "Unknown operation-value" on a line
  // of its own at the current indent.
  virtual void Print(AsnPrintStream &os) const;
};

}  // namespace CSTA3V6

#endif
