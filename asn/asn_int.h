// INTEGER and ENUMERATED values (signed 32-bit).
#ifndef K3_ASN_ASN_INT_H
#define K3_ASN_ASN_INT_H

#include <cstdint>

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnInt : public AsnType {
 public:
  int32_t value;

  AsnInt(int32_t v = 0) : value(v) {}
  AsnInt(const AsnInt &) = default;
  AsnInt &operator=(const AsnInt &) = default;

  operator int32_t() const { return value; }
  void Set(int32_t v) { value = v; }

  AsnLen BEnc(AsnBuf &b) const;           // content, length, tag 0x02
  AsnLen BEncContent(AsnBuf &b) const;    // shortest two's complement, 1..4 octets
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x02 else -53
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);  // -7, -8
  void Print(AsnPrintStream &os) const override;
};

class AsnEnum : public AsnInt {
 public:
  AsnEnum(int32_t v = 0) : AsnInt(v) {}
  AsnEnum(const AsnEnum &) = default;
  AsnEnum &operator=(const AsnEnum &) = default;

  AsnLen BEnc(AsnBuf &b) const;                // content, length, tag 0x0A
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x0A else -52
};

}  // namespace CSTA3V6

#endif
