// An escape invocation whose private data takes the opaque alternative.
#include <gtest/gtest.h>

#include <sstream>

#include "csta3_model.h"
#include "tests/private/test_util.h"

using namespace CSTA3V6;
using namespace k3test;

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
