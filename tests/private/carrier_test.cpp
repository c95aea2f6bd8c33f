// PrivateDataChoiceSeq: BER encoding and decoding, choice of form, errors, copy, print.
#include <gtest/gtest.h>

#include <sstream>

#include "csta3/private/private_data.h"
#include "tests/private/test_util.h"

using namespace CSTA3V6;
using namespace k3test;

namespace {

const Bytes kOid = B({0x06, 0x06, 0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F});

PrivateDataChoiceSeq FromOctets(const Bytes &pn) {
  PrivateDataChoiceSeq s;
  s.SetRaw(pn.data(), pn.size());
  s.DecodeData();
  return s;
}

int Decode(const Bytes &ber, PrivateDataChoiceSeq &s, std::string *err = nullptr) {
  std::ostringstream os;
  int rc = DecodeFrom(ber.data(), ber.size(), s, os);
  if (err) *err = os.str();
  return rc;
}

}  // namespace

TEST(PrivateData, FormOfTheOctets) {
  PrivateDataChoiceSeq loop = FromOctets(B({0x1A, 0x00, 0x06, 0x01, 0x22, 0x00, 0x01, 0x05, 0x09}));
  EXPECT_EQ(loop.DataChoice(), 1u);
  ASSERT_NE(loop.Acl(), nullptr);
  EXPECT_NE(loop.Acl()->maint, nullptr);
  EXPECT_EQ(loop.Office(), nullptr);

  // Four octets starting 0x1A are the shortest ACL form; three are too short,
  // and as office form they give no element, so only the raw octets stay.
  EXPECT_EQ(FromOctets(B({0x1A, 0x04, 0x01, 0xC0})).DataChoice(), 1u);
  PrivateDataChoiceSeq three = FromOctets(B({0x1A, 0x04, 0x02}));
  EXPECT_EQ(three.DataChoice(), 0u);
  EXPECT_EQ(three.acl, nullptr);
  EXPECT_EQ(three.office, nullptr);
  EXPECT_EQ(OctsBytes(three.RawOctets()), B({0x1A, 0x04, 0x02}));

  PrivateDataChoiceSeq office = FromOctets(B({232, 3, 1}));
  EXPECT_EQ(office.DataChoice(), 2u);
  ASSERT_NE(office.Office(), nullptr);
  EXPECT_NE(office.Office()->Find(OfficePrivateDataElement::deviceIndicationCid), nullptr);
}

TEST(PrivateData, AclRequestEncodesToBerAndDecodesBack) {
  PrivateDataChoiceSeq s;
  s.SetPbxManufacturer();
  s.NewAcl(2, 196)->SetAmhost(new AMHOST(7, 2, 1))->AddString(211, "100");
  s.SyncOctets();

  const Bytes expected = Cat({B({0x30, 0x1B}), kOid, B({0x04, 0x11}),
                              B({0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x07, 0x02, 0x00, 0x00, 0x01, 0x00, 0xD3, 0x03,
                                 '1', '0', '0'})});
  Bytes ber = EncodeToVector(s);
  EXPECT_EQ(ber, expected);

  PrivateDataChoiceSeq back;
  ASSERT_EQ(Decode(ber, back), 0);
  EXPECT_TRUE(back.IsPbxData());
  EXPECT_EQ(back.DataChoice(), 1u);
  ASSERT_NE(back.Acl(), nullptr);
  ASSERT_NE(back.Acl()->amhost, nullptr);
  EXPECT_EQ(back.Acl()->amhost->Find(211)->octsValue.Str(), "100");
  EXPECT_EQ(OctsBytes(back.pnPrivateData), Bytes(expected.begin() + 12, expected.end()));
  EXPECT_EQ(EncodeToVector(back), expected);

  // Constructed octet string and indefinite lengths decode to the same content.
  Bytes cons = Cat({B({0x30, 0x80}), kOid, B({0x24, 0x80, 0x04, 0x04, 0x1A, 0x04, 0x02, 0xC4, 0x04, 0x0D}),
                    B({0x1E, 0x08, 0x07, 0x02, 0x00, 0x00, 0x01, 0x00, 0xD3, 0x03, '1', '0', '0'}),
                    B({0x00, 0x00, 0x00, 0x00})});
  PrivateDataChoiceSeq c;
  ASSERT_EQ(Decode(cons, c), 0);
  EXPECT_EQ(EncodeToVector(c), expected);
}

