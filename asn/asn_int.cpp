#include "asn/asn_int.h"

#include "asn/asn_errors.h"
#include "asn/asn_print.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

AsnLen AsnInt::BEncContent(AsnBuf &b) const {
  const uint32_t v = uint32_t(value);
  // Shortest two's complement: drop a leading octet while the nine top bits of
  // what remains are all equal (the dropped octet only repeats the sign).
  AsnLen n = 4;
  while (n > 1) {
    uint32_t top9 = (v >> (8 * n - 9)) & 0x1FFu;
    if (top9 != 0 && top9 != 0x1FFu) break;
    --n;
  }
  for (AsnLen i = 0; i < n; ++i) b.PutByteRvs((unsigned char)(v >> (8 * i)));
  return n;
}

AsnLen AsnInt::BEnc(AsnBuf &b) const {
  return BEncLenAndTag(b, BEncContent(b), 0x02);
}

void AsnInt::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  if (BDecTagQuick(b, bytesDecoded) != kTagInteger) AsnThrow(kAsnErrIntTag);
  AsnLen len = BDecLenQuick(b, bytesDecoded);
  BDecContent(b, kTagInteger, len, bytesDecoded);
}

void AsnInt::BDecContent(AsnBuf &b, AsnTag, AsnLen len, AsnLen &bytesDecoded) {
  if (len > 4) AsnThrow(kAsnErrIntLength);
  // A zero length still reads one octet: the value is that octet.
  uint32_t v = b.GetByte();
  if (v & 0x80u) v |= 0xFFFFFF00u;
  for (AsnLen i = 1; i < len; ++i) v = (v << 8) | b.GetByte();
  bytesDecoded += len;
  if (b.readError) AsnThrow(kAsnErrIntShort);
  value = int32_t(v);
}

void AsnInt::Print(AsnPrintStream &os) const {
  if (os.tagged) {
    os << " = " << "<INT>" << value << "</INT>";
  } else {
    os << " = " << value;
  }
}

AsnLen AsnEnum::BEnc(AsnBuf &b) const {
  return BEncLenAndTag(b, BEncContent(b), 0x0A);
}

void AsnEnum::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  if (BDecTagQuick(b, bytesDecoded) != kTagEnumerated) AsnThrow(kAsnErrEnumTag);
  AsnLen len = BDecLenQuick(b, bytesDecoded);
  BDecContent(b, kTagEnumerated, len, bytesDecoded);
}

}  // namespace CSTA3V6
