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

// Identifier, n, n octets (stored with a terminating zero).
size_t DecodeCounted(AsnOcts &o, const unsigned char *p, size_t n) {
  if (n < 2) return 0;
  size_t len = p[1];
  if (2 + len > n) return 0;
  SetOcts(o, p + 2, len, true);
  return 2 + len;
}

void EncodeCounted(OctetVec &out, unsigned char ident, const AsnOcts &o) {
  size_t len = std::min<size_t>(o.octetLen, 255);
  out.insert(out.end(), {ident, static_cast<unsigned char>(len)});
  PutOcts(out, o, len);
}

// Identifier, total length L, a, a octets of the first part, L-3-a octets of
// the second: the layout of 231 and 239. The decoder wants at least minimum
// octets, so a shorter element is filled up with zeros in its second part.
void EncodeTwoParts(OctetVec &out, unsigned char ident, const AsnOcts &first, const AsnOcts &second,
                    size_t minimum) {
  size_t a = std::min<size_t>(first.octetLen, 252);
  size_t b = std::min<size_t>(second.octetLen, 252 - a);
  size_t len = std::max<size_t>(3 + a + b, minimum);
  out.insert(out.end(), {ident, static_cast<unsigned char>(len), static_cast<unsigned char>(a)});
  PutOcts(out, first, a);
  PutOcts(out, second, b);
  out.insert(out.end(), len - (3 + a + b), 0);
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
    case 0: used = DecodeCounted(*Set_agentID(), p, n); break;
    case 5: used = DecodeCounted(*Set_parkPosition(), p, n); break;
    case 211: used = DecodeCounted(*Set_deviceID(), p, n); break;
    case 220: used = DecodeCounted(*Set_newMasterDeviceID(), p, n); break;
    case 221: used = DecodeCounted(*Set_partnerDeviceID(), p, n); break;
    case 229: used = DecodeCounted(Set_involvedGroup()->group, p, n); break;
    case 230: used = DecodeCounted(*Set_trunkInterface(), p, n); break;
    case 9:
      if (n < 3) break;
      Set_hcsd()->value.Set(p[2]);
      used = 3;
      break;
    case 175:
      if (n < 4) break;
      Set_tracerAction()->value.Set(p[3]);
      used = 4;
      break;
    case 176: {
      // 176, total length (at least 24), tracer action, status octets.
      if (n < 24) break;
      size_t len = p[1];
      if (len < 24 || len > n) break;
      PrivTracerStatusInfo *t = Set_tracerStatusInfo();
      t->action.Set(p[2]);
      SetOcts(t->status, p + 3, len - 3);
      used = len;
      break;
    }
    case 181:
      if (n < 3) break;
      Set_autoAnswer()->value = AsnBool(p[2] != 0);
      used = 3;
      break;
    case 201:
      if (n < 3) break;
      BitsFromOctet(Set_extendedRequest()->bits, p[2]);
      used = 3;
      break;
    case 224: {
      if (n < 5) break;
      PrivTDS *t = Set_tds();
      t->tdsCse.Set(p[2]);
      t->inputCtrl.Set(p[3]);
      t->applSubId.Set(p[4]);
      used = 5;
      break;
    }
    case 225: {
      if (n < 4) break;
      CPrivRoutingOptions *r = Set_routingOptions();
      r->first.Set(p[2]);
      r->second.Set(p[3]);
      used = 4;
      break;
    }
    case 228: {
      // 228, total length L, then up to four fields of length, octets; a field
      // that does not fit inside L ends the fields.
      if (n < 3) break;
      size_t len = p[1];
      if (len < 3 || len > n) break;
      PrivCdrExtensions *c = Set_cdrExtensions();
      AsnOcts *fields[4] = {&c->firstTime, &c->secondTime, &c->firstText, &c->secondText};
      size_t pos = 2;
      for (AsnOcts *f : fields) {
        if (pos >= len) break;
        size_t flen = p[pos];
        if (pos + 1 + flen > len) break;
        SetOcts(*f, p + pos + 1, flen, true);
        pos += 1 + flen;
      }
      used = len;
      break;
    }
    case 231: {
      // 231, total length L, g, g octets of GID, the rest of L is the TID.
      if (n < 5) break;
      size_t len = p[1];
      if (len < 3 || len > n) break;
      size_t g = p[2];
      if (3 + g > len) break;
      CPrivCallLinkage *c = Set_callLinkage();
      SetOcts(c->gid.value, p + 3, g);
      SetOcts(c->tid.value, p + 3 + g, len - 3 - g);
      used = len;
      break;
    }
    case 232:
      if (n < 3) break;
      BitsFromOctet(Set_deviceIndication()->bits, p[2]);
      used = 3;
      break;
    case 233: {
      if (n < 6) break;
      PrivSDConnectionID *s = Set_sdConnectionID();
      SetOcts(s->callID, p + 2, 2);
      s->state.Set(p[4]);
      s->device.Set(p[5]);
      used = 6;
      break;
    }
    case 235:
      // Takes everything that is left.
      Set_buttonPressEventInfo()->pressed = AsnBool(n >= 3 && p[2] == 1);
      used = n;
      break;
    case 236:
      // Needs six octets, takes eight (fewer when fewer are left).
      if (n < 6) break;
      SetOcts(Set_buttonInformation()->info, p + 2, 3);
      used = std::min<size_t>(8, n);
      break;
    case 237: {
      // Takes everything that is left.
      if (n < 2 || p[1] == 0) break;
      PrivButtonInformationResult *r = Set_buttonInformationResult();
      if (n >= 3) r->value.Set(p[2]);
      if (n >= 4) SetOcts(r->octet, p + 3, 1);
      used = n;
      break;
    }
    case 238:
      if (n < 4) break;
      Set_callQLen()->Set(p[2]);
      used = 4;
      break;
    case 239: {
      // 239, total length L, c, c octets of call identifier, the rest of L is the device.
      if (n < 4) break;
      size_t len = p[1];
      if (len < 3 || len > n) break;
      size_t c = p[2];
      if (3 + c > len) break;
      PrivPartnerConnection *pc = Set_partnerConnection();
      SetOcts(pc->callID, p + 3, c);
      SetOcts(pc->deviceID, p + 3 + c, len - 3 - c);
      used = len;
      break;
    }
    default:
      break;
  }
  if (used == 0) Clear();
  return used;
}

