// NULL values.
#ifndef K3_ASN_ASN_NULL_H
#define K3_ASN_ASN_NULL_H

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnNull : public AsnType {
 public:
  AsnNull() = default;
  AsnNull(const AsnNull &) = default;
  AsnNull &operator=(const AsnNull &) = default;
  bool operator==(const AsnNull &) const { return true; }

  AsnLen BEnc(AsnBuf &b) const;                 // length 0, tag 0x05
  AsnLen BEncContent(AsnBuf &) const { return 0; }
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);   // tag 0x05 else -55
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);  // -13
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
