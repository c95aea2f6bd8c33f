// The carrier of the PBX's private data inside CSTA messages:
//   PrivateDataChoiceSeq ::= SEQUENCE { manufacturer OBJECT IDENTIFIER,
//                                       pnPrivateData OCTET STRING }
// plus the content decoded from pnPrivateData, kept beside the two components:
// form 0 raw octets only, form 1 an ACL2 (ACL form), form 2 an office list.
// Only manufacturer and pnPrivateData are encoded, so a decoded message
// encodes back to the very octets it came from.
#ifndef K3_CSTA3_PRIVATE_PRIVATE_DATA_H
#define K3_CSTA3_PRIVATE_PRIVATE_DATA_H

#include <cstddef>
#include <cstdint>

#include "asn/asn.h"
#include "csta3/private/acl2.h"
#include "csta3/private/office.h"

namespace CSTA3V6 {

// Decode error codes of PrivateDataChoiceSeq (kept apart from the generated
// model's codes, which run from -100 downwards).
enum PrivateDataError : int {
  PRIV_ERR_MISSING_MANUFACTURER = -2001,
  PRIV_ERR_MISSING_PNPRIVATEDATA = -2002,
  PRIV_ERR_LENGTH_DISCREPANCY = -2003,
  PRIV_ERR_WRONG_TAG = -2004,
};

// The PBX's private-data object identifier {1 3 12 2 1107 15}, built once.
const AsnOid &PrivateDataManufacturerOid();

class PrivateDataChoiceSeq : public AsnType {
 public:
  enum Form : uint32_t { FORM_RAW = 0, FORM_ACL = 1, FORM_OFFICE = 2 };

  AsnOid manufacturer;
  AsnOcts pnPrivateData;
  uint32_t form = FORM_RAW;
  ACL2 *acl = nullptr;                  // form 1
  OfficePrivateData *office = nullptr;  // form 2

  PrivateDataChoiceSeq();
  PrivateDataChoiceSeq(const PrivateDataChoiceSeq &o);
  PrivateDataChoiceSeq &operator=(const PrivateDataChoiceSeq &o);
  ~PrivateDataChoiceSeq() override;

  AsnLen BEnc(AsnBuf &b) const;
  AsnLen BEncContent(AsnBuf &b) const;
  void BDec(AsnBuf &b, AsnLen &bytesDecoded);
  void BDecContent(AsnBuf &b, AsnTag tagId, AsnLen elmtLen, AsnLen &bytesDecoded);
  void Print(AsnPrintStream &os) const override;

  // The "data" as a choice: alternative 0 raw octets, 1 ACL2, 2 office list.
  uint32_t DataChoice() const { return form; }
  const AsnOcts &RawOctets() const { return pnPrivateData; }
  ACL2 *Acl() const { return form == FORM_ACL ? acl : nullptr; }
  OfficePrivateData *Office() const { return form == FORM_OFFICE ? office : nullptr; }

  // True when manufacturer is the PBX's identifier.
  bool IsPbxData() const;
  // Sets manufacturer to the PBX's identifier.
  void SetPbxManufacturer();

  // Builders. Each drops the typed content it replaces.
  ACL2 *SetAcl(ACL2 *a);                  // takes ownership; form 1
  ACL2 *NewAcl(uint32_t application, uint32_t action);
  OfficePrivateData *SetOffice(OfficePrivateData *o);  // takes ownership; form 2
  OfficePrivateData *NewOffice();
  void SetRaw(const void *p, size_t n);   // form 0

  // Decodes pnPrivateData into the typed objects (form 1, 2 or 0). Never throws.
  void DecodeData();
  // The octets the typed objects turn into (the raw octets in form 0).
  void EncodeData(OctetVec &out) const;
  // Writes the typed objects into pnPrivateData. Encoding sends pnPrivateData
  // as it is, so whoever builds typed content calls this once it is filled.
  void SyncOctets();
};

}  // namespace CSTA3V6

#endif
