// Table-driven encode, decode, copy, print and destruction of the generated
// SEQUENCE and CHOICE classes.

#include "asn/asn_gen.h"

#include "asn/asn_tags.h"

#include <cstring>
#include <ostream>
#include <string>

// The per-component helpers below run once per component: kept in line.
#if defined(__GNUC__)
#define K3_INLINE inline __attribute__((always_inline))
#else
#define K3_INLINE inline
#endif

namespace CSTA3V6 {

namespace {

AsnType *UnknownCreate() { return new AsnType; }
void UnknownAssign(AsnType *, const AsnType *) {}
AsnLen UnknownEnc(const AsnType *, AsnBuf &) { return 0; }
void UnknownDec(AsnType *, AsnBuf &, AsnLen &) {}
void UnknownDecContent(AsnType *, AsnBuf &, AsnTag, AsnLen, AsnLen &) {}

template <class T>
T *At(const void *obj, uint32_t off) {
  return reinterpret_cast<T *>(const_cast<char *>(static_cast<const char *>(obj)) + off);
}

K3_INLINE AsnType *Member(const GenField &f, const void *obj) {
  if (f.flags & GF_PTR) return *At<AsnType *>(obj, f.offset);
  return At<AsnType>(obj, f.offset);
}

uint32_t ChoiceId(const GenChoiceInfo &ti, const void *obj) {
  uint32_t id;
  std::memcpy(&id, At<char>(obj, ti.idOffset), sizeof id);
  return id;
}

void SetChoiceId(const GenChoiceInfo &ti, void *obj, uint32_t id) {
  std::memcpy(At<char>(obj, ti.idOffset), &id, sizeof id);
}

AsnType *&ChoiceAlt(const GenChoiceInfo &ti, const void *obj) { return *At<AsnType *>(obj, ti.altOffset); }

// The class of an open component: the factory's answer for the current value,
// provided the object in hand really is of that class.
const GenOps *OpenOps(const GenField &f, const GenSeqInfo &ti, const void *obj, const AsnType *v) {
  const GenField &by = ti.fields[f.definedBy];
  const AsnInt *val = static_cast<const AsnInt *>(Member(by, obj));
  const GenOps *ops = val ? f.factory(val->value) : &kGenUnknownOps;
  if (v && typeid(*v) != *ops->type) return &kGenUnknownOps;
  return ops;
}

K3_INLINE bool TagMatches(const GenField &f, AsnTag tag) {
  if (f.tag) {
    if (f.flags & GF_PC) return (tag & ~kTagConstructedBit) == (f.tag & ~kTagConstructedBit);
    return tag == f.tag;
  }
  if (f.tags) {
    for (const AsnTag *t = f.tags; *t; ++t)
      if (*t == tag) return true;
  }
  return false;
}

// The member routines by kind: tables and primitives called directly, the
// rest through the class's GenOps.
K3_INLINE AsnLen EncContentOf(const GenOps *ops, const AsnType *v, AsnBuf &b) {
  switch (ops->contentKind) {
    case GK_SEQ: return GenSeqBEncContent(*static_cast<const GenSeqInfo *>(ops->info), v, b);
    case GK_CHOICE: return GenChoiceBEncContent(*static_cast<const GenChoiceInfo *>(ops->info), v, b);
    case GK_INT: return static_cast<const AsnInt *>(v)->AsnInt::BEncContent(b);
    case GK_OCTS: return static_cast<const AsnOcts *>(v)->AsnOcts::BEncContent(b);
    case GK_BOOL: return static_cast<const AsnBool *>(v)->AsnBool::BEncContent(b);
    case GK_NULL: return 0;
    case GK_BITS: return static_cast<const AsnBits *>(v)->AsnBits::BEncContent(b);
    case GK_OID: return static_cast<const AsnOid *>(v)->AsnOid::BEncContent(b);
    default: return ops->encContent(v, b);
  }
}

K3_INLINE AsnLen EncWholeOf(const GenOps *ops, const AsnType *v, AsnBuf &b) {
  switch (ops->wholeKind) {
    case GK_SEQ: return GenSeqBEnc(*static_cast<const GenSeqInfo *>(ops->info), v, b);
    case GK_CHOICE: return GenChoiceBEnc(*static_cast<const GenChoiceInfo *>(ops->info), v, b);
    default: return ops->enc(v, b);
  }
}

K3_INLINE void DecContentOf(const GenOps *ops, AsnType *v, AsnBuf &b, AsnTag tag, AsnLen len, AsnLen &n) {
  switch (ops->contentKind) {
    case GK_SEQ: return GenSeqBDecContent(*static_cast<const GenSeqInfo *>(ops->info), v, b, tag, len, n);
    case GK_CHOICE: return GenChoiceBDecContent(*static_cast<const GenChoiceInfo *>(ops->info), v, b, tag, len, n);
    case GK_INT: return static_cast<AsnInt *>(v)->AsnInt::BDecContent(b, tag, len, n);
    case GK_OCTS: return static_cast<AsnOcts *>(v)->AsnOcts::BDecContent(b, tag, len, n);
    case GK_BOOL: return static_cast<AsnBool *>(v)->AsnBool::BDecContent(b, tag, len, n);
    case GK_NULL: return static_cast<AsnNull *>(v)->AsnNull::BDecContent(b, tag, len, n);
    case GK_BITS: return static_cast<AsnBits *>(v)->AsnBits::BDecContent(b, tag, len, n);
    case GK_OID: return static_cast<AsnOid *>(v)->AsnOid::BDecContent(b, tag, len, n);
    default: return ops->decContent(v, b, tag, len, n);
  }
}

K3_INLINE void DecWholeOf(const GenOps *ops, AsnType *v, AsnBuf &b, AsnLen &n) {
  switch (ops->wholeKind) {
    case GK_SEQ: return GenSeqBDec(*static_cast<const GenSeqInfo *>(ops->info), v, b, n);
    case GK_CHOICE: return GenChoiceBDec(*static_cast<const GenChoiceInfo *>(ops->info), v, b, n);
    default: return ops->dec(v, b, n);
  }
}

K3_INLINE AsnLen EncMember(const GenField &f, const GenOps *ops, const AsnType *v, AsnBuf &b) {
  AsnLen l;
  if (f.flags & GF_EXPLICIT) {
    l = EncWholeOf(ops, v, b);
    l += BEncDefLenQuick(b, l);
    l += GenPutTag(b, f.tag);
  } else if (f.tag == 0) {
    l = EncWholeOf(ops, v, b);  // untagged CHOICE or open type: its own encoding
  } else {
    l = EncContentOf(ops, v, b);
    l += BEncDefLenQuick(b, l);
    l += GenPutTag(b, f.tag);
  }
  return l;
}

// Decodes a member whose tag (already matched) and length are in hand; every
// explicitly tagged member, SEQUENCE component or CHOICE alternative, goes
// through here, so its wrapper's length is always checked.
K3_INLINE void DecMemberBody(const GenField &f, const GenOps *ops, AsnType *v, AsnBuf &b, AsnTag tag, AsnLen len,
                   AsnLen &local, int errLength) {
  if (f.flags & GF_EXPLICIT) {
    AsnLen inner = 0;
    DecWholeOf(ops, v, b, inner);
    GenExplicitEnd(b, len, inner, errLength);
    local += inner;
  } else {
    DecContentOf(ops, v, b, tag, len, local);
  }
}

// As DecMemberBody, reading the length first.
K3_INLINE void DecMember(const GenField &f, const GenOps *ops, AsnType *v, AsnBuf &b, AsnTag tag, AsnLen &local,
               int errLength) {
  AsnLen len = BDecLenQuick(b, local);
  DecMemberBody(f, ops, v, b, tag, len, local, errLength);
}

K3_INLINE bool AtEnd(AsnBuf &b, AsnLen len, AsnLen local) {
  if (len == INDEFINITE_LEN) return b.Remaining() == 0 || b.PeekByte() == 0;
  return local >= len;
}

}  // namespace

const GenOps kGenUnknownOps = {UnknownCreate, UnknownAssign,     UnknownEnc,       UnknownEnc, UnknownDec,
                               UnknownDecContent, &typeid(AsnType), GK_OTHER, GK_OTHER, nullptr};

AsnLen GenPutTagLong(AsnBuf &b, AsnTag tag) {
  unsigned char o[4] = {uint8_t(tag >> 24), uint8_t(tag >> 16), uint8_t(tag >> 8), uint8_t(tag)};
  size_t n = 1;
  if ((o[0] & 0x1F) == 0x1F) {
    while (n < 4 && (o[n] & 0x80)) ++n;
    if (n < 4) ++n;
  }
  b.PutSegRvs(o, n);
  return AsnLen(n);
}

void GenExplicitEnd(AsnBuf &b, AsnLen len, AsnLen &inner, int errLength) {
  if (len == INDEFINITE_LEN) {
    BDecEoc(b, inner);
  } else if (inner != len) {
    AsnFail(b, "ERROR - Length discrepancy on sequence.", errLength);
  }
}

AsnLen GenTaggedBEnc(AsnBuf &b, AsnTag tag, AsnLen contentLen) {
  AsnLen l = contentLen;
  l += BEncDefLenQuick(b, l);
  l += GenPutTag(b, tag);
  return l;
}

AsnLen GenTaggedBDecHeader(AsnBuf &b, AsnTag tag, bool pc, const char *typeName, int errTag, AsnTag &tagRead,
                           AsnLen &bytesDecoded) {
  tagRead = BDecTagQuick(b, bytesDecoded);
  bool ok = pc ? (tagRead & ~kTagConstructedBit) == (tag & ~kTagConstructedBit) : tagRead == tag;
  if (!ok) {
    if (!typeName) AsnThrow(errTag);
    AsnFail(b, (std::string(typeName) + "::BDec: ERROR - wrong tag").c_str(), errTag);
  }
  return BDecLenQuick(b, bytesDecoded);
}

// ---- SEQUENCE / SET -----------------------------------------------------------

void GenSeqAssign(const GenSeqInfo &ti, AsnType *dst, const AsnType *src) {
  if (dst == src) return;
  for (uint16_t i = 0; i < ti.count; ++i) {
    const GenField &f = ti.fields[i];
    if (!(f.flags & GF_PTR)) {
      f.ops->assign(At<AsnType>(dst, f.offset), At<AsnType>(src, f.offset));
      continue;
    }
    AsnType *s = *At<AsnType *>(src, f.offset);
    AsnType *&d = *At<AsnType *>(dst, f.offset);
    if (!s) {
      delete d;
      d = nullptr;
      continue;
    }
    const GenOps *ops = f.ops;
    if (f.flags & GF_OPEN) {
      // The value component comes first and is already copied.
      ops = OpenOps(f, ti, src, s);
      delete d;
      d = ops->create();
    } else if (!d) {
      d = ops->create();
    }
    ops->assign(d, s);
  }
}

void GenSeqFree(const GenSeqInfo &ti, AsnType *obj) {
  for (uint16_t i = 0; i < ti.ptrCount; ++i) {
    AsnType *&p = *At<AsnType *>(obj, ti.ptrOffsets[i]);
    delete p;
    p = nullptr;
  }
}

AsnLen GenSeqBEncContent(const GenSeqInfo &ti, const AsnType *obj, AsnBuf &b) {
  AsnLen l = 0;
  for (uint16_t i = ti.count; i-- > 0;) {
    const GenField &f = ti.fields[i];
    const AsnType *v = Member(f, obj);
    if (!v) continue;
    const GenOps *ops = (f.flags & GF_OPEN) ? OpenOps(f, ti, obj, v) : f.ops;
    l += EncMember(f, ops, v, b);
  }
  return l;
}

AsnLen GenSeqBEnc(const GenSeqInfo &ti, const AsnType *obj, AsnBuf &b) {
  return GenTaggedBEnc(b, ti.ownTag, GenSeqBEncContent(ti, obj, b));
}

void GenSeqBDec(const GenSeqInfo &ti, AsnType *obj, AsnBuf &b, AsnLen &bytesDecoded) {
  AsnTag t;
  AsnLen n = 0;
  AsnLen len = GenTaggedBDecHeader(b, ti.ownTag, false, ti.typeName, ti.errTag, t, n);
  GenSeqBDecContent(ti, obj, b, t, len, n);
  bytesDecoded += n;
}

// Decodes an optional component into a fresh object; on a decode error puts the
// buffer back where it was (just after the tag) and returns null.
static AsnType *TryDecMember(const GenField &f, AsnBuf &b, AsnTag tag, AsnLen &local, int errLength) {
  unsigned char *readLoc = b.readLoc;
  bool readError = b.readError;
  AsnLen before = local;
  std::ostream *err = b.errStream;
  // No stream: the lines of a failed trial are not written.
  b.errStream = nullptr;
  AsnType *v = f.ops->create();
  try {
    DecMember(f, f.ops, v, b, tag, local, errLength);
  } catch (const AsnDecodeError &) {
    delete v;
    v = nullptr;
    b.readLoc = readLoc;
    b.readError = readError;
    local = before;
  } catch (...) {
    b.errStream = err;
    delete v;
    throw;
  }
  b.errStream = err;
  return v;
}

void GenSeqBDecContent(const GenSeqInfo &ti, AsnType *obj, AsnBuf &b, AsnTag, AsnLen len, AsnLen &bytesDecoded) {
  AsnLen local = 0;
  AsnTag tag = 0;
  bool inHand = false;
  const unsigned char *tagStart = nullptr;
  AsnLen tagOctets = 0;
  for (uint16_t i = 0; i < ti.count; ++i) {
    const GenField &f = ti.fields[i];
    if (f.flags & GF_OPEN) {
      // An open component decodes itself, tag included.
      if (inHand) {
        b.readLoc = const_cast<unsigned char *>(tagStart);
        local -= tagOctets;
        inHand = false;
      }
      if (AtEnd(b, len, local)) {
        if (!(f.flags & GF_OPT)) {
          AsnFail(b, (std::string("ERROR - SEQUENCE is missing non-optional elmt '") + f.name + "'.").c_str(),
                  f.errMissing);
        }
        continue;
      }
      const GenOps *ops = OpenOps(f, ti, obj, nullptr);
      AsnType *&p = *At<AsnType *>(obj, f.offset);
      delete p;
      p = ops->create();
      DecWholeOf(ops, p, b, local);
      continue;
    }
    if (!inHand && !AtEnd(b, len, local)) {
      tagStart = b.readLoc;
      AsnLen before = local;
      tag = BDecTagQuick(b, local);
      tagOctets = local - before;
      inHand = true;
    }
    if (inHand && TagMatches(f, tag)) {
      if (f.flags & GF_TRIAL) {
        // The tag could also start a later component (an escape's private data
        // and its optional security data are both SEQUENCEs): decode on trial,
        // quietly, and leave the tag in hand when the octets do not fit.
        if (AsnType *v = TryDecMember(f, b, tag, local, ti.errLength)) {
          AsnType *&p = *At<AsnType *>(obj, f.offset);
          delete p;
          p = v;
          inHand = false;
        }
        continue;
      }
      inHand = false;
      AsnType *v;
      if (f.flags & GF_PTR) {
        AsnType *&p = *At<AsnType *>(obj, f.offset);
        if (!p) p = f.ops->create();
        v = p;
      } else {
        v = At<AsnType>(obj, f.offset);
      }
      DecMember(f, f.ops, v, b, tag, local, ti.errLength);
    } else if (!(f.flags & GF_OPT)) {
      AsnFail(b, (std::string("ERROR - SEQUENCE is missing non-optional elmt '") + f.name + "'.").c_str(),
              f.errMissing);
    }
  }
  if (len == INDEFINITE_LEN) {
    // Whatever follows the last component must be the end-of-contents (-12),
    // whether or not its tag was already read in the hope of a component.
    if (inHand) {
      b.readLoc = const_cast<unsigned char *>(tagStart);
      local -= tagOctets;
    }
    BDecEoc(b, local);
  } else if (inHand || local != len) {
    AsnFail(b, "ERROR - Length discrepancy on sequence.", ti.errLength);
  }
  bytesDecoded += local;
}

void GenSeqPrint(const GenSeqInfo &ti, const AsnType *obj, AsnPrintStream &os) {
  if (!os.atLineStart) {
    os.Newline();
    os.Indent();
  }
  const char *rem = ti.ownTag == kTagSet ? "-- SET -- " : "-- SEQUENCE -- ";
  os << "{ ";
  if (os.tagged) {
    os << "<REM>" << rem << "</REM>";
  } else {
    os << rem;
  }
  os.Newline();
  os.IndentMore();
  bool first = true;
  for (uint16_t i = 0; i < ti.count; ++i) {
    const GenField &f = ti.fields[i];
    const AsnType *v = Member(f, obj);
    if (!v) continue;
    if (!first) {
      os << ",";
      os.Newline();
    }
    first = false;
    os.Indent();
    os << f.name;
    os << *v;
  }
  os.IndentLess();
  os.Newline();
  os.Indent();
  os << "}";
}

// ---- CHOICE -------------------------------------------------------------------

void GenChoiceFree(const GenChoiceInfo &ti, AsnType *obj) {
  AsnType *&p = ChoiceAlt(ti, obj);
  if (ChoiceId(ti, obj) < ti.count) delete p;
  p = nullptr;
}

void GenChoiceAssign(const GenChoiceInfo &ti, AsnType *dst, const AsnType *src) {
  if (dst == src) return;
  GenChoiceFree(ti, dst);
  uint32_t id = ChoiceId(ti, src);
  SetChoiceId(ti, dst, id);
  const AsnType *s = ChoiceAlt(ti, src);
  if (id < ti.count && s) {
    AsnType *d = ti.alts[id].ops->create();
    ti.alts[id].ops->assign(d, s);
    ChoiceAlt(ti, dst) = d;
  }
}

AsnLen GenChoiceBEncContent(const GenChoiceInfo &ti, const AsnType *obj, AsnBuf &b) {
  uint32_t id = ChoiceId(ti, obj);
  const AsnType *v = ChoiceAlt(ti, obj);
  if (id >= ti.count || !v) return 0;
  return EncMember(ti.alts[id], ti.alts[id].ops, v, b);
}

AsnLen GenChoiceBEnc(const GenChoiceInfo &ti, const AsnType *obj, AsnBuf &b) {
  AsnLen l = GenChoiceBEncContent(ti, obj, b);
  if (ti.ownTag) l = GenTaggedBEnc(b, ti.ownTag, l);
  return l;
}

namespace {

// Makes the alternative of tag the chosen one, fresh and empty; its index.
// Alternatives [0], [1], ... mostly stand at the index of their tag number,
// so that index is tried first; the tags of a CHOICE are distinct, so a match
// there is the only one.
uint16_t ChoiceSelect(const GenChoiceInfo &ti, AsnType *obj, AsnBuf &b, AsnTag tag) {
  uint16_t i = uint16_t((tag >> 24) & 0x1F);
  if (i >= ti.count || !TagMatches(ti.alts[i], tag)) {
    for (i = 0; i < ti.count && !TagMatches(ti.alts[i], tag); ++i) {
    }
    if (i == ti.count) AsnFail(b, "ERROR - unexpected tag in CHOICE", ti.errChoice);
  }
  GenChoiceFree(ti, obj);
  SetChoiceId(ti, obj, i);
  ChoiceAlt(ti, obj) = ti.alts[i].ops->create();
  return i;
}

}  // namespace

// An alternative decodes as a SEQUENCE component does (DecMemberBody); an
// untagged CHOICE alternative (tag 0) takes the tag in hand as its own
// alternative's tag, as an implicitly tagged one does.
void GenChoiceBDecContent(const GenChoiceInfo &ti, AsnType *obj, AsnBuf &b, AsnTag tag, AsnLen len,
                          AsnLen &bytesDecoded) {
  AsnLen local = 0;
  if (!ti.ownTag) {
    // The tag and length in hand belong to the alternative.
    const GenField &f = ti.alts[ChoiceSelect(ti, obj, b, tag)];
    DecMemberBody(f, f.ops, ChoiceAlt(ti, obj), b, tag, len, local, ti.errChoice);
  } else {
    // Tagged CHOICE: the content is one alternative with its own tag, and it
    // must fill the CHOICE's own length exactly.
    AsnTag altTag = BDecTagQuick(b, local);
    const GenField &f = ti.alts[ChoiceSelect(ti, obj, b, altTag)];
    DecMember(f, f.ops, ChoiceAlt(ti, obj), b, altTag, local, ti.errChoice);
    GenExplicitEnd(b, len, local, ti.errChoice);
  }
  bytesDecoded += local;
}

void GenChoiceBDec(const GenChoiceInfo &ti, AsnType *obj, AsnBuf &b, AsnLen &bytesDecoded) {
  AsnLen n = 0;
  AsnTag tag = BDecTagQuick(b, n);
  if (ti.ownTag && tag != ti.ownTag) {
    AsnFail(b, (std::string(ti.typeName) + "::BDec: ERROR - wrong tag").c_str(), ti.errTag);
  }
  AsnLen len = BDecLenQuick(b, n);
  GenChoiceBDecContent(ti, obj, b, tag, len, n);
  bytesDecoded += n;
}

void GenChoicePrint(const GenChoiceInfo &ti, const AsnType *obj, AsnPrintStream &os) {
  uint32_t id = ChoiceId(ti, obj);
  const AsnType *v = ChoiceAlt(ti, obj);
  if (id >= ti.count || !v) return;
  if (!os.atLineStart) os << ".";
  os << ti.alts[id].name;
  os << *v;
}

// ---- named values -----------------------------------------------------------------

void GenPrintNamedInt(const AsnInt &v, AsnPrintStream &os) {
  os << " = ";
  if (os.tagged) {
    os << "<CNST>" << int(v.value) << "</CNST>";
  } else {
    os << int(v.value);
  }
}

void GenPrintNamedBits(const AsnBits &v, const GenBitName *names, size_t n, AsnPrintStream &os) {
  v.AsnBits::Print(os);
  os << (os.tagged ? " <REM>-- true bits -- </REM>" : " -- true bits -- ");
  for (size_t i = 0; i < n; ++i) {
    if (!v.GetBit(names[i].bit)) continue;
    if (os.tagged) {
      os << "<TBIT>" << names[i].name << "</TBIT>" << " ";
    } else {
      os << names[i].name << " ";
    }
  }
}

}  // namespace CSTA3V6
