// The PBX's office form of private data: a run of elements, each starting
// with an identifier octet, decoded into a list of OfficePrivateDataElement.
//
// As with the ACL form, the parser never reads outside the octets it is given
// and never throws; an element it cannot take ends the list.
#ifndef K3_CSTA3_PRIVATE_OFFICE_H
#define K3_CSTA3_PRIVATE_OFFICE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "asn/asn.h"
#include "csta3/private/acl2.h"

namespace CSTA3V6 {

// Identifier 9.
class PrivHCSD : public AsnType {
 public:
  AsnInt value;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 175.
class PrivTracerAction : public AsnType {
 public:
  AsnInt value{162};
  void Print(AsnPrintStream &os) const override;
};

// Identifier 176: 176, total length L (at least 24), tracer action, then L-3 status octets.
class PrivTracerStatusInfo : public AsnType {
 public:
  AsnInt action{162};
  AsnOcts status;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 181.
class CPrivAutoAnswer : public AsnType {
 public:
  AsnBool value;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 201: eight bits; bit i is the bit of value 2^i of octet 2.
class ExtendedRequest : public AsnType {
 public:
  AsnBits bits{8};
  void Print(AsnPrintStream &os) const override;
};

// Identifier 224.
class PrivTDS : public AsnType {
 public:
  AsnInt tdsCse;      // first number
  AsnInt inputCtrl;   // second number
  AsnInt applSubId;   // the integer
  void Print(AsnPrintStream &os) const override;
};

// Identifier 225.
class CPrivRoutingOptions : public AsnType {
 public:
  AsnInt first;
  AsnInt second;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 228: 228, total length L, then four length-prefixed fields: first time
// part, second time part, first text, second text.
class PrivCdrExtensions : public AsnType {
 public:
  AsnOcts firstTime;
  AsnOcts secondTime;
  AsnOcts firstText;
  AsnOcts secondText;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 229: 229, n, n octets of the group's device.
class CPrivInvolvedGroup : public AsnType {
 public:
  AsnOcts group;
  void Print(AsnPrintStream &os) const override;
};

class CAclGid : public AsnType {
 public:
  AsnOcts value;
  void Print(AsnPrintStream &os) const override;
};

class CAclTid : public AsnType {
 public:
  AsnOcts value;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 231: 231, total length L, g, g octets of GID, then L-3-g octets of
// TID. The element takes at least five octets: a shorter GID and TID go out
// with the TID padded with zeros.
class CPrivCallLinkage : public AsnType {
 public:
  CAclGid gid;
  CAclTid tid;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 232: eight bits; bit i is the bit of value 2^i of octet 2.
class PrivDeviceIndication : public AsnType {
 public:
  AsnBits bits{8};
  void Print(AsnPrintStream &os) const override;
};

// Identifier 233: octets 2-3 call identifier, octet 4 state, octet 5 device code.
class PrivSDConnectionID : public AsnType {
 public:
  AsnOcts callID;
  AsnEnum state;
  AsnInt device;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 235.
class PrivButtonPressEventInfo : public AsnType {
 public:
  AsnBool pressed;
  void Print(AsnPrintStream &os) const override;
};

// Identifier 236.
class PrivButtonInformation : public AsnType {
 public:
  AsnOcts info;   // octets 2 to 4
  void Print(AsnPrintStream &os) const override;
};

// Identifier 237.
class PrivButtonInformationResult : public AsnType {
 public:
  AsnInt value;   // octet 2
  AsnOcts octet;  // octet 3
  void Print(AsnPrintStream &os) const override;
};

// Identifier 239: 239, total length L, c, c octets of call identifier, then L-3-c
// octets of device. The element takes at least four octets: an empty call
// identifier and device go out as one zero octet of device.
class PrivPartnerConnection : public AsnType {
 public:
  AsnOcts callID;
  AsnOcts deviceID;
  void Print(AsnPrintStream &os) const override;
};

// The alternatives: choiceId, class, member, print name, identifier octet.
#define K3_OFFICE_ALTERNATIVES(X)                                              \
  X(0, AsnOcts, agentID, "AgentID", 0)                                         \
  X(1, PrivHCSD, hcsd, "HCSD", 9)                                              \
  X(2, AsnInt, callQLen, "CallQLen", 238)                                      \
  X(3, PrivTDS, tds, "TDS", 224)                                               \
  X(4, PrivPartnerConnection, partnerConnection, "PartnerConnection", 239)     \
  X(5, AsnOcts, deviceID, "DeviceID", 211)                                     \
  X(6, PrivDeviceIndication, deviceIndication, "DeviceIndication", 232)        \
  X(7, AsnOcts, newMasterDeviceID, "New Master DeviceID", 220)                 \
  X(8, PrivSDConnectionID, sdConnectionID, "SDConnectionID", 233)              \
  X(9, AsnOcts, partnerDeviceID, "PartnerDeviceID", 221)                       \
  X(10, PrivTracerAction, tracerAction, "Tracer Action", 175)                  \
  X(11, PrivTracerStatusInfo, tracerStatusInfo, "TracerStatusInfo", 176)       \
  X(12, PrivButtonInformation, buttonInformation, "ButtonInformation", 236)    \
  X(13, PrivButtonInformationResult, buttonInformationResult,                  \
    "ButtonInformationResult", 237)                                            \
  X(14, PrivButtonPressEventInfo, buttonPressEventInfo, "ButtonPressEventInfo", 235) \
  X(15, CPrivCallLinkage, callLinkage, "CallLinkage", 231)                     \
  X(18, AsnOcts, trunkInterface, " TrunkInterface :", 230)                     \
  X(19, CPrivInvolvedGroup, involvedGroup, "InvolvedGroup", 229)               \
  X(20, PrivCdrExtensions, cdrExtensions, "CdrExtensions", 228)                \
  X(21, ExtendedRequest, extendedRequest, "ExtendedRequest", 201)              \
  X(22, AsnOcts, parkPosition, " ParkPosition :", 5)                           \
  X(23, CPrivRoutingOptions, routingOptions, "RoutingOptions", 225)            \
  X(24, CPrivAutoAnswer, autoAnswer, "AutoAnswer", 181)

class OfficePrivateDataElement : public AsnType {
 public:
  enum ChoiceIdEnum : uint32_t {
#define K3_X(id, T, m, name, ident) m##Cid = id,
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
  };
  // An empty element has choiceId 0 and no alternative (value null).
  uint32_t choiceId = 0;
  union {
#define K3_X(id, T, m, name, ident) T *m;
    K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X
    AsnType *value;
  };

