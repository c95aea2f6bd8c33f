#ifndef K3_ASN_ASN_GEN_H
#define K3_ASN_ASN_GEN_H

// Shared machinery of the generated model classes. Each generated SEQUENCE or
// CHOICE class carries only a static table of its components; the functions
// here encode, decode, copy, print and destroy through that table.

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <typeinfo>

#include "asn/asn.h"
#include "asn/asn_errors.h"
#include "asn/asn_tags.h"

namespace CSTA3V6 {

struct GenSeqInfo;
struct GenChoiceInfo;

// How the shared loop codes a member class without calling through GenOps:
// a generated SEQUENCE / SET or CHOICE through its table, a primitive through
// its own content routines (named INTEGER and ENUMERATED types share
// AsnInt's); anything else (lists, retagged and explicitly tagged classes,
// unknown open types) through the function pointers.
constexpr uint8_t GK_OTHER = 0, GK_SEQ = 1, GK_CHOICE = 2, GK_INT = 3, GK_OCTS = 4, GK_BOOL = 5, GK_NULL = 6,
                  GK_BITS = 7, GK_OID = 8;

// What the generic code needs to know about a member class.
struct GenOps {
  AsnType *(*create)();
  void (*assign)(AsnType *dst, const AsnType *src);
  AsnLen (*enc)(const AsnType *v, AsnBuf &b);         // tag, length and content
  AsnLen (*encContent)(const AsnType *v, AsnBuf &b);  // content only
  void (*dec)(AsnType *v, AsnBuf &b, AsnLen &bytesDecoded);
  void (*decContent)(AsnType *v, AsnBuf &b, AsnTag tag, AsnLen len, AsnLen &bytesDecoded);
  const std::type_info *type;
  uint8_t contentKind;  // kind (GK_) of BEncContent / BDecContent
  uint8_t wholeKind;    // kind (GK_) of BEnc / BDec (GK_SEQ, GK_CHOICE or GK_OTHER)
  const void *info;     // the GenSeqInfo / GenChoiceInfo of GK_SEQ and GK_CHOICE
};

// The class that declares a member function (the class itself, or the base
// whose routine it inherits).
template <class M>
struct GenDeclaringClass;
template <class C, class R, class... A>
struct GenDeclaringClass<R (C::*)(A...)> {
  using type = C;
};
template <class C, class R, class... A>
struct GenDeclaringClass<R (C::*)(A...) const> {
  using type = C;
};

// True for a generated SEQUENCE / SET / CHOICE class C itself (GenSelf names
// C; classes derived from it inherit a GenSelf that is not their own).
template <class C, class = void>
struct GenIsTabled : std::false_type {};
template <class C>
struct GenIsTabled<C, std::void_t<typename C::GenSelf>> : std::is_same<typename C::GenSelf, C> {};

template <class C>
constexpr uint8_t GenKindOfClass() {
  if constexpr (GenIsTabled<C>::value) {
    return std::is_same<decltype(C::genInfo), const GenSeqInfo>::value ? GK_SEQ : GK_CHOICE;
  } else {
    return std::is_same<C, AsnInt>::value    ? GK_INT
           : std::is_same<C, AsnOcts>::value ? GK_OCTS
           : std::is_same<C, AsnBool>::value ? GK_BOOL
           : std::is_same<C, AsnNull>::value ? GK_NULL
           : std::is_same<C, AsnBits>::value ? GK_BITS
           : std::is_same<C, AsnOid>::value  ? GK_OID
                                             : GK_OTHER;
  }
}

// The kind of a pair of routines (encode and decode): that of the class
// declaring both, GK_OTHER when they come from different classes.
template <class EncFn, class DecFn>
constexpr uint8_t GenKindOfPair() {
  using E = typename GenDeclaringClass<EncFn>::type;
  using D = typename GenDeclaringClass<DecFn>::type;
  return std::is_same<E, D>::value ? GenKindOfClass<E>() : GK_OTHER;
}

template <class T>
struct GenKindsOf {
  static constexpr uint8_t content = GenKindOfPair<decltype(&T::BEncContent), decltype(&T::BDecContent)>();
  static constexpr uint8_t whole0 = GenKindOfPair<decltype(&T::BEnc), decltype(&T::BDec)>();
  static constexpr uint8_t whole = whole0 == GK_SEQ || whole0 == GK_CHOICE ? whole0 : GK_OTHER;
  static constexpr const void *Info() {
    using C = typename GenDeclaringClass<decltype(&T::BEncContent)>::type;
    if constexpr (GenIsTabled<C>::value) {
      return &C::genInfo;
    } else {
      return nullptr;
    }
  }
};

template <class T>
struct GenOpsOf {
  static AsnType *Create() { return new T; }
  static void Assign(AsnType *d, const AsnType *s) { *static_cast<T *>(d) = *static_cast<const T *>(s); }
  static AsnLen Enc(const AsnType *v, AsnBuf &b) { return static_cast<const T *>(v)->BEnc(b); }
  static AsnLen EncContent(const AsnType *v, AsnBuf &b) { return static_cast<const T *>(v)->BEncContent(b); }
  static void Dec(AsnType *v, AsnBuf &b, AsnLen &n) { static_cast<T *>(v)->BDec(b, n); }
  static void DecContent(AsnType *v, AsnBuf &b, AsnTag t, AsnLen l, AsnLen &n) {
    static_cast<T *>(v)->BDecContent(b, t, l, n);
  }
  static const GenOps ops;
};
template <class T>
const GenOps GenOpsOf<T>::ops = {Create,     Assign,     Enc, EncContent, Dec, DecContent, &typeid(T),
                                 GenKindsOf<T>::content, GenKindsOf<T>::whole, GenKindsOf<T>::Info()};

// An anonymous SEQUENCE OF under an explicit tag: the list's own encoding is
// the universal SEQUENCE tag around its elements.
AsnLen GenTaggedBEnc(AsnBuf &b, AsnTag tag, AsnLen contentLen);
AsnLen GenTaggedBDecHeader(AsnBuf &b, AsnTag tag, bool pc, const char *typeName, int errTag,
                           AsnTag &tagRead, AsnLen &bytesDecoded);
template <class T>
struct GenOpsOf<AsnList<T>> {
  using L = AsnList<T>;
  static AsnType *Create() { return new L; }
  static void Assign(AsnType *d, const AsnType *s) { *static_cast<L *>(d) = *static_cast<const L *>(s); }
  static AsnLen Enc(const AsnType *v, AsnBuf &b) {
    return GenTaggedBEnc(b, kTagSequence, static_cast<const L *>(v)->BEncContent(b));
  }
  static AsnLen EncContent(const AsnType *v, AsnBuf &b) { return static_cast<const L *>(v)->BEncContent(b); }
  static void Dec(AsnType *v, AsnBuf &b, AsnLen &n) {
    AsnTag t;
    AsnLen local = 0;
    AsnLen len = GenTaggedBDecHeader(b, kTagSequence, false, nullptr, kGenListWrongTag, t, local);
    static_cast<L *>(v)->BDecContent(b, t, len, local);
    n += local;
  }
  static void DecContent(AsnType *v, AsnBuf &b, AsnTag t, AsnLen l, AsnLen &n) {
    static_cast<L *>(v)->BDecContent(b, t, l, n);
  }
  static const GenOps ops;
};
template <class T>
const GenOps GenOpsOf<AsnList<T>>::ops = {Create,     Assign, Enc, EncContent, Dec, DecContent, &typeid(AsnList<T>),
                                          GK_OTHER, GK_OTHER, nullptr};

// The placeholder of an unknown open type: prints "Unknown operation-value",
// copies as nothing, encodes and decodes nothing.
extern const GenOps kGenUnknownOps;

// Maps an operation or error value to the class of an open component.
using GenFactory = const GenOps *(*)(int32_t value);

enum GenFieldFlags : uint16_t {
  GF_PTR = 1,       // held through an owned pointer (else by value)
  GF_OPT = 2,       // OPTIONAL or DEFAULT
  GF_EXPLICIT = 4,  // tag wraps the member's own complete encoding
  GF_PC = 8,        // string type: primitive or constructed form accepted
  GF_OPEN = 16,     // open type resolved through a factory
  GF_TRIAL = 32,    // optional, and a later component can start with the same tag:
                    // decoded on trial, and on failure the tag goes on to the next
};

// One component of a SEQUENCE / SET, or one alternative of a CHOICE. What
// every decode and encode reads comes first, in 24 octets; the row is 48.
struct GenField {
  const GenOps *ops;
  uint32_t offset;     // member offset (SEQUENCE); unused for CHOICE alternatives
  AsnTag tag;          // tag written in front of the member; 0: untagged CHOICE or open type
  uint16_t flags;
  int16_t definedBy;   // open type: index of the component holding the value
  int errMissing;      // code of the missing-component site (mandatory SEQUENCE components)
  const char *name;
  const AsnTag *tags;  // untagged CHOICE: accepted tags, 0-terminated
  GenFactory factory;  // open type
};

struct GenSeqInfo {
  const char *typeName;
  AsnTag ownTag;  // 0x30, 0x31 or the type's own tag
  const GenField *fields;
  uint16_t count;
  int errLength;
  int errTag;
  const uint32_t *ptrOffsets;  // offsets of the pointer members, for destruction
  uint16_t ptrCount;
};

struct GenChoiceInfo {
  const char *typeName;
  uint32_t idOffset;   // offset of choiceId (a 32-bit enumeration)
  uint32_t altOffset;  // offset of the pointer to the chosen alternative
  AsnTag ownTag;       // 0 when the CHOICE is untagged
  const GenField *alts;
  uint16_t count;
  int errChoice;
  int errTag;  // tagged CHOICE only
};

// SEQUENCE / SET
void GenSeqAssign(const GenSeqInfo &ti, AsnType *dst, const AsnType *src);
void GenSeqFree(const GenSeqInfo &ti, AsnType *obj);
AsnLen GenSeqBEnc(const GenSeqInfo &ti, const AsnType *obj, AsnBuf &b);
AsnLen GenSeqBEncContent(const GenSeqInfo &ti, const AsnType *obj, AsnBuf &b);
void GenSeqBDec(const GenSeqInfo &ti, AsnType *obj, AsnBuf &b, AsnLen &bytesDecoded);
void GenSeqBDecContent(const GenSeqInfo &ti, AsnType *obj, AsnBuf &b, AsnTag tag, AsnLen len,
                       AsnLen &bytesDecoded);
void GenSeqPrint(const GenSeqInfo &ti, const AsnType *obj, AsnPrintStream &os);

// CHOICE
void GenChoiceAssign(const GenChoiceInfo &ti, AsnType *dst, const AsnType *src);
void GenChoiceFree(const GenChoiceInfo &ti, AsnType *obj);
AsnLen GenChoiceBEnc(const GenChoiceInfo &ti, const AsnType *obj, AsnBuf &b);
AsnLen GenChoiceBEncContent(const GenChoiceInfo &ti, const AsnType *obj, AsnBuf &b);
void GenChoiceBDec(const GenChoiceInfo &ti, AsnType *obj, AsnBuf &b, AsnLen &bytesDecoded);
void GenChoiceBDecContent(const GenChoiceInfo &ti, AsnType *obj, AsnBuf &b, AsnTag tag, AsnLen len,
                          AsnLen &bytesDecoded);
void GenChoicePrint(const GenChoiceInfo &ti, const AsnType *obj, AsnPrintStream &os);

// End of an explicitly tagged inner encoding whose wrapper had length len and
// of which inner octets were decoded: the end-of-contents when len is
// indefinite (-12), else inner must equal len ("ERROR - Length discrepancy on
// sequence.", errLength).
void GenExplicitEnd(AsnBuf &b, AsnLen len, AsnLen &inner, int errLength);

// Tags and lists of generated types: a one-octet tag in line, longer ones
// through GenPutTagLong.
AsnLen GenPutTagLong(AsnBuf &b, AsnTag tag);
inline AsnLen GenPutTag(AsnBuf &b, AsnTag tag) {
  if ((tag & 0x1F000000u) != 0x1F000000u) {
    b.PutByteRvs(static_cast<unsigned char>(tag >> 24));
    return 1;
  }
  return GenPutTagLong(b, tag);
}
// A class with a tag of its own around a content codec (lists, retagged primitives).
AsnLen GenTaggedBEnc(AsnBuf &b, AsnTag tag, AsnLen contentLen);
// Reads the tag, compares it with tag (either form when pc), reads the length.
AsnLen GenTaggedBDecHeader(AsnBuf &b, AsnTag tag, bool pc, const char *typeName, int errTag,
                           AsnTag &tagRead, AsnLen &bytesDecoded);

// Print of named values.
void GenPrintNamedInt(const AsnInt &v, AsnPrintStream &os);
struct GenBitName {
  uint32_t bit;
  const char *name;
};
void GenPrintNamedBits(const AsnBits &v, const GenBitName *names, size_t n, AsnPrintStream &os);

// Restricted character string and time types: octet strings under their own
// universal tag (either form accepted on decode).
template <unsigned kTagCode>
class AsnStringT : public AsnOcts {
 public:
  using AsnOcts::AsnOcts;
  AsnStringT() = default;
  AsnLen BEnc(AsnBuf &b) const { return GenTaggedBEnc(b, MAKE_TAG_ID(UNIV, PRIM, kTagCode), BEncContent(b)); }
  void BDec(AsnBuf &b, AsnLen &bytesDecoded) {
    AsnTag t;
    AsnLen n = 0;
    AsnLen len = GenTaggedBDecHeader(b, MAKE_TAG_ID(UNIV, PRIM, kTagCode), true, nullptr, kAsnErrOctsTag, t, n);
    BDecContent(b, t, len, n);
    bytesDecoded += n;
  }
};

// Primitive-derived generated class with a tag of its own.
template <class Base>
AsnLen GenRetaggedBEnc(const Base &v, AsnBuf &b, AsnTag tag) {
  return GenTaggedBEnc(b, tag, v.BEncContent(b));
}
template <class Base>
void GenRetaggedBDec(Base &v, AsnBuf &b, AsnLen &bytesDecoded, AsnTag tag, bool pc, const char *typeName,
                     int errTag) {
  AsnTag t;
  AsnLen n = 0;
  AsnLen len = GenTaggedBDecHeader(b, tag, pc, typeName, errTag, t, n);
  v.BDecContent(b, t, len, n);
  bytesDecoded += n;
}

}  // namespace CSTA3V6

