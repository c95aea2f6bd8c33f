// Basic BER types shared by the whole codec: tags, lengths, tag-building
// helpers and the decode error that ends a failed decode.
#ifndef K3_ASN_ASN_CONFIG_H
#define K3_ASN_ASN_CONFIG_H

#include <cstddef>
#include <cstdint>
#include <exception>

namespace CSTA3V6 {

// Identifier octets left-aligned: the first octet in bits 31..24, the long-form
// continuation octets (if any) in bits 23..16, 15..8 and 7..0. Compared whole.
using AsnTag = uint32_t;

// Content octet count; INDEFINITE_LEN marks the indefinite form.
using AsnLen = uint32_t;
constexpr AsnLen INDEFINITE_LEN = 0xFFFFFFFFu;

// Class and form bits of the first identifier octet.
constexpr unsigned char UNIV = 0x00;
constexpr unsigned char APPL = 0x40;
constexpr unsigned char CNTX = 0x80;
constexpr unsigned char PRIV = 0xC0;
constexpr unsigned char PRIM = 0x00;
constexpr unsigned char CONS = 0x20;

// Universal tag numbers used by the primitive classes and constructed types.
constexpr unsigned BOOLEAN_TAG_CODE = 1;
constexpr unsigned INTEGER_TAG_CODE = 2;
constexpr unsigned BITSTRING_TAG_CODE = 3;
constexpr unsigned OCTETSTRING_TAG_CODE = 4;
constexpr unsigned NULLTYPE_TAG_CODE = 5;
constexpr unsigned OID_TAG_CODE = 6;
constexpr unsigned ENUM_TAG_CODE = 10;
constexpr unsigned SEQ_TAG_CODE = 16;
constexpr unsigned SET_TAG_CODE = 17;

// The AsnTag value of a tag. Numbers below 31 give the one-octet form; larger
// numbers (up to 2^21-1) give the long form, still left-aligned.
constexpr AsnTag MakeTagId(unsigned cls, unsigned form, unsigned code) {
  if (code < 31) return AsnTag((cls | form | code) & 0xFFu) << 24;
  AsnTag t = AsnTag((cls | form | 0x1Fu) & 0xFFu) << 24;
  if (code < 0x80) return t | (AsnTag(code) << 16);
  if (code < 0x4000) return t | (AsnTag(0x80 | (code >> 7)) << 16) | (AsnTag(code & 0x7F) << 8);
  return t | (AsnTag(0x80 | ((code >> 14) & 0x7F)) << 16) | (AsnTag(0x80 | ((code >> 7) & 0x7F)) << 8) |
         AsnTag(code & 0x7F);
}
#define MAKE_TAG_ID(cls, form, code) (::CSTA3V6::MakeTagId((cls), (form), (code)))

// True when the tag's constructed bit is set.
constexpr bool TagIsConstructed(AsnTag t) { return (t & 0x20000000u) != 0; }

// A decode ends with this exception (never with a return): code is the negative
// error code of the site that found the fault.
struct AsnDecodeError : std::exception {
  int code;
  explicit AsnDecodeError(int c) noexcept : code(c) {}
  const char *what() const noexcept override { return "BER decode error"; }
};

[[noreturn]] void AsnThrow(int code);

}  // namespace CSTA3V6

#endif
