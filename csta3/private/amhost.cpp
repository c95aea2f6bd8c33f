// AMHOST application object: header, elements by kind, parsers, writers, prints.
#include "csta3/private/acl2.h"

#include <algorithm>
#include <cstring>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::DecodeElements;
using privoctets::FindById;
using privoctets::PutOcts;
using privoctets::SetOcts;

namespace {

unsigned char FirstOctet(const AsnOcts &o) {
  return o.octetLen ? static_cast<unsigned char>(o.octs[0]) : 0;
}

// Bit i of the field (ASN.1 numbering) carries the bit of value 2^i of the
// little-endian 16-bit number.
void BitsFromWord(AsnBits &b, unsigned word) {
  b = AsnBits(16);
  for (unsigned i = 0; i < 16; ++i)
    if (word & (1u << i)) b.SetBit(i);
}

unsigned WordFromBits(const AsnBits &b) {
  unsigned w = 0;
  for (unsigned i = 0; i < 16; ++i)
    if (b.GetBit(i)) w |= 1u << i;
  return w;
}

const CodeName kNounNames[] = {{1, " (Station)"},  {2, " (Connection Group Switch Over)"},
                               {6, " (Group Definition)"}, {7, " (Group Assignment)"},
                               {8, " (Time)"},     {10, " (ServerFlagDSS) "},
                               {11, " (LedBroadcast) "}};
const CodeName kVerbNames[] = {{1, " (Change)"}, {2, " (Display)"}, {4, " (Switch)"}, {5, " (Add)"},
                               {6, " (Move)"},   {7, " (Delete)"},  {8, " (Set)"}};
const CodeName kAmhostMsgNames[] = {{1, " (Register)"}, {2, " (RegisterAck)"}, {3, " (RegisterReject)"},
                                    {4, " (Cancel)"},   {5, " (CancelAck)"},   {6, " (Data)"},
                                    {7, " (DataAck)"},  {8, " (DataNak)"}};

}  // namespace

AMHOST_Element::AMHOST_Element() : bits1(16), bits2(16) {}
AMHOST_Element::~AMHOST_Element() = default;

size_t AMHOST_Element::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 2) return 0;
  const uint32_t elemId = p[0];
  const size_t len = p[1];
  const uint32_t elemKind = AmhostElementKind(elemId);

  // Kind 4's length octet counts the data only; every other kind's counts the
  // whole element. Each kind needs its fields to lie inside the element.
  if (elemKind == AMHOST_KIND_DATA) {
    if (2 + len > n) return 0;
    id = elemId;
    kind = elemKind;
    SetOcts(octsValue, p + 2, len, true);
    return 2 + len;
  }
  static const size_t kMinLen[10] = {2, 3, 3, 4, 0, 6, 6, 4, 2, 3};
  if (len < kMinLen[elemKind] || len > n) return 0;
  switch (elemKind) {
    case AMHOST_KIND_BYTE:
      intValue.Set(p[2]);
      break;
    case AMHOST_KIND_TEXT: {
      size_t t = p[2];
      if (3 + t > len) return 0;
      SetOcts(octsValue, p + 3, t, true);
      break;
    }
    case AMHOST_KIND_WORD:
      intValue.Set(p[2] | (p[3] << 8));
      break;
    case AMHOST_KIND_TRIPLE:
      triple[0] = p[3];
      triple[1] = p[4];
      triple[2] = p[5];
      break;
    case AMHOST_KIND_BITFIELDS:
      BitsFromWord(bits1, p[2] | (p[3] << 8));
      BitsFromWord(bits2, p[4] | (p[5] << 8));
      break;
    case AMHOST_KIND_LED:
      SetOcts(ledValue1, p + 2, 1);
      SetOcts(ledValue2, p + 3, 1);
      SetOcts(ledData, p + 4, len - 4);
      break;
    case AMHOST_KIND_BOOL:
      boolValue = AsnBool(p[2] != 0);
      break;
    default:  // kinds 0 and 8: skipped, nothing kept
      break;
  }
  id = elemId;
  kind = elemKind;
  return len;
}

void AMHOST_Element::EncodeOctets(OctetVec &out) const {
  const unsigned char ident = static_cast<unsigned char>(id);
  switch (kind) {
    case AMHOST_KIND_BYTE:
      out.insert(out.end(), {ident, 4, static_cast<unsigned char>(intValue.value), 0});
      break;
    case AMHOST_KIND_TEXT: {
      size_t t = std::min<size_t>(octsValue.octetLen, 251);
      out.insert(out.end(), {ident, static_cast<unsigned char>(t + 4), static_cast<unsigned char>(t)});
      PutOcts(out, octsValue, t);
      out.push_back(0);
      break;
    }
    case AMHOST_KIND_WORD:
      out.insert(out.end(), {ident, 4, static_cast<unsigned char>(intValue.value),
                             static_cast<unsigned char>(intValue.value >> 8)});
      break;
    case AMHOST_KIND_DATA: {
      size_t t = std::min<size_t>(octsValue.octetLen, 255);
      out.insert(out.end(), {ident, static_cast<unsigned char>(t)});
      PutOcts(out, octsValue, t);
      break;
    }
    case AMHOST_KIND_TRIPLE:
      // Octet 2 is not read by the decoder; it is written as zero.
      out.insert(out.end(), {ident, 6, 0, triple[0], triple[1], triple[2]});
      break;
    case AMHOST_KIND_BITFIELDS: {
      unsigned a = WordFromBits(bits1), b = WordFromBits(bits2);
      out.insert(out.end(), {ident, 6, static_cast<unsigned char>(a), static_cast<unsigned char>(a >> 8),
                             static_cast<unsigned char>(b), static_cast<unsigned char>(b >> 8)});
      break;
    }
    case AMHOST_KIND_LED: {
      size_t t = std::min<size_t>(ledData.octetLen, 251);
      out.insert(out.end(),
                 {ident, static_cast<unsigned char>(t + 4), FirstOctet(ledValue1), FirstOctet(ledValue2)});
      PutOcts(out, ledData, t);
      break;
    }
    default:  // kinds 0, 8 and 9 are never written back
      break;
  }
}

