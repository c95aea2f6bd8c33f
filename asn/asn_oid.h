// OBJECT IDENTIFIER values, held as their BER content octets.
#ifndef K3_ASN_ASN_OID_H
#define K3_ASN_ASN_OID_H

#include <cstdint>
#include <vector>

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

constexpr uint32_t NO_ARC = 0xFFFFFFFFu;  // an absent arc

class AsnOid : public AsnType {
 public:
  uint64_t octetLen = 0;
  char *oid = nullptr;  // owned content octets

  AsnOid() = default;
  // Arcs up to the first NO_ARC (or all eleven).
  AsnOid(uint32_t a1, uint32_t a2, uint32_t a3 = NO_ARC, uint32_t a4 = NO_ARC, uint32_t a5 = NO_ARC,
         uint32_t a6 = NO_ARC, uint32_t a7 = NO_ARC, uint32_t a8 = NO_ARC, uint32_t a9 = NO_ARC,
         uint32_t a10 = NO_ARC, uint32_t a11 = NO_ARC);
  // Two int arcs: picked over (octets, n) for calls such as AsnOid(0, 3).
  AsnOid(int a1, int a2) : AsnOid(uint32_t(a1), uint32_t(a2), NO_ARC) {}
  AsnOid(const char *octets, size_t n);  // encoded content octets
  AsnOid(const AsnOid &o);
  AsnOid &operator=(const AsnOid &o);
  ~AsnOid() override;

  void Set(const char *octets, size_t n);
  void SetArcs(uint32_t a1, uint32_t a2, uint32_t a3 = NO_ARC, uint32_t a4 = NO_ARC, uint32_t a5 = NO_ARC,
               uint32_t a6 = NO_ARC, uint32_t a7 = NO_ARC, uint32_t a8 = NO_ARC, uint32_t a9 = NO_ARC,
               uint32_t a10 = NO_ARC, uint32_t a11 = NO_ARC);

  size_t Len() const { return size_t(octetLen); }
  // The arcs, the first group split into two (first arc at most 2).
  std::vector<uint64_t> Arcs() const;

  bool operator==(const AsnOid &o) const;
  bool operator!=(const AsnOid &o) const { return !(*this == o); }

  AsnLen BEnc(AsnBuf &b) const;  // content, length, tag 0x06
  AsnLen BEncContent(AsnBuf &b) const;
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x06 else -57
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);  // -17
  void Print(AsnPrintStream &os) const override;
};

// The arc values of the calling thread's last build from arcs (NO_ARC where absent).
const uint32_t *AsnOidLastArcs();

}  // namespace CSTA3V6

#endif
