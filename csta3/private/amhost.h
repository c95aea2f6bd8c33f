// The AMHOST application object of the ACL form: an optional header (noun,
// verb, message type) and a list of elements whose layout depends on each
// element identifier's kind (see amhost_kinds.cpp for the identifier table).
//
// These objects live in the compact octet format of the PBX, not in BER: the
// parser takes a pointer and a count, never reads outside them and never
// throws; the writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_AMHOST_H
#define K3_CSTA3_PRIVATE_AMHOST_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/octet_vec.h"

namespace CSTA3V6 {

// Element kinds (how an element's octets are laid out).
enum AmhostKind : uint32_t {
  AMHOST_KIND_NONE = 0,      // skipped, nothing kept, not written back
  AMHOST_KIND_BYTE = 1,      // one-octet unsigned value
  AMHOST_KIND_TEXT = 2,      // length-prefixed text
  AMHOST_KIND_WORD = 3,      // 16-bit value, low octet first
  AMHOST_KIND_DATA = 4,      // raw octets; the length octet counts the data only
  AMHOST_KIND_TRIPLE = 5,    // three one-octet values
  AMHOST_KIND_BITFIELDS = 6, // two 16-bit bit fields
  AMHOST_KIND_LED = 7,       // two one-octet values and data
  AMHOST_KIND_SKIP = 8,      // read, nothing kept, not written back
  AMHOST_KIND_BOOL = 9,      // boolean; read but not written back
};

// Kind of an element identifier (0 for every identifier not in the table).
uint32_t AmhostElementKind(uint32_t id);
// Print name of an element identifier, or nullptr when it has none.
const char *AmhostElementName(uint32_t id);

class AMHOST_Element : public AsnType {
 public:
  uint32_t id = 0;
  uint32_t kind = 0;
  AsnInt intValue;           // kinds 1 and 3
  AsnOcts octsValue;         // kinds 2 and 4
  unsigned char triple[3] = {0, 0, 0};  // kind 5
  AsnBits bits1;             // kind 6: first 16-bit field (value bits)
  AsnBits bits2;             // kind 6: second 16-bit field (validity bits)
  AsnBool boolValue;         // kind 9
  AsnOcts ledValue1;         // kind 7: first one-octet value
  AsnOcts ledValue2;         // kind 7: second one-octet value
  AsnOcts ledData;           // kind 7: data

  AMHOST_Element();
  AMHOST_Element(const AMHOST_Element &) = default;
  AMHOST_Element &operator=(const AMHOST_Element &) = default;
  ~AMHOST_Element() override;

  // Parses one element at p (n octets available). Returns the octets consumed,
  // 0 when the element is short, runs past n or is malformed.
  size_t DecodeOctets(const unsigned char *p, size_t n);
  // Appends the element's octets (nothing for kinds 0, 8 and 9).
  void EncodeOctets(OctetVec &out) const;

  // Text of a kind 2 or kind 4 element as a NUL-terminated string.
  const char *Text() const;

  void Print(AsnPrintStream &os) const override;
};

class AMHOST : public AsnType {
 public:
  uint32_t nounNr = 0;       // "type" for the callers
  uint32_t verbNr = 0;       // "subtype"
  uint32_t messageType = 0;  // "third value"
  AsnList<AMHOST_Element> elements;

  AMHOST();
  AMHOST(uint32_t noun, uint32_t verb, uint32_t msgType);
  AMHOST(const AMHOST &) = default;
  AMHOST &operator=(const AMHOST &) = default;
  ~AMHOST() override;

  uint32_t Type() const { return nounNr; }
  uint32_t Subtype() const { return verbNr; }
  uint32_t Third() const { return messageType; }

  // First element with this identifier, or nullptr.
  const AMHOST_Element *Find(uint32_t id) const;
  AMHOST_Element *Find(uint32_t id);

  // Builders: each appends one element with the given identifier and value.
  // The kind defaults to the identifier's kind from the table.
  AMHOST_Element *AddInt(uint32_t id, int32_t value, uint32_t kind);
  AMHOST_Element *AddInt(uint32_t id, int32_t value) { return AddInt(id, value, AmhostElementKind(id)); }
  AMHOST_Element *AddOcts(uint32_t id, const void *p, size_t n, uint32_t kind);
  AMHOST_Element *AddOcts(uint32_t id, const void *p, size_t n) { return AddOcts(id, p, n, AmhostElementKind(id)); }
  // A NUL-terminated field's text, terminator excluded.
  AMHOST_Element *AddString(uint32_t id, const char *text);
  AMHOST_Element *AddTriple(uint32_t id, unsigned char a, unsigned char b, unsigned char c);
  // Kind 6: bit i of each field is the bit of value 2^i of the 16-bit number.
  AMHOST_Element *AddBitfields(uint32_t id, uint16_t valueBits, uint16_t validityBits);
  AMHOST_Element *AddLed(uint32_t id, unsigned char v1, unsigned char v2, const void *data, size_t n);
  AMHOST_Element *AddBool(uint32_t id, bool value, uint32_t kind = AMHOST_KIND_BOOL);

  // Parses the optional 0x1E header and the elements.
  void DecodeOctets(const unsigned char *p, size_t n);
  // Writes the 8-octet header and the elements.
  void EncodeOctets(OctetVec &out) const;

  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
