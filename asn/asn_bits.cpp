#include "asn/asn_bits.h"

#include <cstring>
#include <string>

#include "asn/asn_errors.h"
#include "asn/asn_frag.h"
#include "asn/asn_print.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

namespace {

size_t OctetsFor(uint64_t nbits) { return size_t((nbits + 7) / 8); }

}  // namespace

AsnBits::AsnBits(size_t nbits) : bitLen(nbits), bits(nbits ? new unsigned char[OctetsFor(nbits)]() : nullptr) {}

AsnBits::AsnBits(const unsigned char *b, size_t nbits) { Set(b, nbits); }

AsnBits::AsnBits(const AsnBits &o) : AsnType() { Set(o.bits, size_t(o.bitLen)); }

AsnBits &AsnBits::operator=(const AsnBits &o) {
  if (this != &o) Set(o.bits, size_t(o.bitLen));
  return *this;
}

AsnBits::~AsnBits() { delete[] bits; }

void AsnBits::Set(const unsigned char *b, size_t nbits) {
  size_t n = OctetsFor(nbits);
  unsigned char *fresh = n ? new unsigned char[n]() : nullptr;
  if (n && b) std::memmove(fresh, b, n);
  delete[] bits;
  bits = fresh;
  bitLen = nbits;
}

void AsnBits::SetBit(size_t i, bool v) {
  if (i >= bitLen) return;
  unsigned char mask = (unsigned char)(0x80u >> (i % 8));
  if (v) {
    bits[i / 8] |= mask;
  } else {
    bits[i / 8] &= (unsigned char)~mask;
  }
}

bool AsnBits::GetBit(size_t i) const {
  if (i >= bitLen) return false;
  return (bits[i / 8] & (0x80u >> (i % 8))) != 0;
}

bool AsnBits::IsEmpty() const {
  const size_t full = size_t(bitLen / 8);
  for (size_t i = 0; i < full; ++i)
    if (bits[i]) return false;
  const unsigned rest = unsigned(bitLen % 8);
  return rest == 0 || (bits[full] & (unsigned char)(0xFF00u >> rest)) == 0;
}

bool AsnBits::operator==(const AsnBits &o) const {
  if (bitLen != o.bitLen) return false;
  const size_t full = size_t(bitLen / 8);
  if (full && std::memcmp(bits, o.bits, full) != 0) return false;
  const unsigned rest = unsigned(bitLen % 8);
  const unsigned char mask = (unsigned char)(0xFF00u >> rest);
  return rest == 0 || (bits[full] & mask) == (o.bits[full] & mask);
}

AsnLen AsnBits::BEncContent(AsnBuf &b) const {
  const size_t n = OctetsFor(bitLen);
  b.PutSegRvs(bits, n);
  const unsigned rest = unsigned(bitLen % 8);
  b.PutByteRvs((unsigned char)(rest ? 8 - rest : 0));
  return AsnLen(n + 1);
}

AsnLen AsnBits::BEnc(AsnBuf &b) const {
  return BEncLenAndTag(b, BEncContent(b), 0x03);
}

void AsnBits::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  AsnTag tag = BDecTag(b, bytesDecoded);
  if (tag != kTagBitString && tag != kTagBitStringCons) AsnThrow(kAsnErrBitsTag);
  AsnLen len = BDecLen(b, bytesDecoded);
  BDecContent(b, tag, len, bytesDecoded);
}

void AsnBits::BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded) {
  if (TagIsConstructed(tagId)) {
    AsnFragStack fs;
    AsnCollectFragments(b, len, bytesDecoded, true, fs);
    const unsigned unused = fs.lastUnusedBits;
    if (unused > 7 || fs.totalLen * 8 < unused) AsnThrow(kAsnErrBits);
    unsigned char *fresh = new unsigned char[size_t(fs.totalLen)];
    fs.CopyTo(fresh);
    delete[] bits;
    bits = fresh;
    bitLen = fs.totalLen * 8 - unused;
    return;
  }
  bytesDecoded += len;
  // Every fault here (no unused-bits octet, a count above 7 or above the
  // content bits, content past the end of the data) is reported as -1.
  if (len == 0) AsnThrow(kAsnErrBits);
  const unsigned unused = b.GetByte();
  if (b.readError || unused > 7) AsnThrow(kAsnErrBits);
  const uint64_t n = uint64_t(len) - 1;
  if (n * 8 < unused) AsnThrow(kAsnErrBits);
  delete[] bits;
  bits = nullptr;
  bitLen = 0;
  if (n > b.Remaining()) {
    b.Skip(size_t(n));
    AsnThrow(kAsnErrBits);
  }
  bits = new unsigned char[size_t(n)];
  b.CopyOut(bits, size_t(n));
  bitLen = n * 8 - unused;
}

void AsnBits::Print(AsnPrintStream &os) const {
  std::string s;
  s.reserve(size_t(bitLen) + 2);
  s += '\'';
  for (size_t i = 0; i < bitLen; ++i) s += GetBit(i) ? '1' : '0';
  s += "'B";
  os << " = ";
  if (os.tagged) os << "<BITS>";
  os << s;
  if (os.tagged) os << "</BITS>" << "<REM>";
  os << " -- NrBits = " << (unsigned long long)bitLen << " --";
  if (os.tagged) os << "</REM>";
}

}  // namespace CSTA3V6
