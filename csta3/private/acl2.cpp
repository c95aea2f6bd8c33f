// ACL form of the PBX's private data: ACL2 header, AMHOST, MR, MAINT, CPSTREQ
// and SysTRACE, their octet parsers, writers and prints.
#include "csta3/private/acl2.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "csta3/private/print_util.h"

namespace CSTA3V6 {

using privprint::CodeName;
using privoctets::DropLast;
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

// ---------------------------------------------------------------------------
// Element identifier table

struct ElementInfo {
  uint8_t kind;
  const char *name;
};

struct ElementTable {
  ElementInfo e[256];
  constexpr ElementTable() : e{} {
    struct Row {
      uint8_t id, kind;
      const char *name;
    };
    constexpr Row rows[] = {
        {10, 8, nullptr},
        {161, 1, "COS Day/Night"},
        {162, 2, "Call/Subscriber Number"},
        {163, 2, "Name"},
        {165, 2, "Personal Identification Number"},
        {168, 1, "SwitchMode"},
        {169, 2, "Switch Type"},
        {171, 1, "Device Type"},
        {173, 1, "Cause"},
        {175, 9, " DSSINFO "},
        {176, 7, " LEDBROADCASTELEMENT "},
        {211, 4, "Device ID"},
        {212, 4, "Announcement 1 ID"},
        {213, 4, "Announcement 2 ID"},
        {214, 4, "Music On Hold 1 ID"},
        {215, 4, "Music On Hold 2 ID"},
        {216, 4, "Device ID Night"},
        {217, 4, "Overflow Device ID"},
        {225, 3, "Announcement 1 Time"},
        {227, 3, "Announcement 2 Recycle Time"},
        {228, 3, "Announcement 2 Time"},
        {230, 1, "Features"},
        {231, 6, "Features2"},
        {237, 2, "Night Dial Number"},
        {238, 2, "NITEPWD"},
        {241, 1, "Overflow Threshold"},
        {242, 3, "Overflow Time"},
        {243, 3, "Pre-Announcement 1 Time"},
        {244, 3, "Pre-Announcement 2 Time"},
        {245, 1, "Queue Threshold Maximum"},
        {246, 1, "Queue Threshold Minimum"},
        {248, 5, "Time"},
    };
    for (const Row &r : rows) e[r.id] = ElementInfo{r.kind, r.name};
  }
};

// Built at compile time, so there is nothing to initialise at run time.
constexpr ElementTable kElements;

const CodeName kNounNames[] = {{1, " (Station)"},  {2, " (Connection Group Switch Over)"},
                               {6, " (Group Definition)"}, {7, " (Group Assignment)"},
                               {8, " (Time)"},     {10, " (ServerFlagDSS) "},
                               {11, " (LedBroadcast) "}};
const CodeName kVerbNames[] = {{1, " (Change)"}, {2, " (Display)"}, {4, " (Switch)"}, {5, " (Add)"},
                               {6, " (Move)"},   {7, " (Delete)"},  {8, " (Set)"}};
const CodeName kAmhostMsgNames[] = {{1, " (Register)"}, {2, " (RegisterAck)"}, {3, " (RegisterReject)"},
                                    {4, " (Cancel)"},   {5, " (CancelAck)"},   {6, " (Data)"},
                                    {7, " (DataAck)"},  {8, " (DataNak)"}};
const CodeName kMaintMsgNames[] = {{1, " (LoopBackMessage)"}, {2, " (HeartbeatMessage)"},
                                   {3, " (SwitchHeartbeatOn)"}, {4, " (SwitchHeartbeatOff)"}};
const CodeName kMrMsgNames[] = {{1, " (Register)"},
                                {2, " (Register Acknowledge)"},
                                {3, " (Register Reject)"},
                                {4, " (Cancel)"},
                                {5, " (Cancel Acknowledge)"},
                                {6, " (Data)"},
                                {7, " (Data Acknowledge)"},
                                {8, " (Data Negative Acknowledge)"}};
const CodeName kMrElementNames[] = {{MR_CALLING_PARTY_NUMBER, "Calling Party Number"},
                                    {MR_ACCOUNT_CODE, "Account Code"},
                                    {MR_SOURCE_EXTENSION, "Source Extension"},
                                    {MR_SOURCE_TRUNK, "Source Trunk"},
                                    {MR_DESTINATION_EXTENSION, "Destination Extension"},
                                    {MR_DESTINATION_TRUNK, "Destination Trunk"},
                                    {MR_CALL_START_DATE, "Call Start Date"},
                                    {MR_CALL_START_TIME, "Call Start Time"},
                                    {MR_HOURS, "Hours"},
                                    {MR_MINUTES, "Minutes"},
                                    {MR_SECONDS, "Seconds"},
                                    {MR_LISTED_DIRECTORY_NUMBER, "Listed Directory Number"},
                                    {MR_CHARGE_UNITS, "Charge Units"},
                                    {MR_CALL_FORWARDING_TO_CO, "Call Forwarding To Central Office"},
                                    {MR_COMMUNICATION_SERVICE, "Communication Service"},
                                    {MR_CAUSE, "Cause"},
                                    {MR_RECORD_TYPE, "Record Type"}};
const CodeName kMrCauseNames[] = {
    {1, " (Wrong Version)"}, {2, " (MR Type Not Configured)"}, {3, " (Database Can Not Be Activated)"}};
const CodeName kCpStateNames[] = {{0, " (Idle)"},          {1, " (Dialing)"},
                                  {2, " (DialingExternal)"}, {3, " (RingBack)"},
                                  {4, " (Ringing)"},       {5, " (TalkingInternal)"},
                                  {6, " (TalkingOutgoing)"}, {7, " (TalkingIncoming)"},
                                  {8, " (Busy)"},          {9, " (Held)"},
                                  {10, " (LineLockout)"},  {11, " (Overriding)"}};
const CodeName kActionNames[] = {{162, " TRACER_START "}, {163, " TRACER_STOP "}, {164, " QUEUE_STATUS "},
                                 {165, " RESET_QUEUE "},  {192, "START"},         {193, "STOP"},
                                 {194, "STARTACK"},       {195, "STARTNACK"},     {196, "AINFO"}};
const CodeName kApplicationNames[] = {{1, " (TDS)"},     {2, " (AMHOST)"},   {3, " (MR)"},
                                      {6, " (MAINT)"},   {7, " (CPSTREQ)"},  {240, " (Acl)"}};

}  // namespace

