// The PBX's ACL form of private data: the ACL2 header and the application
// objects it carries (AMHOST, MR, MAINT, CPSTREQ, SysTRACE). Each object's
// code is a file of its own (amhost.cpp, mr.cpp, ...); K3_ACL_OBJECTS below
// ties each one to its application code.
//
// These objects live in the compact octet format of the PBX, not in BER. Every
// parser here takes a pointer and a count, never reads outside them and never
// throws: short or unknown input ends the parse and keeps what was parsed.
// Every writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_ACL2_H
#define K3_CSTA3_PRIVATE_ACL2_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "asn/asn.h"

namespace CSTA3V6 {

using OctetVec = std::vector<unsigned char>;

// ---------------------------------------------------------------------------
// AMHOST elements

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

// Kind of an element identifier (0 for every identifier not in the table;
// the table is in amhost_kinds.cpp).
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

// ---------------------------------------------------------------------------
// MR (message recording)

class MR_Element : public AsnType {
 public:
  uint32_t id = 0;
  AsnOcts value;

  MR_Element();
  MR_Element(const MR_Element &) = default;
  MR_Element &operator=(const MR_Element &) = default;
  ~MR_Element() override;

  size_t DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

// Element identifiers of MR_Element.
enum MrElementId : uint32_t {
  MR_CALLING_PARTY_NUMBER = 1,
  MR_ACCOUNT_CODE,
  MR_SOURCE_EXTENSION,
  MR_SOURCE_TRUNK,
  MR_DESTINATION_EXTENSION,
  MR_DESTINATION_TRUNK,
  MR_CALL_START_DATE,
  MR_CALL_START_TIME,
  MR_HOURS,
  MR_MINUTES,
  MR_SECONDS,
  MR_LISTED_DIRECTORY_NUMBER,
  MR_CHARGE_UNITS,
  MR_CALL_FORWARDING_TO_CO,
  MR_COMMUNICATION_SERVICE,
  MR_CAUSE,
  MR_RECORD_TYPE,
};

class MR : public AsnType {
 public:
  uint32_t messageType = 0;
  AsnList<MR_Element> elements;

  MR();
  MR(const MR &) = default;
  MR &operator=(const MR &) = default;
  ~MR() override;

  const MR_Element *Find(uint32_t id) const;
  MR_Element *Add(uint32_t id, const void *p, size_t n);

  void DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

// ---------------------------------------------------------------------------
// MAINT (maintenance messages)

enum MaintMessageType : uint32_t {
  MAINT_LOOPBACK = 1,
  MAINT_HEARTBEAT = 2,
  MAINT_SWITCH_HEARTBEAT_ON = 3,
  MAINT_SWITCH_HEARTBEAT_OFF = 4,
};

class MAINT : public AsnType {
 public:
  uint32_t messageType = MAINT_HEARTBEAT;  // the "alternative" for the callers
  uint32_t crossRef = 0;                   // the "first integer"
  bool hasDate = false;
  unsigned char date[3] = {0, 0, 0};       // day, month, year
  bool hasTime = false;
  unsigned char time[3] = {0, 0, 0};       // hour, minute, second
  AsnInt *repetitionTime = nullptr;        // the optional "second integer"
  AsnOcts *loopData = nullptr;             // the optional octets

  MAINT();
  // Builder: message type, cross reference, optional second integer, optional octets.
  MAINT(uint32_t msgType, uint32_t crossReference, const int32_t *secondInt = nullptr,
        const void *octets = nullptr, size_t octetCount = 0);
  MAINT(const MAINT &o);
  MAINT &operator=(const MAINT &o);
  ~MAINT() override;

  uint32_t Alternative() const { return messageType; }
  uint32_t CrossRef() const { return crossRef; }
  void SetRepetitionTime(int32_t v);
  void SetLoopData(const void *p, size_t n);

  void DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

// ---------------------------------------------------------------------------
// CPSTREQ (device state request and report)

// Bits of CPSTREQ::actFeat.
enum CpstreqFeature : uint32_t {
  CPSTREQ_CALL_FORWARDING = 0x01,
  CPSTREQ_DO_NOT_DISTURB = 0x02,
  CPSTREQ_STOP_HUNT = 0x04,
  CPSTREQ_UNAVAILABLE = 0x08,
};

class CPSTREQ : public AsnType {
 public:
  AsnOcts device;
  bool hasState = false;   // a report carries the two values below, a request not
  uint32_t actFeat = 0;    // CpstreqFeature bits
  uint32_t cpState = 0;    // 0 Idle .. 11 Overriding; anything else Unknown

