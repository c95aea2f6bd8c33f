#include "asn/asn_bool.h"
#include "asn/asn_errors.h"
#include "asn/asn_null.h"
#include "asn/asn_print.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

AsnLen AsnNull::BEnc(AsnBuf &b) const {
  b.PutByteRvs(0x00);
  b.PutByteRvs(0x05);
  return 2;
}

void AsnNull::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  if (BDecTag(b, bytesDecoded) != kTagNull) AsnThrow(kAsnErrNullTag);
  AsnLen len = BDecLen(b, bytesDecoded);
  BDecContent(b, kTagNull, len, bytesDecoded);
}

void AsnNull::BDecContent(AsnBuf &, AsnTag, AsnLen len, AsnLen &) {
  if (len != 0) AsnThrow(kAsnErrNullLength);
}

void AsnNull::Print(AsnPrintStream &os) const {
  if (os.tagged) {
    os << "<NULL>" << " NULL" << "</NULL>";
  } else {
    os << " NULL";
  }
}

AsnLen AsnBool::BEncContent(AsnBuf &b) const {
  b.PutByteRvs(value ? 0xFF : 0x00);
  return 1;
}

AsnLen AsnBool::BEnc(AsnBuf &b) const {
  BEncContent(b);
  b.PutByteRvs(0x01);
  b.PutByteRvs(0x01);
  return 3;
}

void AsnBool::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  if (BDecTag(b, bytesDecoded) != kTagBoolean) AsnThrow(kAsnErrBoolTag);
  AsnLen len = BDecLen(b, bytesDecoded);
  BDecContent(b, kTagBoolean, len, bytesDecoded);
}

void AsnBool::BDecContent(AsnBuf &b, AsnTag, AsnLen len, AsnLen &bytesDecoded) {
  if (len != 1) AsnThrow(kAsnErrBoolLength);
  unsigned char c = b.GetByte();
  if (b.readError) AsnThrow(kAsnErrBoolShort);
  value = c != 0 ? 1 : 0;
  bytesDecoded += 1;
}

void AsnBool::Print(AsnPrintStream &os) const { os << " = " << (value ? "TRUE" : "FALSE"); }

}  // namespace CSTA3V6
