// BOOLEAN values.
#ifndef K3_ASN_ASN_BOOL_H
#define K3_ASN_ASN_BOOL_H

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnBool : public AsnType {
 public:
  unsigned char value;  // 0 or 1

  AsnBool(bool v = false) : value(v ? 1 : 0) {}
  AsnBool(const AsnBool &) = default;
  AsnBool &operator=(const AsnBool &) = default;

  operator bool() const { return value != 0; }
  void Set(bool v) { value = v ? 1 : 0; }

  AsnLen BEnc(AsnBuf &b) const;           // 0xFF / 0x00, length 1, tag 0x01
  AsnLen BEncContent(AsnBuf &b) const;
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x01 else -51
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);  // -5, -6
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