uint32_t AmhostElementKind(uint32_t id) { return id < 256 ? kElements.e[id].kind : 0; }

const char *AmhostElementName(uint32_t id) { return id < 256 ? kElements.e[id].name : nullptr; }

// ---------------------------------------------------------------------------
// AMHOST_Element

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

const AMHOST_Element *AMHOST::Find(uint32_t elemId) const {
  for (auto *node = elements.first; node; node = node->next)
    if (node->elmt.id == elemId) return &node->elmt;
  return nullptr;
}

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
  while (n - pos >= 2) {
    // Parsed in place: the texts keep the terminator they were stored with.
    size_t used = elements.Append()->DecodeOctets(p + pos, n - pos);
    if (used == 0) {
      DropLast(elements);
      break;
    }
    pos += used;
  }
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

// ---------------------------------------------------------------------------
// MR
//
// Octets: message type, then elements of identifier, data length n, n octets.

MR_Element::MR_Element() = default;
MR_Element::~MR_Element() = default;

size_t MR_Element::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 2) return 0;
  size_t len = p[1];
  if (2 + len > n) return 0;
  id = p[0];
  SetOcts(value, p + 2, len, true);
  return 2 + len;
}

void MR_Element::EncodeOctets(OctetVec &out) const {
  size_t len = std::min<size_t>(value.octetLen, 255);
  out.insert(out.end(), {static_cast<unsigned char>(id), static_cast<unsigned char>(len)});
  PutOcts(out, value, len);
}

void MR_Element::Print(AsnPrintStream &os) const {
  if (const char *name = privprint::Lookup(kMrElementNames, id))
    os << name;
  else
    os << id;
  if (id == MR_CAUSE && value.octetLen == 1) {
    os << " = ";
    privprint::NumberAndName(os, kMrCauseNames, static_cast<unsigned char>(value.octs[0]));
  } else {
    os << value;
  }
}

MR::MR() = default;
MR::~MR() = default;

const MR_Element *MR::Find(uint32_t elemId) const {
  for (auto *node = elements.first; node; node = node->next)
    if (node->elmt.id == elemId) return &node->elmt;
  return nullptr;
}

MR_Element *MR::Add(uint32_t elemId, const void *p, size_t n) {
  MR_Element *e = elements.Append();
  e->id = elemId;
  e->value.Set(static_cast<const char *>(p), n, true);
  return e;
}