const char *AMHOST_Element::Text() const { return octsValue.octs ? octsValue.octs : ""; }

void AMHOST_Element::Print(AsnPrintStream &os) const {
  const char *name = AmhostElementName(id);
  if (name)
    os << name;
  else
    os << id;
  switch (kind) {
    case AMHOST_KIND_BYTE:
    case AMHOST_KIND_WORD:
      os << intValue;
      break;
    case AMHOST_KIND_TEXT:
    case AMHOST_KIND_DATA:
      os << octsValue;
      break;
    case AMHOST_KIND_TRIPLE:
      os << " = " << unsigned(triple[0]) << ", " << unsigned(triple[1]) << ", " << unsigned(triple[2]);
      break;
    case AMHOST_KIND_BITFIELDS:
      os << " AMHOST_Bitfield" << bits1 << ", AMHOST_Bitfield" << bits2;
      break;
    case AMHOST_KIND_LED:
      os << " Value1" << ledValue1 << ", Value2" << ledValue2 << ", Data" << ledData;
      break;
    case AMHOST_KIND_BOOL:
      os << boolValue;
      break;
    default:
      break;
  }
}

// ---------------------------------------------------------------------------
// AMHOST

AMHOST::AMHOST() = default;
AMHOST::AMHOST(uint32_t noun, uint32_t verb, uint32_t msgType)
    : nounNr(noun), verbNr(verb), messageType(msgType) {}
AMHOST::~AMHOST() = default;

const AMHOST_Element *AMHOST::Find(uint32_t elemId) const { return FindById(elements, elemId); }

AMHOST_Element *AMHOST::Find(uint32_t elemId) {
  return const_cast<AMHOST_Element *>(static_cast<const AMHOST *>(this)->Find(elemId));
}

AMHOST_Element *AMHOST::AddInt(uint32_t elemId, int32_t value, uint32_t k) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = k;
  e->intValue.Set(value);
  return e;
}

AMHOST_Element *AMHOST::AddOcts(uint32_t elemId, const void *p, size_t n, uint32_t k) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = k;
  e->octsValue.Set(static_cast<const char *>(p), n, true);
  return e;
}

AMHOST_Element *AMHOST::AddString(uint32_t elemId, const char *text) {
  return AddOcts(elemId, text, text ? std::strlen(text) : 0);
}

AMHOST_Element *AMHOST::AddTriple(uint32_t elemId, unsigned char a, unsigned char b, unsigned char c) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = AMHOST_KIND_TRIPLE;
  e->triple[0] = a;
  e->triple[1] = b;
  e->triple[2] = c;
  return e;
}

AMHOST_Element *AMHOST::AddBitfields(uint32_t elemId, uint16_t valueBits, uint16_t validityBits) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = AMHOST_KIND_BITFIELDS;
  BitsFromWord(e->bits1, valueBits);
  BitsFromWord(e->bits2, validityBits);
  return e;
}

AMHOST_Element *AMHOST::AddLed(uint32_t elemId, unsigned char v1, unsigned char v2, const void *data, size_t n) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = AMHOST_KIND_LED;
  e->ledValue1.Set(reinterpret_cast<const char *>(&v1), 1);
  e->ledValue2.Set(reinterpret_cast<const char *>(&v2), 1);
  e->ledData.Set(static_cast<const char *>(data), n);
  return e;
}

AMHOST_Element *AMHOST::AddBool(uint32_t elemId, bool value, uint32_t k) {
  AMHOST_Element *e = elements.Append();
  e->id = elemId;
  e->kind = k;
  e->boolValue = AsnBool(value);
  return e;
}

void AMHOST::DecodeOctets(const unsigned char *p, size_t n) {
  size_t pos = 0;
  if (n >= 8 && p[0] == 0x1E) {
    nounNr = p[2];
    verbNr = p[3];
    messageType = p[6];
    pos = 8;
  }
  DecodeElements(elements, p, n, pos);
}

void AMHOST::EncodeOctets(OctetVec &out) const {
  out.insert(out.end(), {0x1E, 0x08, static_cast<unsigned char>(nounNr), static_cast<unsigned char>(verbNr), 0x00,
                         0x00, static_cast<unsigned char>(messageType), 0x00});
  for (auto *node = elements.first; node; node = node->next) node->elmt.EncodeOctets(out);
}

void AMHOST::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- AMHOST --");
  privprint::Field(os, first, "NounNr = ");
  privprint::NumberAndName(os, kNounNames, nounNr);
  privprint::Field(os, first, "VerbNr = ");
  privprint::NumberAndName(os, kVerbNames, verbNr);
  privprint::Field(os, first, "MessageType = ");
  privprint::NumberAndName(os, kAmhostMsgNames, messageType);
  privprint::Field(os, first, "Elements");
  os << elements;
  privprint::Close(os);
}

}  // namespace CSTA3V6