  CPSTREQ();
  CPSTREQ(const CPSTREQ &) = default;
  CPSTREQ &operator=(const CPSTREQ &) = default;
  ~CPSTREQ() override;

  void DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

// ---------------------------------------------------------------------------
// SysTRACE (tracer and queue control)

class SysTRACE : public AsnType {
 public:
  uint32_t application = 240;
  uint32_t action = 162;   // 162/163 tracer start/stop, 164/165 queue status get/reset
  AsnOcts data;            // octets after the four header octets

  SysTRACE();
  SysTRACE(const SysTRACE &) = default;
  SysTRACE &operator=(const SysTRACE &) = default;
  ~SysTRACE() override;

  // Takes the whole ACL octet string, header included.
  void DecodeOctets(const unsigned char *p, size_t n);
  // Writes only what follows the header (the ACL2 writes the header).
  void EncodeOctets(OctetVec &out) const;
  void Print(AsnPrintStream &os) const override;
};

// ---------------------------------------------------------------------------
// ACL2 header

enum AclApplication : uint32_t {
  ACL_APP_TDS = 1,
  ACL_APP_AMHOST = 2,
  ACL_APP_MR = 3,
  ACL_APP_MAINT = 6,
  ACL_APP_CPSTREQ = 7,
  ACL_APP_ACL = 240,
};

enum AclAction : uint32_t {
  ACL_ACT_TRACER_START = 162,
  ACL_ACT_TRACER_STOP = 163,
  ACL_ACT_QUEUE_STATUS = 164,
  ACL_ACT_RESET_QUEUE = 165,
  ACL_ACT_START = 192,
  ACL_ACT_STOP = 193,
  ACL_ACT_STARTACK = 194,
  ACL_ACT_STARTNACK = 195,
  ACL_ACT_AINFO = 196,
};

// Which octets an application object parses: the body after the four-octet
// header, or the whole ACL string (header included).
enum class AclOctets { Body, Whole };

// The application objects an ACL2 can carry, one row each:
//   X(application code, print name of the code, class, member, setter, octets)
// ACL2's members and setters, its decode, encode, print, copy and clear all come
// from these rows: a new application object is its own class and one row here.
// (ACL_APP_TDS has a print name but no object; acl2.cpp names it.)
#define K3_ACL_OBJECTS(X)                                                 \
  X(ACL_APP_AMHOST, " (AMHOST)", AMHOST, amhost, SetAmhost, Body)         \
  X(ACL_APP_MR, " (MR)", MR, mr, SetMr, Body)                             \
  X(ACL_APP_MAINT, " (MAINT)", MAINT, maint, SetMaint, Body)              \
  X(ACL_APP_CPSTREQ, " (CPSTREQ)", CPSTREQ, cpstreq, SetCpstreq, Body)    \
  X(ACL_APP_ACL, " (Acl)", SysTRACE, sysTrace, SetSysTrace, Whole)

class ACL2 : public AsnType {
 public:
  uint32_t application = 255;  // the "selector"
  uint32_t action = 196;       // the "operation code"
  // One owned object per row; only the one of the current application is
  // decoded, written and printed.
#define K3_X(code, name, T, member, setter, octets) T *member = nullptr;
  K3_ACL_OBJECTS(K3_X)
#undef K3_X

  ACL2();
  ACL2(uint32_t app, uint32_t act);
  ACL2(const ACL2 &o);
  ACL2 &operator=(const ACL2 &o);
  ~ACL2() override;

  uint32_t Selector() const { return application; }
  uint32_t OperationCode() const { return action; }

  // Builders: replace the object of that kind (taking ownership) and return it.
#define K3_X(code, name, T, member, setter, octets) T *setter(T *obj);
  K3_ACL_OBJECTS(K3_X)
#undef K3_X
  void ClearObjects();

  // Parses a whole ACL-form octet string (first octet 0x1A, at least four).
  // Returns false (and leaves the object untouched) when it is not one.
  bool DecodeOctets(const unsigned char *p, size_t n);
  // Writes the four-octet header and the object selected by the application.
  void EncodeOctets(OctetVec &out) const;

  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