void MR::DecodeOctets(const unsigned char *p, size_t n) {
  if (n == 0) return;
  messageType = p[0];
  size_t pos = 1;
  while (n - pos >= 2) {
    // Parsed in place: the texts keep the terminator they were stored with.
    size_t used = elements.Append()->DecodeOctets(p + pos, n - pos);
    if (used == 0) {
      DropLast(elements);
      break;
    }
    pos += used;
  }
}

void MR::EncodeOctets(OctetVec &out) const {
  out.push_back(static_cast<unsigned char>(messageType));
  for (auto *node = elements.first; node; node = node->next) node->elmt.EncodeOctets(out);
}

void MR::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- MR --");
  privprint::Field(os, first, "MessageType = ");
  privprint::NumberAndName(os, kMrMsgNames, messageType);
  privprint::Field(os, first, "Elements");
  os << elements;
  privprint::Close(os);
}

// ---------------------------------------------------------------------------
// MAINT
//
// Items: 0x22 header (4 octets: mark, length, message type, cross reference),
// 0xB8 date and 0xB9 time (6 octets: mark, length, reserved, three values),
// 0x23 repetition time (4 octets: mark, length, low, high).

MAINT::MAINT() = default;

MAINT::MAINT(uint32_t msgType, uint32_t crossReference, const int32_t *secondInt, const void *octets,
             size_t octetCount)
    : messageType(msgType), crossRef(crossReference) {
  if (secondInt) SetRepetitionTime(*secondInt);
  if (octets) SetLoopData(octets, octetCount);
}

MAINT::MAINT(const MAINT &o) : AsnType() { *this = o; }

MAINT &MAINT::operator=(const MAINT &o) {
  if (this == &o) return *this;
  messageType = o.messageType;
  crossRef = o.crossRef;
  hasDate = o.hasDate;
  std::memcpy(date, o.date, sizeof date);
  hasTime = o.hasTime;
  std::memcpy(time, o.time, sizeof time);
  if (o.repetitionTime)
    SetRepetitionTime(o.repetitionTime->value);
  else {
    delete repetitionTime;
    repetitionTime = nullptr;
  }
  if (o.loopData) {
    if (!loopData) loopData = new AsnOcts;
    *loopData = *o.loopData;
  } else {
    delete loopData;
    loopData = nullptr;
  }
  return *this;
}

MAINT::~MAINT() {
  delete repetitionTime;
  delete loopData;
}

void MAINT::SetRepetitionTime(int32_t v) {
  if (!repetitionTime) repetitionTime = new AsnInt;
  repetitionTime->Set(v);
}

void MAINT::SetLoopData(const void *p, size_t n) {
  if (!loopData) loopData = new AsnOcts;
  loopData->Set(static_cast<const char *>(p), n);
}

void MAINT::DecodeOctets(const unsigned char *p, size_t n) {
  size_t pos = 0;
  while (pos < n) {
    const size_t start = pos;
    if (n - pos >= 4 && p[pos] == 0x22) {
      messageType = p[pos + 2];
      crossRef = p[pos + 3];
      pos += 4;
      if (messageType == MAINT_LOOPBACK) {
        if (pos < n) SetLoopData(p + pos, n - pos);
        return;
      }
    }
    if (n - pos >= 6 && p[pos] == 0xB8) {
      hasDate = true;
      std::memcpy(date, p + pos + 3, 3);
      pos += 6;
    }
    if (n - pos >= 6 && p[pos] == 0xB9) {
      hasTime = true;
      std::memcpy(time, p + pos + 3, 3);
      pos += 6;
    }
    if (n - pos >= 4 && p[pos] == 0x23) {
      SetRepetitionTime(p[pos + 2] | (p[pos + 3] << 8));
      pos += 4;
    }
    if (pos == start) break;
  }
}

void MAINT::EncodeOctets(OctetVec &out) const {
  out.insert(out.end(), {0x22, 0x04, static_cast<unsigned char>(messageType), static_cast<unsigned char>(crossRef)});
  if (messageType == MAINT_LOOPBACK) {
    if (loopData) PutOcts(out, *loopData, loopData->octetLen);
    return;
  }
  if (hasDate) out.insert(out.end(), {0xB8, 0x06, 0x00, date[0], date[1], date[2]});
  if (hasTime) out.insert(out.end(), {0xB9, 0x06, 0x00, time[0], time[1], time[2]});
  if (repetitionTime)
    out.insert(out.end(), {0x23, 0x04, static_cast<unsigned char>(repetitionTime->value),
                           static_cast<unsigned char>(repetitionTime->value >> 8)});
}

