// The MR (message recording) application object of the ACL form: a message
// type and a list of identifier, length, data elements.
//
// These objects live in the compact octet format of the PBX, not in BER: the
// parser takes a pointer and a count, never reads outside them and never
// throws; the writer appends to a byte vector in natural order.
#ifndef K3_CSTA3_PRIVATE_MR_H
#define K3_CSTA3_PRIVATE_MR_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/octet_vec.h"

namespace CSTA3V6 {

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

}  // namespace CSTA3V6

#endif
