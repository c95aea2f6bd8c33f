// Office form of the PBX's private data: element parser, writer and prints.
#include "csta3/private/office.h"

#include <algorithm>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::DropLast;
using privoctets::PutOcts;
using privoctets::SetOcts;

namespace {

unsigned char Octet(const AsnOcts &o, size_t i) {
  return i < o.octetLen ? static_cast<unsigned char>(o.octs[i]) : 0;
}

unsigned char Low(const AsnInt &v) { return static_cast<unsigned char>(v.value); }

// Bit i of the string is the bit of value 2^i of the octet.
void BitsFromOctet(AsnBits &b, unsigned char o) {
  b = AsnBits(8);
  for (unsigned i = 0; i < 8; ++i)
    if (o & (1u << i)) b.SetBit(i);
}

unsigned char OctetFromBits(const AsnBits &b) {
  unsigned o = 0;
  for (unsigned i = 0; i < 8; ++i)
    if (b.GetBit(i)) o |= 1u << i;
  return static_cast<unsigned char>(o);
}

const CodeName kTdsCseNames[] = {{0, " (Not Enough Digits)"},       {1, " (Destination Blocked)"},
                                 {2, " (Number Unobtainable)"},     {3, " (Wrong Class Of Service)"},
                                 {4, " (Not Possible)"},            {5, " (Try Again, No Ressources)"},
                                 {6, " (Next Parameter)"},          {7, " (Last Parameter)"},
                                 {8, " (Not provided)"}};
const CodeName kInputCtrlNames[] = {{0, " (Accept And Echo Input)"},
                                    {1, " (Input Is Ignored)"},
                                    {2, " (Not provided)"},
                                    {3, " (Accept Input And Echo Asterisks)"}};

}  // namespace

// ---------------------------------------------------------------------------
// Element value prints

void PrivHCSD::Print(AsnPrintStream &os) const { os << value; }
void PrivTracerAction::Print(AsnPrintStream &os) const { os << value; }
void CPrivAutoAnswer::Print(AsnPrintStream &os) const { os << value; }
void ExtendedRequest::Print(AsnPrintStream &os) const { os << bits; }
void PrivDeviceIndication::Print(AsnPrintStream &os) const { os << bits; }
void PrivButtonPressEventInfo::Print(AsnPrintStream &os) const { os << pressed; }
void PrivButtonInformation::Print(AsnPrintStream &os) const { os << info; }
void CPrivInvolvedGroup::Print(AsnPrintStream &os) const { os << group; }
void CAclGid::Print(AsnPrintStream &os) const { os << " GID " << value; }
void CAclTid::Print(AsnPrintStream &os) const { os << " TID " << value; }

void PrivTracerStatusInfo::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- TracerStatusInfo --");
  privprint::Field(os, first, "Action");
  os << action;
  privprint::Field(os, first, "Status");
  os << status;
  privprint::Close(os);
}

void PrivTDS::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- TDS --");
  privprint::Field(os, first, "TDSCse = ");
  privprint::NumberAndName(os, kTdsCseNames, static_cast<uint32_t>(tdsCse.value));
  privprint::Field(os, first, "InputCtrl = ");
  privprint::NumberAndName(os, kInputCtrlNames, static_cast<uint32_t>(inputCtrl.value));
  privprint::Field(os, first, "ApplSubId = ");
  os << applSubId.value;
  privprint::Close(os);
}

void CPrivRoutingOptions::Print(AsnPrintStream &os) const {
  os << " { First" << first << ", Second" << second << " }";
}

void PrivCdrExtensions::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- CdrExtensions --");
  privprint::Field(os, first, "FirstTime");
  os << firstTime;
  privprint::Field(os, first, "SecondTime");
  os << secondTime;
  privprint::Field(os, first, "FirstText");
  os << firstText;
  privprint::Field(os, first, "SecondText");
  os << secondText;
  privprint::Close(os);
}

void CPrivCallLinkage::Print(AsnPrintStream &os) const { os << " {" << gid << "," << tid << " }"; }