void MAINT::Print(AsnPrintStream &os) const {
  char buf[16];
  bool first = true;
  privprint::Open(os, "-- MAINT --");
  privprint::Field(os, first, "MessageType = ");
  privprint::NumberAndName(os, kMaintMsgNames, messageType);
  privprint::Field(os, first, "CrossRef = ");
  os << crossRef;
  if (hasDate) {
    std::snprintf(buf, sizeof buf, "%02d.%02d.%02d", date[0], date[1], date[2]);
    privprint::Field(os, first, "Date = ");
    os << buf;
  }
  if (hasTime) {
    std::snprintf(buf, sizeof buf, "%02d.%02d.%02d", time[0], time[1], time[2]);
    privprint::Field(os, first, "Time = ");
    os << buf;
  }
  if (repetitionTime) {
    privprint::Field(os, first, "RepetitionTime");
    os << *repetitionTime;
  }
  if (loopData) {
    privprint::Field(os, first, "LoopData");
    os << *loopData;
  }
  privprint::Close(os);
}

// ---------------------------------------------------------------------------
// CPSTREQ
//
// Octets: device length d, d octets of device; a report adds the feature
// octet (CpstreqFeature bits) and the state octet.

CPSTREQ::CPSTREQ() = default;
CPSTREQ::~CPSTREQ() = default;

void CPSTREQ::DecodeOctets(const unsigned char *p, size_t n) {
  if (n == 0) return;
  size_t d = p[0];
  if (1 + d > n) return;
  SetOcts(device, p + 1, d, true);
  if (n - 1 - d >= 2) {
    hasState = true;
    actFeat = p[1 + d];
    cpState = p[2 + d];
  }
}

void CPSTREQ::EncodeOctets(OctetVec &out) const {
  size_t d = std::min<size_t>(device.octetLen, 255);
  out.push_back(static_cast<unsigned char>(d));
  PutOcts(out, device, d);
  if (hasState) out.insert(out.end(), {static_cast<unsigned char>(actFeat), static_cast<unsigned char>(cpState)});
}

void CPSTREQ::Print(AsnPrintStream &os) const {
  static const CodeName kFeatures[] = {{CPSTREQ_CALL_FORWARDING, "Call Forwarding Active"},
                                       {CPSTREQ_DO_NOT_DISTURB, "Do Not Disturb Active"},
                                       {CPSTREQ_STOP_HUNT, "Stop Hunt Active"},
                                       {CPSTREQ_UNAVAILABLE, "Unavailable Active"}};
  bool first = true;
  privprint::Open(os, "-- CPSTREQ --");
  privprint::Field(os, first, "Device");
  os << device;
  if (hasState) {
    privprint::Field(os, first, "ActFeat = ");
    os << "{ ";
    bool firstBit = true;
    for (const CodeName &f : kFeatures) {
      if (!(actFeat & f.code)) continue;
      if (!firstBit) os << ", ";
      firstBit = false;
      os << f.name;
    }
    os << " }";
    privprint::Field(os, first, "CPState = ");
    os << cpState;
    const char *name = privprint::Lookup(kCpStateNames, cpState);
    os << (name ? name : " (Unknown)");
  }
  privprint::Close(os);
}

// ---------------------------------------------------------------------------
// SysTRACE

SysTRACE::SysTRACE() = default;
SysTRACE::~SysTRACE() = default;

void SysTRACE::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 4) return;
  application = p[2];
  action = p[3];
  SetOcts(data, p + 4, n - 4);
}

void SysTRACE::EncodeOctets(OctetVec &out) const { PutOcts(out, data, data.octetLen); }

void SysTRACE::Print(AsnPrintStream &os) const {
  const bool queue = action == ACL_ACT_QUEUE_STATUS || action == ACL_ACT_RESET_QUEUE;
  privprint::Open(os, queue ? " -- QUEUE -- " : " -- TRACER -- ");
  os.Newline();
  os.Indent();
  switch (action) {
    case ACL_ACT_TRACER_START: os << " Tracer Start"; break;
    case ACL_ACT_TRACER_STOP: os << " Tracer Stop "; break;
    case ACL_ACT_QUEUE_STATUS: os << "  Queue Status Get  "; break;
    case ACL_ACT_RESET_QUEUE: os << " Queue Status ReSet  "; break;
    default: os << action; break;
  }
  if (data.octetLen) {
    os << ",";
    os.Newline();
    os.Indent();
    os << "Data" << data;
  }
  privprint::Close(os);
}

