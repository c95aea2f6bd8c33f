// PrivateDataChoiceSeq: the BER carrier of the PBX's private data and the
// typed content decoded from its octets.
#include "csta3/private/private_data.h"

namespace CSTA3V6 {

namespace {

// {1 3 12 2 1107 15}, built from its content octets so that it does not go
// through the shared scratch area of the arc constructor.
const char kManufacturerOctets[] = {0x2B, 0x0C, 0x02, static_cast<char>(0x88), 0x53, 0x0F};

// True when the sequence's content is used up (definite) or an end-of-contents
// octet follows (indefinite).
bool AtEnd(AsnBuf &b, AsnLen elmtLen, AsnLen seqBytes) {
  if (elmtLen == INDEFINITE_LEN) return b.PeekByte() == 0;
  return seqBytes >= elmtLen;
}

}  // namespace

const AsnOid &PrivateDataManufacturerOid() {
  static const AsnOid oid(kManufacturerOctets, sizeof kManufacturerOctets);
  return oid;
}

PrivateDataChoiceSeq::PrivateDataChoiceSeq() = default;

PrivateDataChoiceSeq::PrivateDataChoiceSeq(const PrivateDataChoiceSeq &o) : AsnType() { *this = o; }

PrivateDataChoiceSeq &PrivateDataChoiceSeq::operator=(const PrivateDataChoiceSeq &o) {
  if (this == &o) return *this;
  manufacturer = o.manufacturer;
  pnPrivateData = o.pnPrivateData;
  form = o.form;
  if (o.acl) {
    if (!acl) acl = new ACL2;
    *acl = *o.acl;
  } else {
    delete acl;
    acl = nullptr;
  }
  if (o.office) {
    if (!office) office = new OfficePrivateData;
    *office = *o.office;
  } else {
    delete office;
    office = nullptr;
  }
  return *this;
}

PrivateDataChoiceSeq::~PrivateDataChoiceSeq() {
  delete acl;
  delete office;
}

bool PrivateDataChoiceSeq::IsPbxData() const { return manufacturer == PrivateDataManufacturerOid(); }

void PrivateDataChoiceSeq::SetPbxManufacturer() { manufacturer = PrivateDataManufacturerOid(); }

ACL2 *PrivateDataChoiceSeq::SetAcl(ACL2 *a) {
  delete office;
  office = nullptr;
  if (acl != a) delete acl;
  acl = a;
  form = a ? FORM_ACL : FORM_RAW;
  return a;
}

ACL2 *PrivateDataChoiceSeq::NewAcl(uint32_t application, uint32_t action) {
  return SetAcl(new ACL2(application, action));
}

OfficePrivateData *PrivateDataChoiceSeq::SetOffice(OfficePrivateData *o) {
  delete acl;
  acl = nullptr;
  if (office != o) delete office;
  office = o;
  form = o ? FORM_OFFICE : FORM_RAW;
  return o;
}

OfficePrivateData *PrivateDataChoiceSeq::NewOffice() { return SetOffice(new OfficePrivateData); }

void PrivateDataChoiceSeq::SetRaw(const void *p, size_t n) {
  SetAcl(nullptr);
  pnPrivateData.Set(static_cast<const char *>(p), n);
  form = FORM_RAW;
}

void PrivateDataChoiceSeq::DecodeData() {
  delete acl;
  acl = nullptr;
  delete office;
  office = nullptr;
  form = FORM_RAW;

  const unsigned char *p = reinterpret_cast<const unsigned char *>(pnPrivateData.octs);
  const size_t n = p ? size_t(pnPrivateData.octetLen) : 0;
  if (n >= 4 && p[0] == 0x1A) {
    acl = new ACL2;
    acl->DecodeOctets(p, n);
    form = FORM_ACL;
    return;
  }
  office = new OfficePrivateData;
  if (office->DecodeOctets(p, n) > 0) {
    form = FORM_OFFICE;
  } else {
    delete office;
    office = nullptr;
  }
}

void PrivateDataChoiceSeq::EncodeData(OctetVec &out) const {
  out.clear();
  if (form == FORM_ACL && acl) {
    acl->EncodeOctets(out);
  } else if (form == FORM_OFFICE && office) {
    office->EncodeOctets(out);
  } else if (pnPrivateData.octetLen) {
    const unsigned char *p = reinterpret_cast<const unsigned char *>(pnPrivateData.octs);
    out.assign(p, p + pnPrivateData.octetLen);
  }
}

void PrivateDataChoiceSeq::SyncOctets() {
  OctetVec v;
  EncodeData(v);
  pnPrivateData.Set(reinterpret_cast<const char *>(v.data()), v.size());
}

// The octets travel exactly as held: the typed content is only a reading of
// them (or, for a message being built, was written into them by SyncOctets).
AsnLen PrivateDataChoiceSeq::BEncContent(AsnBuf &b) const {
  AsnLen total = pnPrivateData.BEncContent(b);
  total += BEncDefLen(b, total);
  b.PutByteRvs(0x04);
  total += 1;

  AsnLen l = manufacturer.BEncContent(b);
  l += BEncDefLen(b, l);
  b.PutByteRvs(0x06);
  total += l + 1;
  return total;
}

AsnLen PrivateDataChoiceSeq::BEnc(AsnBuf &b) const {
  AsnLen l = BEncContent(b);
  l += BEncDefLen(b, l);
  b.PutByteRvs(0x30);
  return l + 1;
}

void PrivateDataChoiceSeq::BDec(AsnBuf &b, AsnLen &bytesDecoded) {
  AsnTag tag = BDecTag(b, bytesDecoded);
  if (tag != kTagSequence) AsnFail(b, "PrivateDataChoiceSeq::BDec: ERROR - wrong tag", PRIV_ERR_WRONG_TAG);
  AsnLen len = BDecLen(b, bytesDecoded);
  BDecContent(b, tag, len, bytesDecoded);
}

void PrivateDataChoiceSeq::BDecContent(AsnBuf &b, AsnTag /*tagId*/, AsnLen elmtLen, AsnLen &bytesDecoded) {
  AsnLen seqBytes = 0;
  AsnTag tag = 0;

  if (AtEnd(b, elmtLen, seqBytes) || (tag = BDecTag(b, seqBytes)) != kTagOid)
    AsnFail(b, "ERROR - SEQUENCE is missing non-optional elmt 'manufacturer'.", PRIV_ERR_MISSING_MANUFACTURER);
  AsnLen len = BDecLen(b, seqBytes);
  manufacturer.BDecContent(b, tag, len, seqBytes);

  if (AtEnd(b, elmtLen, seqBytes) || ((tag = BDecTag(b, seqBytes)) != kTagOctetString && tag != kTagOctetStringCons))
    AsnFail(b, "ERROR - SEQUENCE is missing non-optional elmt 'pnPrivateData'.", PRIV_ERR_MISSING_PNPRIVATEDATA);
  len = BDecLen(b, seqBytes);
  pnPrivateData.BDecContent(b, tag, len, seqBytes);
  DecodeData();

  if (elmtLen == INDEFINITE_LEN)
    BDecEoc(b, seqBytes);
  else if (seqBytes != elmtLen)
    AsnFail(b, "ERROR - Length discrepancy on sequence.", PRIV_ERR_LENGTH_DISCREPANCY);
  bytesDecoded += seqBytes;
}

void PrivateDataChoiceSeq::Print(AsnPrintStream &os) const {
  if (!os.atLineStart) {
    os.Newline();
    os.Indent();
  }
  os << "{ " << (os.tagged ? "<REM>-- SEQUENCE -- </REM>" : "-- SEQUENCE -- ");
  os.Newline();
  os.IndentMore();
  os.Indent();
  os << "manufacturer" << manufacturer;
  os << ",";
  os.Newline();
  os.Indent();
  os << "pnPrivateData" << pnPrivateData;
  if (form == FORM_ACL && acl) {
    os << ",";
    os.Newline();
    os.Indent();
    os << "acl" << *acl;
  } else if (form == FORM_OFFICE && office) {
    os << ",";
    os.Newline();
    os.Indent();
    os << "office" << *office;
  }
  os.IndentLess();
  os.Newline();
  os.Indent();
  os << "}";
}

}  // namespace CSTA3V6
