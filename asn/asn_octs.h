// OCTET STRING values.
#ifndef K3_ASN_ASN_OCTS_H
#define K3_ASN_ASN_OCTS_H

#include <cstdint>
#include <string>

#include "asn/asn_buf.h"
#include "asn/asn_type.h"

namespace CSTA3V6 {

class AsnOcts : public AsnType {
 public:
  uint64_t octetLen = 0;  // number of octets
  // Owned: octetLen + 1 octets from AsnPoolAlloc, set only by this class; may
  // be null when octetLen is 0.
  char *octs = nullptr;

  AsnOcts() = default;
  AsnOcts(const char *cstr);           // the terminator is not stored
  AsnOcts(const char *p, size_t n);
  AsnOcts(const AsnOcts &o);
  AsnOcts &operator=(const AsnOcts &o);
  ~AsnOcts() override;

  // Replaces the content with n octets from p, followed by a zero octet that
  // is not counted in the length (addTerminator is kept for the callers that
  // name it; the zero is always there). A null p gives an empty value.
  void Set(const char *p, size_t n, bool addTerminator = false);
  void Set(const char *cstr);

  size_t Len() const { return size_t(octetLen); }
  // The octets, always followed by a zero octet when not null (decoded, set or
  // copied alike), so a text reads as a C string; Len() counts the octets.
  const char *Octs() const { return octs; }
  std::string Str() const { return octs ? std::string(octs, size_t(octetLen)) : std::string(); }

  bool operator==(const AsnOcts &o) const;
  bool operator!=(const AsnOcts &o) const { return !(*this == o); }

  AsnLen BEnc(AsnBuf &b) const;          // content, length, tag 0x04
  AsnLen BEncContent(AsnBuf &b) const;
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);  // tag 0x04 or 0x24 else -56
  // Primitive (-14) or, when tagId has the constructed bit, fragments (-15, -16).
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen len, AsnLen &bytesDecoded);
  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