// ---------------------------------------------------------------------------
// ACL2

ACL2::ACL2() = default;
ACL2::ACL2(uint32_t app, uint32_t act) : application(app), action(act) {}
ACL2::ACL2(const ACL2 &o) : AsnType() { *this = o; }

namespace {
template <class T>
void CopyOwned(T *&dst, const T *src) {
  if (src) {
    if (!dst) dst = new T;
    *dst = *src;
  } else {
    delete dst;
    dst = nullptr;
  }
}
template <class T>
T *ReplaceOwned(T *&dst, T *src) {
  if (dst != src) delete dst;
  dst = src;
  return src;
}
}  // namespace

ACL2 &ACL2::operator=(const ACL2 &o) {
  if (this == &o) return *this;
  application = o.application;
  action = o.action;
  CopyOwned(amhost, o.amhost);
  CopyOwned(cpstreq, o.cpstreq);
  CopyOwned(mr, o.mr);
  CopyOwned(maint, o.maint);
  CopyOwned(sysTrace, o.sysTrace);
  return *this;
}

ACL2::~ACL2() { ClearObjects(); }

AMHOST *ACL2::SetAmhost(AMHOST *a) { return ReplaceOwned(amhost, a); }
MAINT *ACL2::SetMaint(MAINT *m) { return ReplaceOwned(maint, m); }
MR *ACL2::SetMr(MR *m) { return ReplaceOwned(mr, m); }
CPSTREQ *ACL2::SetCpstreq(CPSTREQ *c) { return ReplaceOwned(cpstreq, c); }
SysTRACE *ACL2::SetSysTrace(SysTRACE *s) { return ReplaceOwned(sysTrace, s); }

void ACL2::ClearObjects() {
  SetAmhost(nullptr);
  SetMaint(nullptr);
  SetMr(nullptr);
  SetCpstreq(nullptr);
  SetSysTrace(nullptr);
}

bool ACL2::DecodeOctets(const unsigned char *p, size_t n) {
  if (n < 4 || p[0] != 0x1A) return false;
  ClearObjects();
  application = p[2];
  action = p[3];
  switch (application) {
    case ACL_APP_AMHOST: SetAmhost(new AMHOST)->DecodeOctets(p + 4, n - 4); break;
    case ACL_APP_MR: SetMr(new MR)->DecodeOctets(p + 4, n - 4); break;
    case ACL_APP_MAINT: SetMaint(new MAINT)->DecodeOctets(p + 4, n - 4); break;
    case ACL_APP_CPSTREQ: SetCpstreq(new CPSTREQ)->DecodeOctets(p + 4, n - 4); break;
    case ACL_APP_ACL: SetSysTrace(new SysTRACE)->DecodeOctets(p, n); break;
    default: break;
  }
  return true;
}

void ACL2::EncodeOctets(OctetVec &out) const {
  out.insert(out.end(), {0x1A, 0x04, static_cast<unsigned char>(application), static_cast<unsigned char>(action)});
  switch (application) {
    case ACL_APP_AMHOST: if (amhost) amhost->EncodeOctets(out); break;
    case ACL_APP_MR: if (mr) mr->EncodeOctets(out); break;
    case ACL_APP_MAINT: if (maint) maint->EncodeOctets(out); break;
    case ACL_APP_CPSTREQ: if (cpstreq) cpstreq->EncodeOctets(out); break;
    case ACL_APP_ACL: if (sysTrace) sysTrace->EncodeOctets(out); break;
    default: break;
  }
}

void ACL2::Print(AsnPrintStream &os) const {
  bool first = true;
  privprint::Open(os, "-- ACL --");
  privprint::Field(os, first, "Action = ");
  if (const char *name = privprint::Lookup(kActionNames, action))
    os << name;
  else
    os << action;
  privprint::Field(os, first, "Application = ");
  privprint::NumberAndName(os, kApplicationNames, application);
  const AsnType *obj = nullptr;
  switch (application) {
    case ACL_APP_AMHOST: obj = amhost; break;
    case ACL_APP_MR: obj = mr; break;
    case ACL_APP_MAINT: obj = maint; break;
    case ACL_APP_CPSTREQ: obj = cpstreq; break;
    case ACL_APP_ACL: obj = sysTrace; break;
    default: break;
  }
  if (obj) os << *obj;
  privprint::Close(os);
}

}  // namespace CSTA3V6
