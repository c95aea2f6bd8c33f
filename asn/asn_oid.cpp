#include "asn/asn_oid.h"

#include <cstring>

#include "asn/asn_errors.h"
#include "asn/asn_print.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

namespace {

// Building from arcs goes through a per-thread scratch area; the arcs of the
// last build are kept beside it. (11 arcs of at most 6 octets each.)
thread_local unsigned char tlsScratch[72];
thread_local uint32_t tlsLastArcs[11] = {NO_ARC, NO_ARC, NO_ARC, NO_ARC, NO_ARC, NO_ARC,
                                         NO_ARC, NO_ARC, NO_ARC, NO_ARC, NO_ARC};

const unsigned char kCstaOid[] = {0x2B, 0x0C, 0x00, 0x81, 0x5A};              // {1 3 12 0 218}
const unsigned char kPrivateDataOid[] = {0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F};  // {1 3 12 2 1107 15}

bool OctetsEqual(const AsnOid &o, const unsigned char *p, size_t n) {
  return o.octetLen == n && std::memcmp(o.oid, p, n) == 0;
}

}  // namespace

const uint32_t *AsnOidLastArcs() { return tlsLastArcs; }

AsnOid::AsnOid(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, uint32_t a6, uint32_t a7,
               uint32_t a8, uint32_t a9, uint32_t a10, uint32_t a11) {
  SetArcs(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11);
}

AsnOid::AsnOid(const char *octets, size_t n) { Set(octets, n); }

AsnOid::AsnOid(const AsnOid &o) : AsnType() { Set(o.oid, size_t(o.octetLen)); }

AsnOid &AsnOid::operator=(const AsnOid &o) {
  if (this != &o) Set(o.oid, size_t(o.octetLen));
  return *this;
}

AsnOid::~AsnOid() { delete[] oid; }

void AsnOid::Set(const char *octets, size_t n) {
  if (!octets) n = 0;
  char *fresh = n ? new char[n] : nullptr;
  if (n) std::memmove(fresh, octets, n);
  delete[] oid;
  oid = fresh;
  octetLen = n;
}

void AsnOid::SetArcs(uint32_t a1, uint32_t a2, uint32_t a3, uint32_t a4, uint32_t a5, uint32_t a6, uint32_t a7,
                     uint32_t a8, uint32_t a9, uint32_t a10, uint32_t a11) {
  const uint32_t arcs[11] = {a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11};
  std::memcpy(tlsLastArcs, arcs, sizeof arcs);
  size_t len = 0;
  // One base-128 group, most significant first, continuation bit on all but the last.
  auto put = [&len](uint64_t v) {
    unsigned char tmp[10];
    int k = 0;
    do {
      tmp[k++] = (unsigned char)(v & 0x7F);
      v >>= 7;
    } while (v);
    while (k--) tlsScratch[len++] = (unsigned char)(tmp[k] | (k ? 0x80 : 0));
  };
  put(uint64_t(a1) * 40 + a2);
  for (int i = 2; i < 11 && arcs[i] != NO_ARC; ++i) put(arcs[i]);
  Set(reinterpret_cast<const char *>(tlsScratch), len);
}

std::vector<uint64_t> AsnOid::Arcs() const {
  std::vector<uint64_t> out;
  uint64_t v = 0;
  bool pending = false;
  auto emit = [&out](uint64_t g) {
    if (out.empty()) {
      uint64_t a1 = g / 40 > 2 ? 2 : g / 40;
      out.push_back(a1);
      out.push_back(g - a1 * 40);
    } else {
      out.push_back(g);
    }
  };
  for (size_t i = 0; i < octetLen; ++i) {
    unsigned char c = (unsigned char)oid[i];
    v = (v << 7) | (c & 0x7Fu);
    pending = true;
    if (!(c & 0x80)) {
      emit(v);
      v = 0;
      pending = false;
    }
  }
  if (pending) emit(v);  // a last group cut short still shows what it holds
  return out;
}

bool AsnOid::operator==(const AsnOid &o) const {
  return octetLen == o.octetLen && (octetLen == 0 || std::memcmp(oid, o.oid, size_t(octetLen)) == 0);
}

AsnLen AsnOid::BEncContent(AsnBuf &b) const {
  b.PutSegRvs(oid, size_t(octetLen));
  return AsnLen(octetLen);
}

AsnLen AsnOid::BEnc(AsnBuf &b) const {
  return BEncLenAndTag(b, BEncContent(b), 0x06);
}

void AsnOid::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  if (BDecTag(b, bytesDecoded) != kTagOid) AsnThrow(kAsnErrOidTag);
  AsnLen len = BDecLen(b, bytesDecoded);
  BDecContent(b, kTagOid, len, bytesDecoded);
}

void AsnOid::BDecContent(AsnBuf &b, AsnTag, AsnLen len, AsnLen &bytesDecoded) {
  delete[] oid;
  oid = nullptr;
  octetLen = 0;
  bytesDecoded += len;
  if (len > b.Remaining()) {
    b.Skip(len);
    AsnThrow(kAsnErrOidShort);
  }
  oid = new char[len];
  b.CopyOut(oid, len);
  octetLen = len;
}

void AsnOid::Print(AsnPrintStream &os) const {
  os << " = ";
  if (os.tagged) os << "<OID>";
  if (OctetsEqual(*this, kCstaOid, sizeof kCstaOid)) {
    os << "{iso(1) identified-organization(3) icd-ecma(12) standard(0) csta(218)}";
  } else if (OctetsEqual(*this, kPrivateDataOid, sizeof kPrivateDataOid)) {
    // Arc 2 is not "standard"; the text is what readers of these traces know.
    os << "{iso(1) identified-organization(3) icd-ecma(12) standard(2) (1107) (15)}";
  } else {
    os << "{";
    std::vector<uint64_t> arcs = Arcs();
    if (arcs.empty()) {
      os << "-- void --" << "}";
    } else {
      static const char *const kArc1[] = {"itu-t", "iso", "joint-iso-itu-t"};
      static const char *const kItuArc2[] = {"recommendation", "question", "administration", "network-operator"};
      static const char *const kIsoArc2[] = {"standard", "registration-authority", "member-body",
                                             "identified-organization"};
      const uint64_t a1 = arcs[0], a2 = arcs[1];
      os << kArc1[a1] << "(" << (unsigned long long)a1 << ") ";
      if (a2 < 4 && a1 == 0) os << kItuArc2[a2];
      if (a2 < 4 && a1 == 1) os << kIsoArc2[a2];
      os << "(" << (unsigned long long)a2 << ")";
      for (size_t i = 2; i < arcs.size(); ++i) os << " (" << (unsigned long long)arcs[i] << ")";
      os << "}";
    }
  }
  if (os.tagged) os << "</OID>";
}

}  // namespace CSTA3V6
