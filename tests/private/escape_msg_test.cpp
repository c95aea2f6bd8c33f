// A whole escape invocation carrying an ACL2/AMHOST, through the message model.
#include <gtest/gtest.h>

#include <sstream>

#include "csta3_model.h"
#include "tests/private/test_util.h"

using namespace CSTA3V6;
using namespace k3test;

namespace {

// Builds the escape invoke frame and returns its private-data carrier.
PrivateDataChoiceSeq *BuildEscape(CSTAMsg &m, int32_t invokeId) {
  m.choiceId = CSTAMsg::rOSECid;
  m.rOSE = new ROSEapdus;
  m.rOSE->choiceId = ROSEapdus::roiv_apduCid;
  ROIVapdu *roiv = m.rOSE->roiv_apdu = new ROIVapdu;
  roiv->invokeID.Set(invokeId);
  roiv->operation_value.Set(51);
  EscapeArgument *arg = new EscapeArgument;
  roiv->argument = arg;
  arg->privateData = new CSTAPrivateData;
  arg->privateData->choiceId = CSTAPrivateData::privateCid;
  arg->privateData->private_ = new PrivateDataChoice;
  arg->privateData->private_->choiceId = PrivateDataChoice::comPrivateDataCid;
  PrivateDataChoiceSeq *seq = arg->privateData->private_->comPrivateData = new PrivateDataChoiceSeq;
  seq->SetPbxManufacturer();
  return seq;
}

}  // namespace

TEST(EscapeMessage, AmhostRequestRoundTripsThroughCstaMsg) {
  CSTAMsg m;
  AMHOST *amhost = BuildEscape(m, 1)->NewAcl(2, 196)->SetAmhost(new AMHOST(7, 2, 1));
  amhost->AddString(211, "100");
  static_cast<EscapeArgument *>(m.rOSE->roiv_apdu->argument)->privateData->private_->comPrivateData->SyncOctets();

  const Bytes expected = Cat({B({0xA1, 0x25, 0x02, 0x01, 0x01, 0x02, 0x01, 0x33}),  // invoke 1, operation 51
                              B({0x30, 0x1D}),                                      // EscapeArgument
                              B({0x30, 0x1B, 0x06, 0x06, 0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F, 0x04, 0x11}),
                              B({0x1A, 0x04, 0x02, 0xC4, 0x1E, 0x08, 0x07, 0x02, 0x00, 0x00, 0x01, 0x00, 0xD3, 0x03,
                                 '1', '0', '0'})});
  Bytes ber = EncodeToVector(m);
  EXPECT_EQ(ber, expected);

  // Copying the message copies the private octets and their typed content.
  CSTAMsg copy(m);
  amhost->Find(211)->octsValue.Set("999");
  EXPECT_EQ(EncodeToVector(copy), expected);
  EXPECT_EQ(static_cast<EscapeArgument *>(copy.rOSE->roiv_apdu->argument)
                ->privateData->private_->comPrivateData->Acl()->amhost->Find(211)->octsValue.Str(),
            "100");
  amhost->Find(211)->octsValue.Set("100");

  CSTAMsg back;
  std::ostringstream err;
  ASSERT_EQ(DecodeFrom(ber.data(), ber.size(), back, err), 0) << err.str();
  ASSERT_EQ(back.choiceId, CSTAMsg::rOSECid);
  ROIVapdu *roiv = back.rOSE->roiv_apdu;
  ASSERT_EQ(roiv->operation_value.value, 51);
  EscapeArgument *arg = static_cast<EscapeArgument *>(roiv->argument);
  ASSERT_NE(arg, nullptr);
  ASSERT_EQ(arg->privateData->choiceId, CSTAPrivateData::privateCid);
  PrivateDataChoiceSeq *seq = arg->privateData->private_->comPrivateData;
  ASSERT_NE(seq, nullptr);
  EXPECT_TRUE(seq->IsPbxData());
  ASSERT_NE(seq->Acl(), nullptr);
  EXPECT_EQ(seq->Acl()->Selector(), 2u);
  EXPECT_EQ(seq->Acl()->OperationCode(), 196u);
  EXPECT_EQ(seq->Acl()->amhost->Find(211)->octsValue.Str(), "100");
}

TEST(EscapeMessage, CapPrivateDataStaysOpaque) {
  // [0] IMPLICIT OCTET STRING alternative: octets kept as they are, nothing decoded.
  const Bytes ber = B({0xA1, 0x0D, 0x02, 0x01, 0x02, 0x02, 0x01, 0x33, 0x30, 0x05, 0x80, 0x03, 0x1A, 0x04, 0x02});
  CSTAMsg m;
  std::ostringstream err;
  ASSERT_EQ(DecodeFrom(ber.data(), ber.size(), m, err), 0) << err.str();
  EscapeArgument *arg = static_cast<EscapeArgument *>(m.rOSE->roiv_apdu->argument);
  ASSERT_EQ(arg->privateData->private_->choiceId, PrivateDataChoice::capPrivateDataCid);
  EXPECT_EQ(OctsBytes(*arg->privateData->private_->capPrivateData), B({0x1A, 0x04, 0x02}));
  EXPECT_EQ(EncodeToVector(m), ber);
}