void OfficePrivateDataElement::EncodeOctets(OctetVec &out) const {
  if (!Present()) return;
  const unsigned char ident = static_cast<unsigned char>(IdentifierOf(choiceId));
  switch (choiceId) {
    case agentIDCid: EncodeCounted(out, ident, *agentID); break;
    case parkPositionCid: EncodeCounted(out, ident, *parkPosition); break;
    case deviceIDCid: EncodeCounted(out, ident, *deviceID); break;
    case newMasterDeviceIDCid: EncodeCounted(out, ident, *newMasterDeviceID); break;
    case partnerDeviceIDCid: EncodeCounted(out, ident, *partnerDeviceID); break;
    case involvedGroupCid: EncodeCounted(out, ident, involvedGroup->group); break;
    case trunkInterfaceCid: EncodeCounted(out, ident, *trunkInterface); break;
    case hcsdCid: out.insert(out.end(), {ident, 3, Low(hcsd->value)}); break;
    case tracerActionCid: out.insert(out.end(), {ident, 4, 0, Low(tracerAction->value)}); break;
    case tracerStatusInfoCid: {
      // At least 21 status octets so that the element reaches its 24-octet minimum.
      size_t s = std::min<size_t>(tracerStatusInfo->status.octetLen, 252);
      size_t body = std::max<size_t>(s, 21);
      out.insert(out.end(), {ident, static_cast<unsigned char>(3 + body), Low(tracerStatusInfo->action)});
      PutOcts(out, tracerStatusInfo->status, s);
      out.insert(out.end(), body - s, 0);
      break;
    }
    case autoAnswerCid: out.insert(out.end(), {ident, 3, static_cast<unsigned char>(bool(autoAnswer->value))}); break;
    case extendedRequestCid: out.insert(out.end(), {ident, 3, OctetFromBits(extendedRequest->bits)}); break;
    case tdsCid:
      out.insert(out.end(), {ident, 5, Low(tds->tdsCse), Low(tds->inputCtrl), Low(tds->applSubId)});
      break;
    case routingOptionsCid:
      out.insert(out.end(), {ident, 4, Low(routingOptions->first), Low(routingOptions->second)});
      break;
    case cdrExtensionsCid: {
      const AsnOcts *fields[4] = {&cdrExtensions->firstTime, &cdrExtensions->secondTime,
                                  &cdrExtensions->firstText, &cdrExtensions->secondText};
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
      break;
    }
    case callLinkageCid:
      EncodeTwoParts(out, ident, callLinkage->gid.value, callLinkage->tid.value, 5);
      break;
    case partnerConnectionCid:
      EncodeTwoParts(out, ident, partnerConnection->callID, partnerConnection->deviceID, 4);
      break;
    case deviceIndicationCid: out.insert(out.end(), {ident, 3, OctetFromBits(deviceIndication->bits)}); break;
    case sdConnectionIDCid:
      out.insert(out.end(), {ident, 6, Octet(sdConnectionID->callID, 0), Octet(sdConnectionID->callID, 1),
                             Low(sdConnectionID->state), Low(sdConnectionID->device)});
      break;
    case buttonPressEventInfoCid:
      out.insert(out.end(), {ident, 3, static_cast<unsigned char>(bool(buttonPressEventInfo->pressed) ? 1 : 0)});
      break;
    case buttonInformationCid:
      out.insert(out.end(), {ident, 8, Octet(buttonInformation->info, 0), Octet(buttonInformation->info, 1),
                             Octet(buttonInformation->info, 2), 0, 0, 0});
      break;
    case buttonInformationResultCid:
      // The octet only when there is one: the decoder reads it from octet 3.
      out.insert(out.end(), {ident, static_cast<unsigned char>(buttonInformationResult->octet.octetLen ? 4 : 3),
                             Low(buttonInformationResult->value)});
      if (buttonInformationResult->octet.octetLen) out.push_back(Octet(buttonInformationResult->octet, 0));
      break;
    case callQLenCid: out.insert(out.end(), {ident, 4, Low(*callQLen), 0}); break;
    default: break;
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
