// AsnBuf invariant: blkStart <= dataStart <= dataEnd <= blkEnd and
// dataStart <= readLoc <= dataEnd. Encoding writes backwards, moving dataStart
// down towards blkStart and never below it; decoding moves readLoc up towards
// dataEnd and never past it. A write that does not fit sets writeError and
// stores nothing; a read past dataEnd sets readError and yields 0. Both flags
// stay set until the buffer is initialised again, so one test after a run of
// octets is enough. The buffer never owns the block it points into.
#ifndef K3_ASN_ASN_BUF_H
#define K3_ASN_ASN_BUF_H

#include <cstring>
#include <iosfwd>
#include <ostream>
#include <vector>

#include "asn/asn_config.h"

namespace CSTA3V6 {

class AsnBuf {
 public:
  unsigned char *dataStart = nullptr;  // first data octet; encoding moves it down
  unsigned char *dataEnd = nullptr;    // one past the last data octet
  unsigned char *blkStart = nullptr;   // first octet of the block
  unsigned char *blkEnd = nullptr;     // one past the block
  unsigned char *readLoc = nullptr;    // next octet to read
  bool writeError = false;
  bool readError = false;
  std::ostream *errStream;  // where decoders write their error lines (none when null)

  AsnBuf();

  // Empty data at the end of [blk, blk+blkLen); encoding fills it backwards.
  void InitForEncode(unsigned char *blk, size_t blkLen);
  // Decode the len octets at data (which are only read, never written).
  void InitForDecode(const unsigned char *data, size_t len);
  // Read back what was encoded: readLoc = dataStart, readError cleared.
  void ResetForDecode() { readLoc = dataStart; readError = false; }

  size_t DataLen() const { return size_t(dataEnd - dataStart); }
  size_t Remaining() const { return size_t(dataEnd - readLoc); }

  void PutByteRvs(unsigned char c) {
    if (dataStart > blkStart) {
      *--dataStart = c;
    } else {
      writeError = true;
    }
  }

  void PutSegRvs(const void *src, size_t n) {
    if (size_t(dataStart - blkStart) >= n) {
      dataStart -= n;
      if (n) std::memcpy(dataStart, src, n);
    } else {
      writeError = true;
    }
  }

  unsigned char GetByte() {
    if (readLoc < dataEnd) return *readLoc++;
    readError = true;
    return 0;
  }

  unsigned char PeekByte() {
    if (readLoc < dataEnd) return *readLoc;
    readError = true;
    return 0;
  }

  // Copies min(n, octets left); readError when fewer than n were left.
  size_t CopyOut(void *dst, size_t n) {
    size_t left = Remaining();
    if (n > left) {
      readError = true;
      n = left;
    }
    if (n) std::memcpy(dst, readLoc, n);
    readLoc += n;
    return n;
  }

  // Advances readLoc by min(n, octets left); readError when fewer were left.
  size_t Skip(size_t n) {
    size_t left = Remaining();
    if (n > left) {
      readError = true;
      n = left;
    }
    readLoc += n;
    return n;
  }
};

// Tag and length routines. Decoders add every octet they consume to bytesDecoded
// and throw AsnDecodeError on failure.
AsnTag BDecTag(AsnBuf &b, AsnLen &bytesDecoded);  // -22
AsnLen BDecLen(AsnBuf &b, AsnLen &bytesDecoded);  // -9, -10, -11
AsnLen BEncDefLen(AsnBuf &b, AsnLen len);         // 1..5 octets
// The same, with the common short forms done in line: a one-octet tag, a
// length below 128. Everything else, and every error, goes through the
// routines above.
inline AsnTag BDecTagQuick(AsnBuf &b, AsnLen &bytesDecoded) {
  if (b.readLoc < b.dataEnd && (*b.readLoc & 0x1F) != 0x1F) {
    ++bytesDecoded;
    return AsnTag(*b.readLoc++) << 24;
  }
  return BDecTag(b, bytesDecoded);
}
inline AsnLen BDecLenQuick(AsnBuf &b, AsnLen &bytesDecoded) {
  if (b.readLoc < b.dataEnd && *b.readLoc < 0x80) {
    ++bytesDecoded;
    return *b.readLoc++;
  }
  return BDecLen(b, bytesDecoded);
}
inline AsnLen BEncDefLenQuick(AsnBuf &b, AsnLen len) {
  if (len < 0x80 && b.dataStart > b.blkStart) {
    *--b.dataStart = static_cast<unsigned char>(len);
    return 1;
  }
  return BEncDefLen(b, len);
}
// Finishes a primitive class's encoding: after contentLen content octets, the
// definite length and the one-octet universal tag; returns the whole count.
inline AsnLen BEncLenAndTag(AsnBuf &b, AsnLen contentLen, unsigned char tagOctet) {
  AsnLen l = contentLen + BEncDefLenQuick(b, contentLen);
  b.PutByteRvs(tagOctet);
  return l + 1;
}
AsnLen BEncEoc(AsnBuf &b);                        // 2
void BDecEoc(AsnBuf &b, AsnLen &bytesDecoded);    // -12
// Writes a tag: one octet when code < 31, the long form otherwise.
AsnLen BEncTag1(AsnBuf &b, unsigned char cls, unsigned char form, unsigned code);

// Writes one error line (text, end of line) to b's errStream, then throws code.
[[noreturn]] void AsnFail(AsnBuf &b, const char *line, int code);

// Encodes v (v.BEnc) into out, retrying with a larger block while the block is
// too small. False (out empty) only when even the largest block did not do.
template <class T>
bool EncodeToVector(const T &v, std::vector<unsigned char> &out) {
  size_t size = 256;
  const size_t maxSize = size_t(1) << 30;
  for (;;) {
    std::vector<unsigned char> blk(size);
    AsnBuf b;
    b.InitForEncode(blk.data(), blk.size());
    v.BEnc(b);
    if (!b.writeError) {
      out.assign(b.dataStart, b.dataEnd);
      return true;
    }
    if (size >= maxSize) break;
    size *= 4;
  }
  out.clear();
  return false;
}

template <class T>
std::vector<unsigned char> EncodeToVector(const T &v) {
  std::vector<unsigned char> out;
  EncodeToVector(v, out);
  return out;
}

// Decodes one value (v.BDec) from data; error lines go to err. Returns 0 on
// success, else the negative error code. *consumed gets the octets decoded.
template <class T>
int DecodeFrom(const unsigned char *data, size_t len, T &v, std::ostream &err, AsnLen *consumed = nullptr) {
  AsnBuf b;
  b.InitForDecode(data, len);
  b.errStream = &err;
  AsnLen n = 0;
  try {
    v.BDec(b, n);
  } catch (const AsnDecodeError &e) {
    if (consumed) *consumed = n;
    return e.code;
  }
  if (consumed) *consumed = n;
  return 0;
}

}  // namespace CSTA3V6

#endif