TEST(PrivateData, EncodingSendsTheOctetsAsHeld) {
  // Raw octets only (form 0) travel as they are.
  PrivateDataChoiceSeq raw;
  raw.SetPbxManufacturer();
  raw.SetRaw("\x01\x02", 2);
  EXPECT_EQ(EncodeToVector(raw), Cat({B({0x30, 0x0C}), kOid, B({0x04, 0x02, 0x01, 0x02})}));

  // Typed content built in memory is written into the octets by SyncOctets;
  // until then the octets held are what travels.
  PrivateDataChoiceSeq s = raw;
  s.NewAcl(1, 192);
  EXPECT_EQ(EncodeToVector(s), EncodeToVector(raw));
  s.SyncOctets();
  EXPECT_EQ(OctsBytes(s.pnPrivateData), B({0x1A, 0x04, 0x01, 0xC0}));
  EXPECT_EQ(EncodeToVector(s), Cat({B({0x30, 0x0E}), kOid, B({0x04, 0x04, 0x1A, 0x04, 0x01, 0xC0})}));

  // Whatever the PBX sent encodes back to the very same octets: octet 1 of
  // the ACL form, octets after an application nobody reads, the tail of an
  // office form, AMHOST elements of kinds 0, 8 and 9, an AMHOST without header.
  const Bytes received[] = {
      B({0x1A, 0x00, 0x01, 0xC0, 0x55, 0x66}),
      B({0x1A, 0x00, 0x06, 0x01, 0x22, 0x00, 0x01, 0x05, 0x09}),
      B({0xE0, 0x05, 0x00, 0x00, 0x00, 0xFF}),
      B({0x1A, 0x04, 0x02, 0xC4, 0x0A, 0x03, 0x01, 0xAF, 0x03, 0x01, 0x01, 0x02, 0xA1, 0x04, 0x07, 0x00}),
      B({0x1A, 0x07, 0x03, 0xC4, 0x06, 0xC9, 0x02, 0x31, 0x32}),
  };
  for (const Bytes &pn : received) {
    SCOPED_TRACE(testing::PrintToString(pn));
    const Bytes ber = Cat({B({0x30, int(10 + pn.size())}), kOid, B({0x04, int(pn.size())}), pn});
    PrivateDataChoiceSeq in;
    ASSERT_EQ(Decode(ber, in), 0);
    EXPECT_NE(in.DataChoice(), 0u);
    EXPECT_EQ(EncodeToVector(in), ber);
    PrivateDataChoiceSeq copy(in);
    EXPECT_EQ(EncodeToVector(copy), ber);
  }
}

TEST(PrivateData, DecodeErrorsGiveTheirTextAndCode) {
  struct Case {
    Bytes ber;
    int code;
    const char *text;
  };
  const Case cases[] = {
      {Cat({B({0x31, 0x0A}), kOid, B({0x04, 0x00})}), PRIV_ERR_WRONG_TAG,
       "PrivateDataChoiceSeq::BDec: ERROR - wrong tag\n"},
      {B({0x30, 0x03, 0x04, 0x01, 0x00}), PRIV_ERR_MISSING_MANUFACTURER,
       "ERROR - SEQUENCE is missing non-optional elmt 'manufacturer'.\n"},
      {Cat({B({0x30, 0x08}), kOid}), PRIV_ERR_MISSING_PNPRIVATEDATA,
       "ERROR - SEQUENCE is missing non-optional elmt 'pnPrivateData'.\n"},
      {Cat({B({0x30, 0x0B}), kOid, B({0x02, 0x01, 0x00})}), PRIV_ERR_MISSING_PNPRIVATEDATA,
       "ERROR - SEQUENCE is missing non-optional elmt 'pnPrivateData'.\n"},
      {Cat({B({0x30, 0x80}), kOid, B({0x00, 0x00})}), PRIV_ERR_MISSING_PNPRIVATEDATA,
       "ERROR - SEQUENCE is missing non-optional elmt 'pnPrivateData'.\n"},
      {Cat({B({0x30, 0x0C}), kOid, B({0x04, 0x00, 0x05, 0x00})}), PRIV_ERR_LENGTH_DISCREPANCY,
       "ERROR - Length discrepancy on sequence.\n"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.ber));
    PrivateDataChoiceSeq s;
    std::string err;
    EXPECT_EQ(Decode(c.ber, s, &err), c.code);
    EXPECT_EQ(err, c.text);
  }
  // Codes stay apart from the runtime's and the generated model's (-100 downwards).
  EXPECT_LT(PRIV_ERR_WRONG_TAG, -1000);
}

TEST(PrivateData, ManufacturerCopyAndReplace) {
  PrivateDataChoiceSeq other;
  other.manufacturer = AsnOid(1, 3, 12, 2, 1107, 16);
  EXPECT_FALSE(other.IsPbxData());

  PrivateDataChoiceSeq *src = new PrivateDataChoiceSeq;
  src->SetPbxManufacturer();
  src->NewAcl(6, 196)->SetMaint(new MAINT(2, 9));
  PrivateDataChoiceSeq copy(*src);
  const std::string before = PrintOf(*src);
  delete src;
  EXPECT_EQ(PrintOf(copy), before);
  ASSERT_NE(copy.Acl(), nullptr);
  EXPECT_EQ(copy.Acl()->maint->CrossRef(), 9u);

  // Switching form drops the other content.
  copy.NewOffice()->Append()->Set_callQLen()->Set(1);
  EXPECT_EQ(copy.acl, nullptr);
  EXPECT_EQ(copy.DataChoice(), 2u);
  EXPECT_EQ(copy.Office()->Count(), 1u);
  copy.SetRaw("", 0);
  EXPECT_EQ(copy.office, nullptr);
  EXPECT_EQ(copy.DataChoice(), 0u);
}