// Out-of-line members of a generated SEQUENCE / SET class C described by info I.
#define K3_GEN_SEQUENCE(C, I)                                                                             \
  C::C(const C &o) : AsnType() { ::CSTA3V6::GenSeqAssign(I, this, &o); }                                  \
  C &C::operator=(const C &o) {                                                                           \
    if (this != &o) ::CSTA3V6::GenSeqAssign(I, this, &o);                                                 \
    return *this;                                                                                         \
  }                                                                                                       \
  C::~C() { ::CSTA3V6::GenSeqFree(I, this); }                                                             \
  AsnLen C::BEnc(AsnBuf &b) const { return ::CSTA3V6::GenSeqBEnc(I, this, b); }                          \
  AsnLen C::BEncContent(AsnBuf &b) const { return ::CSTA3V6::GenSeqBEncContent(I, this, b); }            \
  void C::BDec(AsnBuf &b, AsnLen &n) { ::CSTA3V6::GenSeqBDec(I, this, b, n); }                           \
  void C::BDecContent(AsnBuf &b, AsnTag t, AsnLen l, AsnLen &n) {                                         \
    ::CSTA3V6::GenSeqBDecContent(I, this, b, t, l, n);                                                    \
  }                                                                                                       \
  void C::Print(AsnPrintStream &os) const { ::CSTA3V6::GenSeqPrint(I, this, os); }

