// Hand-checked BER vectors: implicit tags, error texts and codes, strict lengths.
#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "csta3_model.h"

namespace CSTA3V6 {
namespace {

using Bytes = std::vector<unsigned char>;

struct Decoded {
  int rc;
  std::string err;
};

template <class T>
Decoded Dec(const Bytes &in, T &v) {
  std::ostringstream err;
  int rc = DecodeFrom(in.data(), in.size(), v, err);
  return {rc, err.str()};
}

// invoke 1, makeCall (10): callingDevice dialingNumber "201", calledDirectoryNumber "302"
const Bytes kMakeCall = {0xA1, 0x16, 0x02, 0x01, 0x01, 0x02, 0x01, 0x0A, 0x30, 0x0E, 0x30, 0x05, 0x80, 0x03,
                         0x32, 0x30, 0x31, 0x30, 0x05, 0x80, 0x03, 0x33, 0x30, 0x32};
// result of invoke 9, getAgentState (304): one entry, agentID "42", logged on
const Bytes kAgentState = {0xA2, 0x16, 0x02, 0x01, 0x09, 0x30, 0x11, 0x02, 0x02, 0x01, 0x30, 0x30,
                           0x0B, 0x30, 0x09, 0x30, 0x07, 0x04, 0x02, 0x34, 0x32, 0x01, 0x01, 0xFF};
// consultationCall argument: existingCall [0] IMPLICIT ConnectionID callID 01 02
// (the implicit tag replaces [APPLICATION 11]); consultedDevice [1] DeviceID with
// dialing number "12" and privateName [1] IA5String "Bob" (explicit: A1 05 16 03).
const Bytes kConsultation = {0x30, 0x15, 0xA0, 0x04, 0x80, 0x02, 0x01, 0x02, 0xA1, 0x0D, 0x30, 0x0B,
                             0x80, 0x02, 0x31, 0x32, 0xA1, 0x05, 0x16, 0x03, 0x42, 0x6F, 0x62};

TEST(ModelVectors, ImplicitTaggedChoiceAndInlineString) {
  ConsultationCallArgument in;
  Decoded d = Dec(kConsultation, in);
  ASSERT_EQ(d.rc, 0) << d.err;
  ASSERT_NE(in.existingCall, nullptr);
  ASSERT_EQ(in.existingCall->choiceId, ConnectionID::callIDCid);
  EXPECT_EQ(in.existingCall->callID->Str(), std::string("\x01\x02"));
  ASSERT_NE(in.consultedDevice, nullptr);
  ASSERT_NE(in.consultedDevice->privateName, nullptr);
  EXPECT_EQ(in.consultedDevice->privateName->Str(), "Bob");
  EXPECT_EQ(EncodeToVector(in), kConsultation);

  // The forms the model used to produce are refused: an OCTET STRING inside
  // privateName, an [APPLICATION 11] tag inside existingCall.
  Bytes octs = kConsultation;
  octs[18] = 0x04;
  ConsultationCallArgument a;
  EXPECT_LT(Dec(octs, a).rc, 0);
  const Bytes appl = {0x30, 0x0D, 0xA0, 0x06, 0x6B, 0x04, 0x80, 0x02, 0x01, 0x02,
                      0xA1, 0x03, 0x30, 0x01, 0x00};
  ConsultationCallArgument b;
  EXPECT_LT(Dec(appl, b).rc, 0);
}

const std::string kLen = "ERROR - Length discrepancy on sequence.\n";

template <class T>
Decoded DecAs(const Bytes &in) {
  T v;
  return Dec(in, v);
}

TEST(ModelVectors, ErrorTextsAndCodes) {
  struct Case {
    Decoded (*dec)(const Bytes &);
    Bytes in;
    int rc;
    std::string err;  // empty: not checked
  } cases[] = {
      // no alternative carries [5]
      {&DecAs<CSTAMsg>, {0xA5, 0x00}, -100, "ERROR - unexpected tag in CHOICE\n"},
      {&DecAs<ROSEapdus>, {0xA5, 0x00}, -120, ""},
      // linked-ID where invokeID belongs
      {&DecAs<CSTAMsg>, {0xA1, 0x03, 0x80, 0x01, 0x05}, -105,
       "ERROR - SEQUENCE is missing non-optional elmt 'invokeID'.\n"},
      {&DecAs<CSTAMsg>, {0xA1, 0x03, 0x02, 0x01, 0x05}, -106,
       "ERROR - SEQUENCE is missing non-optional elmt 'operation-value'.\n"},
      {&DecAs<ROIVapdu>, {0xA1, 0x03, 0x02, 0x01, 0x05}, -108, "ROIVapdu::BDec: ERROR - wrong tag\n"},
      // operation value 3 is unknown: its argument stays unread, and in the
      // indefinite form the end-of-contents check fails
      {&DecAs<CSTAMsg>, {0xA1, 0x08, 0x02, 0x01, 0x01, 0x02, 0x01, 0x03, 0x05, 0x00}, -107, kLen},
      {&DecAs<CSTAMsg>, {0xA1, 0x80, 0x02, 0x01, 0x01, 0x02, 0x01, 0x03, 0x05, 0x00, 0x00, 0x00}, -12, ""},
  };
  for (const Case &c : cases) {
    Decoded d = c.dec(c.in);
    EXPECT_EQ(d.rc, c.rc) << testing::PrintToString(c.in);
    if (!c.err.empty()) EXPECT_EQ(d.err, c.err);
  }
  // unknown operation without argument decodes
  CSTAMsg m;
  ASSERT_EQ(Dec(Bytes{0xA1, 0x06, 0x02, 0x01, 0x01, 0x02, 0x01, 0x03}, m).rc, 0);
  EXPECT_EQ(m.rOSE->roiv_apdu->argument, nullptr);
  // truncated makeCall: every prefix fails cleanly, partly built trees are freed
  for (size_t n = 0; n < kMakeCall.size(); ++n) {
    EXPECT_LT(DecAs<CSTAMsg>(Bytes(kMakeCall.begin(), kMakeCall.begin() + long(n))).rc, 0) << n;
  }
}

// Messages that break a BER length or end rule inside an otherwise valid
// message: each is refused with the code of the rule it breaks, never reports
// more octets than it was given, and its hand-corrected twin decodes and
// re-encodes to exactly its own octets (so the refusal is for the fault).
TEST(ModelVectors, StrictLengthsAndEnds) {
  struct Case {
    const char *what;
    Bytes bad;
    int rc;
    std::string err;
    Bytes good;
  } cases[] = {
      {"universal failure, explicit [0] of an untagged CHOICE with length 0",
       {0xA3, 0x0B, 0x02, 0x01, 0x01, 0x02, 0x01, 0x01, 0xA0, 0x00, 0x0A, 0x01, 0x02},
       -100,
       kLen,
       {0xA3, 0x0B, 0x02, 0x01, 0x01, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x0A, 0x01, 0x02}},
      {"stopDataPath, extensions taken from inside the [1] of ioCrossRefID",
       {0xA1, 0x10, 0x02, 0x01, 0x01, 0x02, 0x01, 0x6F, 0x30, 0x08, 0xA1, 0x06, 0x04, 0x02, 0x00, 0x07, 0x7E, 0x00},
       -100,
       kLen,
       {0xA1, 0x10, 0x02, 0x01, 0x01, 0x02, 0x01, 0x6F, 0x30, 0x08, 0xA1, 0x04, 0x04, 0x02, 0x00, 0x07, 0x7E, 0x00}},
      {"clearConnection, ConnectionID [APPLICATION 11] with length 0 before its alternative",
       {0xA1, 0x0D, 0x02, 0x01, 0x01, 0x02, 0x01, 0x05, 0x30, 0x05, 0x6B, 0x00, 0x80, 0x01, 0x41},
       -100,
       kLen,
       {0xA1, 0x0D, 0x02, 0x01, 0x01, 0x02, 0x01, 0x05, 0x30, 0x05, 0x6B, 0x03, 0x80, 0x01, 0x41}},
      {"escape, EscapeRegisterID [0] with length 0 before its OCTET STRING",
       {0xA1, 0x10, 0x02, 0x01, 0x01, 0x02, 0x01, 0x33, 0x30, 0x08, 0xA0, 0x00, 0x04, 0x01, 0x41, 0x04, 0x01, 0x42},
       -101,
       kLen,
       {0xA1, 0x10, 0x02, 0x01, 0x01, 0x02, 0x01, 0x33, 0x30, 0x08, 0xA0, 0x03, 0x04, 0x01, 0x41, 0x04, 0x01, 0x42}},
      {"getAgentState result, list entry running past the list's length 1",
       {0xA2, 0x16, 0x02, 0x01, 0x09, 0x30, 0x11, 0x02, 0x02, 0x01, 0x30, 0x30,
        0x0B, 0x30, 0x01, 0x30, 0x07, 0x04, 0x02, 0x34, 0x32, 0x01, 0x01, 0xFF},
       kAsnListLength,
       "",
       kAgentState},
      // An element after the last component of an indefinite SEQUENCE is where
      // the end-of-contents belongs, whether a component was hoped for there
      // (makeCall: optional components follow) or not (reject: none follow).
      {"makeCall, indefinite argument with a NULL after its last device",
       {0xA1, 0x80, 0x02, 0x01, 0x01, 0x02, 0x01, 0x0A, 0x30, 0x80, 0x30, 0x05, 0x80, 0x03, 0x32, 0x30,
        0x31, 0x30, 0x05, 0x80, 0x03, 0x33, 0x30, 0x32, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00},
       -12,
       "",
       {0xA1, 0x80, 0x02, 0x01, 0x01, 0x02, 0x01, 0x0A, 0x30, 0x80, 0x30, 0x05, 0x80, 0x03, 0x32, 0x30,
        0x31, 0x30, 0x05, 0x80, 0x03, 0x33, 0x30, 0x32, 0x00, 0x00, 0x00, 0x00}},
      {"reject, indefinite with a NULL after its problem",
       {0xA4, 0x80, 0x02, 0x01, 0x01, 0x80, 0x01, 0x01, 0x05, 0x00, 0x00, 0x00},
       -12,
       "",
       {0xA4, 0x80, 0x02, 0x01, 0x01, 0x80, 0x01, 0x01, 0x00, 0x00}},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    CSTAMsg m;
    std::ostringstream err;
    AsnLen used = 0;
    EXPECT_EQ(DecodeFrom(c.bad.data(), c.bad.size(), m, err, &used), c.rc);
    EXPECT_EQ(err.str(), c.err);
    EXPECT_LE(used, c.bad.size());
    CSTAMsg g;
    ASSERT_EQ(DecodeFrom(c.good.data(), c.good.size(), g, err, &used), 0);
    EXPECT_EQ(used, c.good.size());
    if (c.good[1] != 0x80) {  // indefinite ones re-encode definite
      EXPECT_EQ(EncodeToVector(g), c.good);
    }
  }
}

}  // namespace
}  // namespace CSTA3V6