  OfficePrivateDataElement();
  OfficePrivateDataElement(const OfficePrivateDataElement &o);
  OfficePrivateDataElement &operator=(const OfficePrivateDataElement &o);
  ~OfficePrivateDataElement() override;

  bool Present() const { return value != nullptr; }
  void Clear();

  // Builders: drop the current alternative, create the given one and return it.
#define K3_X(id, T, m, name, ident) T *Set_##m();
  K3_OFFICE_ALTERNATIVES(K3_X)
#undef K3_X

  // Parses one element at p (n octets available); returns the octets consumed,
  // 0 for an unknown identifier or an element that does not fit.
  size_t DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;

  // The identifier octet that belongs to a choiceId (0xFFFFFFFF when none does).
  static uint32_t IdentifierOf(uint32_t choiceId);
  // The print name of a choiceId (nullptr when none).
  static const char *NameOf(uint32_t choiceId);

  void Print(AsnPrintStream &os) const override;
};

class OfficePrivateData : public AsnList<OfficePrivateDataElement> {
 public:
  OfficePrivateData();
  OfficePrivateData(const OfficePrivateData &o);
  OfficePrivateData &operator=(const OfficePrivateData &o);
  ~OfficePrivateData() override;

  // First element holding this choiceId, or nullptr.
  const OfficePrivateDataElement *Find(uint32_t choiceId) const;
  OfficePrivateDataElement *Find(uint32_t choiceId);

  // Parses elements until one consumes nothing or the octets end; returns the
  // number of elements appended.
  size_t DecodeOctets(const unsigned char *p, size_t n);
  void EncodeOctets(OctetVec &out) const;

  void Print(AsnPrintStream &os) const override;
};

}  // namespace CSTA3V6

#endif
