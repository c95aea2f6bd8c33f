#include "asn/asn_octs.h"

#include <cstring>

#include "asn/asn_errors.h"
#include "asn/asn_frag.h"
#include "asn/asn_pool.h"
#include "asn/asn_print.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

namespace {

// The octet array of a value of n octets: n + 1 octets (the zero after them)
// from the small-block lists; FreeOcts is handed the same n.
char *NewOcts(size_t n) { return static_cast<char *>(AsnPoolAlloc(n + 1)); }
void FreeOcts(char *p, uint64_t n) { AsnPoolFree(p, size_t(n) + 1); }

}  // namespace

AsnOcts::AsnOcts(const char *cstr) { Set(cstr); }

AsnOcts::AsnOcts(const char *p, size_t n) { Set(p, n); }

AsnOcts::AsnOcts(const AsnOcts &o) : AsnType() { *this = o; }

AsnOcts &AsnOcts::operator=(const AsnOcts &o) {
  if (this == &o) return *this;
  char *fresh = nullptr;
  if (o.octs) {
    fresh = NewOcts(size_t(o.octetLen));
    if (o.octetLen) std::memcpy(fresh, o.octs, size_t(o.octetLen));
    fresh[o.octetLen] = 0;
  }
  FreeOcts(octs, octetLen);
  octs = fresh;
  octetLen = o.octs ? o.octetLen : 0;
  return *this;
}

AsnOcts::~AsnOcts() { FreeOcts(octs, octetLen); }

void AsnOcts::Set(const char *p, size_t n, bool addTerminator) {
  (void)addTerminator;
  if (!p) n = 0;
  // The new array is filled before the old one goes, so p may point into it.
  char *fresh = NewOcts(n);
  if (n) std::memmove(fresh, p, n);
  fresh[n] = 0;
  FreeOcts(octs, octetLen);
  octs = fresh;
  octetLen = n;
}

void AsnOcts::Set(const char *cstr) { Set(cstr, cstr ? std::strlen(cstr) : 0); }

bool AsnOcts::operator==(const AsnOcts &o) const {
  if (octetLen != o.octetLen) return false;
  return octetLen == 0 || std::memcmp(octs, o.octs, size_t(octetLen)) == 0;
}

AsnLen AsnOcts::BEncContent(AsnBuf &b) const {
  b.PutSegRvs(octs, size_t(octetLen));
  return AsnLen(octetLen);
}

AsnLen AsnOcts::BEnc(AsnBuf &b) const {
  return BEncLenAndTag(b, BEncContent(b), 0x04);
}

void AsnOcts::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  AsnTag tag = BDecTagQuick(b, bytesDecoded);
  if (tag != kTagOctetString && tag != kTagOctetStringCons) AsnThrow(kAsnErrOctsTag);
  AsnLen len = BDecLenQuick(b, bytesDecoded);
  BDecContent(b, tag, len, bytesDecoded);
}

void AsnOcts::BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded) {
  if (TagIsConstructed(tagId)) {
    AsnFragStack fs;
    AsnCollectFragments(b, len, bytesDecoded, false, fs);
    char *fresh = NewOcts(size_t(fs.totalLen));
    fs.CopyTo(reinterpret_cast<unsigned char *>(fresh));
    fresh[fs.totalLen] = 0;
    FreeOcts(octs, octetLen);
    octs = fresh;
    octetLen = fs.totalLen;
    return;
  }
  // Primitive: the octets plus a terminating zero (not counted). When the data
  // ends early only what is there is allocated and kept.
  FreeOcts(octs, octetLen);
  octs = nullptr;
  octetLen = 0;
  size_t n = len <= b.Remaining() ? size_t(len) : b.Remaining();
  octs = NewOcts(n);
  n = b.CopyOut(octs, len);
  octs[n] = 0;
  octetLen = n;
  bytesDecoded += len;
  if (b.readError) AsnThrow(kAsnErrOctsShort);
}

void AsnOcts::Print(AsnPrintStream &os) const {
  static const char hex[] = "0123456789ABCDEF";
  const unsigned char *p = reinterpret_cast<const unsigned char *>(octs);
  const size_t n = size_t(octetLen);
  bool printable = true;
  for (size_t i = 0; i < n && printable; ++i) printable = p[i] >= 32 && p[i] <= 126;

  os << " = ";
  if (printable) {
    if (os.tagged) os << "<OCTA>";
    std::string text;
    text.reserve(n + 3);
    text += '"';
    if (n) text.append(octs, n);
    text += "\" ";
    os << text;
    if (os.tagged) os << "</OCTA>" << "<OCTH>";
  } else if (os.tagged) {
    os << "<OCTH>";
  }
  std::string h;
  h.reserve(3 * n + 3);
  h += '\'';
  for (size_t i = 0; i < n; ++i) {
    if (i) h += ' ';
    h += hex[p[i] >> 4];
    h += hex[p[i] & 0x0F];
  }
  h += "'H";
  os << h;
  if (os.tagged) os << "</OCTH>";
}

}  // namespace CSTA3V6
