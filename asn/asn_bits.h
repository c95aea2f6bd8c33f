// BIT STRING values. Bit 0 is the top bit of the first octet.
#ifndef K3_ASN_ASN_BITS_H
#define K3_ASN_ASN_BITS_H

#include <cstdint>

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnBits : public AsnType {
 public:
  uint64_t bitLen = 0;          // number of bits
  unsigned char *bits = nullptr;  // owned; (bitLen+7)/8 octets

  AsnBits(size_t nbits = 0);                         // all bits clear
  AsnBits(const unsigned char *b, size_t nbits);     // copies (nbits+7)/8 octets
  AsnBits(const AsnBits &o);
  AsnBits &operator=(const AsnBits &o);
  ~AsnBits() override;

  void Set(const unsigned char *b, size_t nbits);
  // Bits at or beyond bitLen are left alone (and read as false).
  void SetBit(size_t i, bool v = true);
  void ClrBit(size_t i) { SetBit(i, false); }
  bool GetBit(size_t i) const;
  bool IsEmpty() const;  // no bits, or none of them set
  size_t BitLen() const { return size_t(bitLen); }

  // Same bit count and the same bits (unused trailing bits are ignored).
  bool operator==(const AsnBits &o) const;
  bool operator!=(const AsnBits &o) const { return !(*this == o); }

  AsnLen BEnc(AsnBuf &b) const;          // content, length, tag 0x03
  AsnLen BEncContent(AsnBuf &b) const;   // unused-bits octet + octets
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x03 or 0x23 else -50
  // Primitive (-1) or, when tagId has the constructed bit, fragments (-1, -15, -16).
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