// Out-of-line members of a generated CHOICE class C described by info I.
#define K3_GEN_CHOICE(C, I)                                                                               \
  C::C(const C &o) : AsnType() { ::CSTA3V6::GenChoiceAssign(I, this, &o); }                               \
  C &C::operator=(const C &o) {                                                                           \
    if (this != &o) ::CSTA3V6::GenChoiceAssign(I, this, &o);                                              \
    return *this;                                                                                         \
  }                                                                                                       \
  C::~C() { ::CSTA3V6::GenChoiceFree(I, this); }                                                          \
  AsnLen C::BEnc(AsnBuf &b) const { return ::CSTA3V6::GenChoiceBEnc(I, this, b); }                       \
  AsnLen C::BEncContent(AsnBuf &b) const { return ::CSTA3V6::GenChoiceBEncContent(I, this, b); }         \
  void C::BDec(AsnBuf &b, AsnLen &n) { ::CSTA3V6::GenChoiceBDec(I, this, b, n); }                        \
  void C::BDecContent(AsnBuf &b, AsnTag t, AsnLen l, AsnLen &n) {                                         \
    ::CSTA3V6::GenChoiceBDecContent(I, this, b, t, l, n);                                                 \
  }                                                                                                       \
  void C::Print(AsnPrintStream &os) const { ::CSTA3V6::GenChoicePrint(I, this, os); }

#endif