void PrivSDConnectionID::Print(AsnPrintStream &os) const {
  os << " { CallID" << callID << ", State" << state << ", Device" << device << " }";
}

void PrivButtonInformationResult::Print(AsnPrintStream &os) const {
  os << " { Value" << value << ", Octet" << octet << " }";
}

void PrivPartnerConnection::Print(AsnPrintStream &os) const {
  os << " { CallID" << callID << ", DeviceID" << deviceID << " }";
}

// ---------------------------------------------------------------------------
// Element codecs: for each alternative's class, Read parses one element at p (n
// octets available, p[0] its identifier) into the new alternative and returns
// the octets consumed (0 when it does not fit); Write appends the element with
// identifier ident. K3_OFFICE_ALTERNATIVES picks the pair by the class.

namespace {

// Identifier, n, n octets (stored with a terminating zero): identifiers 0, 5,
// 211, 220, 221, 230.
size_t Read(AsnOcts &o, const unsigned char *p, size_t n) {
  if (n < 2) return 0;
  size_t len = p[1];
  if (2 + len > n) return 0;
  SetOcts(o, p + 2, len, true);
  return 2 + len;
}
void Write(OctetVec &out, unsigned char ident, const AsnOcts &o) {
  size_t len = std::min<size_t>(o.octetLen, 255);
  out.insert(out.end(), {ident, static_cast<unsigned char>(len)});
  PutOcts(out, o, len);
}

// 229: the counted layout above, holding the group's device.
size_t Read(CPrivInvolvedGroup &v, const unsigned char *p, size_t n) { return Read(v.group, p, n); }
void Write(OctetVec &out, unsigned char ident, const CPrivInvolvedGroup &v) { Write(out, ident, v.group); }

// Identifier, total length L, a, a octets of the first part, L-3-a octets of
// the second: the layout of 231 and 239. Reading needs at least minimum octets
// available; a shorter element is written filled up with zeros in its second part.
size_t ReadTwoParts(AsnOcts &first, AsnOcts &second, const unsigned char *p, size_t n, size_t minimum) {
  if (n < minimum) return 0;
  size_t len = p[1];
  if (len < 3 || len > n) return 0;
  size_t a = p[2];
  if (3 + a > len) return 0;
  SetOcts(first, p + 3, a);
  SetOcts(second, p + 3 + a, len - 3 - a);
  return len;
}
void WriteTwoParts(OctetVec &out, unsigned char ident, const AsnOcts &first, const AsnOcts &second,
                   size_t minimum) {
  size_t a = std::min<size_t>(first.octetLen, 252);
  size_t b = std::min<size_t>(second.octetLen, 252 - a);
  size_t len = std::max<size_t>(3 + a + b, minimum);
  out.insert(out.end(), {ident, static_cast<unsigned char>(len), static_cast<unsigned char>(a)});
  PutOcts(out, first, a);
  PutOcts(out, second, b);
  out.insert(out.end(), len - (3 + a + b), 0);
}

// 231: GID, then TID.
size_t Read(CPrivCallLinkage &v, const unsigned char *p, size_t n) {
  return ReadTwoParts(v.gid.value, v.tid.value, p, n, 5);
}
void Write(OctetVec &out, unsigned char ident, const CPrivCallLinkage &v) {
  WriteTwoParts(out, ident, v.gid.value, v.tid.value, 5);
}

// 239: call identifier, then device.
size_t Read(PrivPartnerConnection &v, const unsigned char *p, size_t n) {
  return ReadTwoParts(v.callID, v.deviceID, p, n, 4);
}
void Write(OctetVec &out, unsigned char ident, const PrivPartnerConnection &v) {
  WriteTwoParts(out, ident, v.callID, v.deviceID, 4);
}

// 9: 9, 3, value.
size_t Read(PrivHCSD &v, const unsigned char *p, size_t n) {
  if (n < 3) return 0;
  v.value.Set(p[2]);
  return 3;
}
void Write(OctetVec &out, unsigned char ident, const PrivHCSD &v) { out.insert(out.end(), {ident, 3, Low(v.value)}); }

// 175: 175, 4, (not read), action.
size_t Read(PrivTracerAction &v, const unsigned char *p, size_t n) {
  if (n < 4) return 0;
  v.value.Set(p[3]);
  return 4;
}
void Write(OctetVec &out, unsigned char ident, const PrivTracerAction &v) {
  out.insert(out.end(), {ident, 4, 0, Low(v.value)});
}

// 176: 176, total length (at least 24), tracer action, status octets.
size_t Read(PrivTracerStatusInfo &v, const unsigned char *p, size_t n) {
  if (n < 24) return 0;
  size_t len = p[1];
  if (len < 24 || len > n) return 0;
  v.action.Set(p[2]);
  SetOcts(v.status, p + 3, len - 3);
  return len;
}
void Write(OctetVec &out, unsigned char ident, const PrivTracerStatusInfo &v) {
  // At least 21 status octets so that the element reaches its 24-octet minimum.
  size_t s = std::min<size_t>(v.status.octetLen, 252);
  size_t body = std::max<size_t>(s, 21);
  out.insert(out.end(), {ident, static_cast<unsigned char>(3 + body), Low(v.action)});
  PutOcts(out, v.status, s);
  out.insert(out.end(), body - s, 0);
}

// 181: 181, 3, nonzero when answering automatically.
size_t Read(CPrivAutoAnswer &v, const unsigned char *p, size_t n) {
  if (n < 3) return 0;
  v.value = AsnBool(p[2] != 0);
  return 3;
}
void Write(OctetVec &out, unsigned char ident, const CPrivAutoAnswer &v) {
  out.insert(out.end(), {ident, 3, static_cast<unsigned char>(bool(v.value))});
}

// 201 and 232: identifier, 3, eight bits.
size_t ReadBits(AsnBits &bits, const unsigned char *p, size_t n) {
  if (n < 3) return 0;
  BitsFromOctet(bits, p[2]);
  return 3;
}
void WriteBits(OctetVec &out, unsigned char ident, const AsnBits &bits) {
  out.insert(out.end(), {ident, 3, OctetFromBits(bits)});
}
size_t Read(ExtendedRequest &v, const unsigned char *p, size_t n) { return ReadBits(v.bits, p, n); }
void Write(OctetVec &out, unsigned char ident, const ExtendedRequest &v) { WriteBits(out, ident, v.bits); }
size_t Read(PrivDeviceIndication &v, const unsigned char *p, size_t n) { return ReadBits(v.bits, p, n); }
void Write(OctetVec &out, unsigned char ident, const PrivDeviceIndication &v) { WriteBits(out, ident, v.bits); }

// 224: 224, 5, TDSCse, InputCtrl, ApplSubId.
size_t Read(PrivTDS &v, const unsigned char *p, size_t n) {
  if (n < 5) return 0;
  v.tdsCse.Set(p[2]);
  v.inputCtrl.Set(p[3]);
  v.applSubId.Set(p[4]);
  return 5;
}
void Write(OctetVec &out, unsigned char ident, const PrivTDS &v) {
  out.insert(out.end(), {ident, 5, Low(v.tdsCse), Low(v.inputCtrl), Low(v.applSubId)});
}

// 225: 225, 4, first, second.
size_t Read(CPrivRoutingOptions &v, const unsigned char *p, size_t n) {
  if (n < 4) return 0;
  v.first.Set(p[2]);
  v.second.Set(p[3]);
  return 4;
}
void Write(OctetVec &out, unsigned char ident, const CPrivRoutingOptions &v) {
  out.insert(out.end(), {ident, 4, Low(v.first), Low(v.second)});
}

// 228: 228, total length L, then up to four fields of length, octets; a field
// that does not fit inside L ends the fields.
size_t Read(PrivCdrExtensions &v, const unsigned char *p, size_t n) {
  if (n < 3) return 0;
  size_t len = p[1];
  if (len < 3 || len > n) return 0;
  AsnOcts *fields[4] = {&v.firstTime, &v.secondTime, &v.firstText, &v.secondText};
  size_t pos = 2;
  for (AsnOcts *f : fields) {
    if (pos >= len) break;
    size_t flen = p[pos];
    if (pos + 1 + flen > len) break;
    SetOcts(*f, p + pos + 1, flen, true);
    pos += 1 + flen;
  }
  return len;
}
void Write(OctetVec &out, unsigned char ident, const PrivCdrExtensions &v) {
  const AsnOcts *fields[4] = {&v.firstTime, &v.secondTime, &v.firstText, &v.secondText};
  // The whole element must fit a one-octet length: at most 253 body octets,
  // one of them the length octet of each field.
  OctetVec body;
  for (size_t i = 0; i < 4; ++i) {
    size_t flen = std::min<size_t>(fields[i]->octetLen, 253 - body.size() - (4 - i));
    body.push_back(static_cast<unsigned char>(flen));
    PutOcts(body, *fields[i], flen);
  }
  out.insert(out.end(), {ident, static_cast<unsigned char>(2 + body.size())});
  out.insert(out.end(), body.begin(), body.end());
}

// 233: 233, 6, call identifier (two octets), state, device.
size_t Read(PrivSDConnectionID &v, const unsigned char *p, size_t n) {
  if (n < 6) return 0;
  SetOcts(v.callID, p + 2, 2);
  v.state.Set(p[4]);
  v.device.Set(p[5]);
  return 6;
}
void Write(OctetVec &out, unsigned char ident, const PrivSDConnectionID &v) {
  out.insert(out.end(), {ident, 6, Octet(v.callID, 0), Octet(v.callID, 1), Low(v.state), Low(v.device)});
}

// 235: 235, length, 1 when pressed. Takes everything that is left.
size_t Read(PrivButtonPressEventInfo &v, const unsigned char *p, size_t n) {
  v.pressed = AsnBool(n >= 3 && p[2] == 1);
  return n;
}
void Write(OctetVec &out, unsigned char ident, const PrivButtonPressEventInfo &v) {
  out.insert(out.end(), {ident, 3, static_cast<unsigned char>(bool(v.pressed) ? 1 : 0)});
}

// 236: 236, 8, three octets of information, three zeros. Needs six octets,
// takes eight (fewer when fewer are left).
size_t Read(PrivButtonInformation &v, const unsigned char *p, size_t n) {
  if (n < 6) return 0;
  SetOcts(v.info, p + 2, 3);
  return std::min<size_t>(8, n);
}
void Write(OctetVec &out, unsigned char ident, const PrivButtonInformation &v) {
  out.insert(out.end(), {ident, 8, Octet(v.info, 0), Octet(v.info, 1), Octet(v.info, 2), 0, 0, 0});
}

// 237: 237, nonzero length, value, optional octet. Takes everything that is left.
size_t Read(PrivButtonInformationResult &v, const unsigned char *p, size_t n) {
  if (n < 2 || p[1] == 0) return 0;
  if (n >= 3) v.value.Set(p[2]);
  if (n >= 4) SetOcts(v.octet, p + 3, 1);
  return n;
}
void Write(OctetVec &out, unsigned char ident, const PrivButtonInformationResult &v) {
  // The octet only when there is one: the reader takes it from octet 3.
  out.insert(out.end(), {ident, static_cast<unsigned char>(v.octet.octetLen ? 4 : 3), Low(v.value)});
  if (v.octet.octetLen) out.push_back(Octet(v.octet, 0));
}

// 238: 238, 4, queue length, 0.
size_t Read(AsnInt &v, const unsigned char *p, size_t n) {
  if (n < 4) return 0;
  v.Set(p[2]);
  return 4;
}
void Write(OctetVec &out, unsigned char ident, const AsnInt &v) { out.insert(out.end(), {ident, 4, Low(v), 0}); }

}  // namespace

