// The codes a failed decode ends with (AsnDecodeError::code, AsnFail, AsnThrow).
// The values are fixed: callers, logs and the generated types compare them.
#ifndef K3_ASN_ASN_ERRORS_H
#define K3_ASN_ASN_ERRORS_H

namespace CSTA3V6 {

// Tags and lengths (asn_buf.cpp).
constexpr int kAsnErrLengthMissing = -9;   // no octet left for the first length octet
constexpr int kAsnErrLengthTooLong = -10;  // long-form length of more than four octets
constexpr int kAsnErrLengthShort = -11;    // data ended inside the length octets
constexpr int kAsnErrEoc = -12;            // end-of-contents octet not zero, or data ended inside it
constexpr int kAsnErrTagShort = -22;       // data ended inside the tag

// Primitive values: content faults.
constexpr int kAsnErrBits = -1;             // BIT STRING: unused-bits count above 7 or above the content bits,
                                            // missing unused-bits octet, or data ended
constexpr int kAsnErrBoolLength = -5;       // BOOLEAN content length other than 1
constexpr int kAsnErrBoolShort = -6;        // data ended inside a BOOLEAN
constexpr int kAsnErrIntLength = -7;        // INTEGER or ENUMERATED content longer than 4 octets
constexpr int kAsnErrIntShort = -8;         // data ended inside an INTEGER or ENUMERATED
constexpr int kAsnErrNullLength = -13;      // NULL with a nonzero length
constexpr int kAsnErrOctsShort = -14;       // data ended inside primitive OCTET STRING content
constexpr int kAsnErrFragmentOverrun = -15; // a constructed string's fragment runs past the string around it
constexpr int kAsnErrFragmentTag = -16;     // a constructed string holds a fragment of another tag
constexpr int kAsnErrOidShort = -17;        // data ended inside an OBJECT IDENTIFIER

// Primitive values: wrong tag where the universal tag was expected.
constexpr int kAsnErrBitsTag = -50;  // BIT STRING
constexpr int kAsnErrBoolTag = -51;  // BOOLEAN
constexpr int kAsnErrEnumTag = -52;  // ENUMERATED
constexpr int kAsnErrIntTag = -53;   // INTEGER
constexpr int kAsnErrNullTag = -55;  // NULL
constexpr int kAsnErrOctsTag = -56;  // OCTET STRING and the restricted strings built on it
constexpr int kAsnErrOidTag = -57;   // OBJECT IDENTIFIER

// Lists.
constexpr int kAsnListLength = -58;    // a definite-length list whose elements do not end exactly at its length
constexpr int kGenListWrongTag = -59;  // an anonymous SEQUENCE OF under an explicit tag lacks its SEQUENCE tag

}  // namespace CSTA3V6

#endif
