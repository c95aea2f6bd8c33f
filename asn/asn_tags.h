// The universal tags of the primitive classes and the constructed types, as
// AsnTag values (first identifier octet in bits 31..24).
#ifndef K3_ASN_ASN_TAGS_H
#define K3_ASN_ASN_TAGS_H

#include "asn/asn_config.h"

namespace CSTA3V6 {

constexpr AsnTag kTagConstructedBit = 0x20000000u;  // the constructed-form bit of the first octet

constexpr AsnTag kTagBoolean = 0x01000000u;
constexpr AsnTag kTagInteger = 0x02000000u;
constexpr AsnTag kTagBitString = 0x03000000u;
constexpr AsnTag kTagBitStringCons = 0x23000000u;
constexpr AsnTag kTagOctetString = 0x04000000u;
constexpr AsnTag kTagOctetStringCons = 0x24000000u;
constexpr AsnTag kTagNull = 0x05000000u;
constexpr AsnTag kTagOid = 0x06000000u;
constexpr AsnTag kTagEnumerated = 0x0A000000u;
constexpr AsnTag kTagSequence = 0x30000000u;  // SEQUENCE and SEQUENCE OF
constexpr AsnTag kTagSet = 0x31000000u;       // SET and SET OF

static_assert(kTagConstructedBit == AsnTag(CONS) << 24, "constructed bit");
static_assert(kTagBoolean == MakeTagId(UNIV, PRIM, BOOLEAN_TAG_CODE), "BOOLEAN");
static_assert(kTagInteger == MakeTagId(UNIV, PRIM, INTEGER_TAG_CODE), "INTEGER");
static_assert(kTagBitString == MakeTagId(UNIV, PRIM, BITSTRING_TAG_CODE), "BIT STRING");
static_assert(kTagBitStringCons == (kTagBitString | kTagConstructedBit), "BIT STRING, constructed");
static_assert(kTagOctetString == MakeTagId(UNIV, PRIM, OCTETSTRING_TAG_CODE), "OCTET STRING");
static_assert(kTagOctetStringCons == (kTagOctetString | kTagConstructedBit), "OCTET STRING, constructed");
static_assert(kTagNull == MakeTagId(UNIV, PRIM, NULLTYPE_TAG_CODE), "NULL");
static_assert(kTagOid == MakeTagId(UNIV, PRIM, OID_TAG_CODE), "OBJECT IDENTIFIER");
static_assert(kTagEnumerated == MakeTagId(UNIV, PRIM, ENUM_TAG_CODE), "ENUMERATED");
static_assert(kTagSequence == MakeTagId(UNIV, CONS, SEQ_TAG_CODE), "SEQUENCE");
static_assert(kTagSet == MakeTagId(UNIV, CONS, SET_TAG_CODE), "SET");

}  // namespace CSTA3V6

#endif