// ---------------------------------------------------------------------------
// OfficePrivateDataElement

OfficePrivateDataElement::OfficePrivateDataElement() : value(nullptr) {}

OfficePrivateDataElement::OfficePrivateDataElement(const OfficePrivateDataElement &o)
    : AsnType(), value(nullptr) {
  *this = o;
}

OfficePrivateDataElement &OfficePrivateDataElement::operator=(const OfficePrivateDataElement &o) {
  if (this == &o) return *this;
  Clear();
  if (!o.Present()) return *this;
  switch (o.choiceId) {
#define K3_X(id, T, m, name, ident) \
  case id:                          \
    m = new T(*o.m);                \
    break;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      return *this;
  }
  choiceId = o.choiceId;
  return *this;
}

OfficePrivateDataElement::~OfficePrivateDataElement() { Clear(); }

void OfficePrivateDataElement::Clear() {
  switch (choiceId) {
#define K3_X(id, T, m, name, ident) \
  case id:                          \
    delete m;                       \
    break;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      break;
  }
  value = nullptr;
  choiceId = 0;
}

#define K3_X(id, T, m, name, ident)              \
  T *OfficePrivateDataElement::Set_##m() {       \
    Clear();                                     \
    T *v = new T;                                \
    m = v;                                       \
    choiceId = id;                               \
    return v;                                    \
  }
