#include "asn/asn_buf.h"

#include "asn/asn_errors.h"

#include <iostream>

namespace CSTA3V6 {

void AsnThrow(int code) { throw AsnDecodeError(code); }

void AsnFail(AsnBuf &b, const char *line, int code) {
  if (b.errStream) *b.errStream << line << std::endl;
  throw AsnDecodeError(code);
}

AsnBuf::AsnBuf() : errStream(&std::cerr) {}

void AsnBuf::InitForEncode(unsigned char *blk, size_t blkLen) {
  blkStart = blk;
  blkEnd = blk + blkLen;
  dataStart = dataEnd = readLoc = blkEnd;
  writeError = readError = false;
}

void AsnBuf::InitForDecode(const unsigned char *data, size_t len) {
  // Decoding only reads; the pointers are shared with encoding, hence the cast.
  unsigned char *p = const_cast<unsigned char *>(data);
  blkStart = dataStart = readLoc = p;
  blkEnd = dataEnd = p + len;
  writeError = readError = false;
}

AsnTag BDecTag(AsnBuf &b, AsnLen &bytesDecoded) {
  unsigned char c = b.GetByte();
  bytesDecoded++;
  AsnTag tag = AsnTag(c) << 24;
  if ((c & 0x1F) == 0x1F) {
    // Long form: up to three more octets, while the last one read continues.
    for (int shift = 16; shift >= 0; shift -= 8) {
      c = b.GetByte();
      bytesDecoded++;
      tag |= AsnTag(c) << shift;
      if (!(c & 0x80)) break;
    }
  }
  if (b.readError) AsnThrow(kAsnErrTagShort);
  return tag;
}

AsnLen BDecLen(AsnBuf &b, AsnLen &bytesDecoded) {
  unsigned char c = b.GetByte();
  if (b.readError) AsnThrow(kAsnErrLengthMissing);
  bytesDecoded++;
  if (c < 0x80) return c;
  if (c == 0x80) return INDEFINITE_LEN;
  unsigned n = c & 0x7F;
  if (n > 4) AsnThrow(kAsnErrLengthTooLong);
  bytesDecoded += n;
  AsnLen len = 0;
  while (n--) len = (len << 8) | b.GetByte();
  if (b.readError) AsnThrow(kAsnErrLengthShort);
  return len;
}

AsnLen BEncDefLen(AsnBuf &b, AsnLen len) {
  if (len < 128) {
    b.PutByteRvs((unsigned char)len);
    return 1;
  }
  if (len < 256) {
    b.PutByteRvs((unsigned char)len);
    b.PutByteRvs(0x81);
    return 2;
  }
  if (len < 65536) {
    b.PutByteRvs((unsigned char)len);
    b.PutByteRvs((unsigned char)(len >> 8));
    b.PutByteRvs(0x82);
    return 3;
  }
  // The three-octet form stops at 16777126 (0xFFFFA6), below 2^24; longer
  // lengths take the four-octet form. Kept as is for identical encodings.
  if (len < 16777126) {
    b.PutByteRvs((unsigned char)len);
    b.PutByteRvs((unsigned char)(len >> 8));
    b.PutByteRvs((unsigned char)(len >> 16));
    b.PutByteRvs(0x83);
    return 4;
  }
  b.PutByteRvs((unsigned char)len);
  b.PutByteRvs((unsigned char)(len >> 8));
  b.PutByteRvs((unsigned char)(len >> 16));
  b.PutByteRvs((unsigned char)(len >> 24));
  b.PutByteRvs(0x84);
  return 5;
}

AsnLen BEncEoc(AsnBuf &b) {
  b.PutByteRvs(0);
  b.PutByteRvs(0);
  return 2;
}

void BDecEoc(AsnBuf &b, AsnLen &bytesDecoded) {
  unsigned char c1 = b.GetByte();
  unsigned char c2 = b.GetByte();
  if (c1 != 0 || c2 != 0 || b.readError) AsnThrow(kAsnErrEoc);
  bytesDecoded += 2;
}

AsnLen BEncTag1(AsnBuf &b, unsigned char cls, unsigned char form, unsigned code) {
  if (code < 31) {
    b.PutByteRvs((unsigned char)(cls | form | code));
    return 1;
  }
  AsnLen n = 1;
  b.PutByteRvs((unsigned char)(code & 0x7F));
  for (code >>= 7; code; code >>= 7, ++n) b.PutByteRvs((unsigned char)(0x80 | (code & 0x7F)));
  b.PutByteRvs((unsigned char)(cls | form | 0x1F));
  return n + 1;
}

}  // namespace CSTA3V6