K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X

uint32_t OfficePrivateDataElement::IdentifierOf(uint32_t cid) {
  switch (cid) {
#define K3_X(id, T, m, name, ident) \
  case id:                          \
    return ident;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      return 0xFFFFFFFFu;
  }
}

const char *OfficePrivateDataElement::NameOf(uint32_t cid) {
  switch (cid) {
#define K3_X(id, T, m, name, ident) \
  case id:                          \
    return name;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      return nullptr;
  }
}

size_t OfficePrivateDataElement::DecodeOctets(const unsigned char *p, size_t n) {
  Clear();
  if (n == 0) return 0;
  size_t used = 0;
  switch (p[0]) {
#define K3_X(id, T, m, name, ident) \
  case ident:                       \
    used = Read(*Set_##m(), p, n);  \
    break;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      break;
  }
  if (used == 0) Clear();
  return used;
}

void OfficePrivateDataElement::EncodeOctets(OctetVec &out) const {
  if (!Present()) return;
  switch (choiceId) {
#define K3_X(id, T, m, name, ident) \
  case id:                          \
    Write(out, ident, *m);          \
    break;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    default:
      break;
  }
}

void OfficePrivateDataElement::Print(AsnPrintStream &os) const {
  if (!Present()) return;
  os << NameOf(choiceId) << *value;
}

// ---------------------------------------------------------------------------
// OfficePrivateData

OfficePrivateData::OfficePrivateData() = default;
OfficePrivateData::OfficePrivateData(const OfficePrivateData &o) : AsnList<OfficePrivateDataElement>(o) {}
OfficePrivateData &OfficePrivateData::operator=(const OfficePrivateData &o) {
  AsnList<OfficePrivateDataElement>::operator=(o);
  return *this;
}
OfficePrivateData::~OfficePrivateData() = default;

const OfficePrivateDataElement *OfficePrivateData::Find(uint32_t cid) const {
  for (auto *node = first; node; node = node->next)
    if (node->elmt.choiceId == cid && node->elmt.Present()) return &node->elmt;
  return nullptr;
}

OfficePrivateDataElement *OfficePrivateData::Find(uint32_t cid) {
  return const_cast<OfficePrivateDataElement *>(static_cast<const OfficePrivateData *>(this)->Find(cid));
}

size_t OfficePrivateData::DecodeOctets(const unsigned char *p, size_t n) {
  size_t pos = 0, added = 0;
  while (pos < n) {
    // Parsed in place: the texts keep the terminator they were stored with.
    size_t used = Append()->DecodeOctets(p + pos, n - pos);
    if (used == 0) {
      DropLast(*this);
      break;
    }
    ++added;
    pos += used;
  }
  return added;
}

void OfficePrivateData::EncodeOctets(OctetVec &out) const {
  for (auto *node = first; node; node = node->next) node->elmt.EncodeOctets(out);
}

void OfficePrivateData::Print(AsnPrintStream &os) const {
  privprint::Open(os, "-- Private Data --");
  for (auto *node = first; node; node = node->next) {
    os.Newline();
    os.Indent();
    os << node->elmt;
    if (node->next) os << ", ";
  }
  privprint::Close(os);
}

}  // namespace CSTA3V6
