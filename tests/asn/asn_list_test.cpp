#include <gtest/gtest.h>

#include "asn/asn.h"
#include "tests/asn/asn_test_util.h"

using namespace CSTA3V6;
using k3test::Bytes;

namespace {

// A SEQUENCE OF INTEGER with its universal outer tag, the way an enclosing
// type wraps a list.
struct IntSeqOf {
  AsnList<AsnInt> list;
  AsnLen BEnc(AsnBuf &b) const {
    AsnLen l = list.BEncContent(b);
    l += BEncDefLen(b, l);
    b.PutByteRvs(0x30);
    return l + 1;
  }
  void BDec(AsnBuf &b, AsnLen &bytesDecoded) {
    if (BDecTag(b, bytesDecoded) != kTagSequence) AsnThrow(kGenListWrongTag);
    AsnLen len = BDecLen(b, bytesDecoded);
    list.BDecContent(b, kTagSequence, len, bytesDecoded);
  }
};

std::vector<int32_t> Values(const AsnList<AsnInt> &l) {
  std::vector<int32_t> out;
  for (const AsnInt &v : l) out.push_back(v.value);
  return out;
}

}  // namespace

TEST(AsnList, CopiesAreDeepAndKeepTheOrder) {
  AsnList<AsnInt> l, c;
  for (int32_t i = 1; i <= 3; ++i) l.Append()->Set(i * 10);
  c.Append()->Set(7);
  c = l;
  AsnList<AsnInt> &alias = c;
  c = alias;
  EXPECT_EQ(Values(c), (std::vector<int32_t>{10, 20, 30}));

  AsnList<AsnOcts> os;
  os.Append()->Set("one");
  os.Append()->Set("two");
  AsnList<AsnOcts> oc = os;
  os.First()->elmt.Set("changed");
  EXPECT_EQ(oc.First()->elmt.Str(), "one");
  EXPECT_EQ(oc.Last()->elmt.Str(), "two");
}

TEST(AsnList, EncodeAndDecodeDefiniteAndIndefinite) {
  IntSeqOf s;
  s.list.Append()->Set(1);
  s.list.Append()->Set(2);
  s.list.Append()->Set(300);
  const Bytes enc = {0x30, 0x0A, 0x02, 0x01, 0x01, 0x02, 0x01, 0x02, 0x02, 0x02, 0x01, 0x2C};
  EXPECT_EQ(k3test::Enc(s), enc);

  IntSeqOf d;
  AsnLen used = 0;
  EXPECT_EQ(k3test::Dec(enc, d, &used), 0);
  EXPECT_EQ(Values(d.list), (std::vector<int32_t>{1, 2, 300}));
  EXPECT_EQ(used, 12u);

  const Bytes indef = {0x30, 0x80, 0x02, 0x01, 0x05, 0x02, 0x01, 0xFB, 0x00, 0x00, 0x02};
  IntSeqOf e;
  EXPECT_EQ(k3test::Dec(indef, e, &used), 0);
  EXPECT_EQ(Values(e.list), (std::vector<int32_t>{5, -5}));
  EXPECT_EQ(used, 10u);

  IntSeqOf empty;
  EXPECT_EQ(k3test::Enc(empty), (Bytes{0x30, 0x00}));
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x80, 0x00, 0x00}, empty), 0);
  EXPECT_EQ(empty.list.Count(), 0u);

  // Faults part-way leave the decoded elements in the list (freed with it).
  IntSeqOf f;
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x80, 0x02, 0x01, 0x05}, f), -12);
  EXPECT_EQ(f.list.Count(), 1u);
  IntSeqOf h;
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x06, 0x02, 0x01, 0x05, 0x04, 0x01, 0x00}, h), -53);
  EXPECT_EQ(h.list.Count(), 2u);
  // A definite length that an element runs past: the element is kept, the list
  // refused, whether the enclosing count would have come out right or not.
  IntSeqOf over;
  AsnLen overUsed = 0;
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x01, 0x02, 0x01, 0x05}, over, &overUsed), kAsnListLength);
  EXPECT_EQ(over.list.Count(), 1u);
  EXPECT_LE(overUsed, 5u);
  IntSeqOf overMid;
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x04, 0x02, 0x01, 0x05, 0x02, 0x01, 0x06}, overMid), kAsnListLength);
  EXPECT_EQ(Values(overMid.list), (std::vector<int32_t>{5, 6}));
  AsnList<AsnOcts> partial;
  const Bytes octs = {0x04, 0x01, 'a', 0x24, 0x80, 0x04, 0x01, 'b', 0x04, 0x09, 'c'};
  AsnBuf b;
  b.InitForDecode(octs.data(), octs.size());
  EXPECT_THROW(partial.BDecContent(b, 0x30000000u, AsnLen(octs.size()), used), AsnDecodeError);
  EXPECT_EQ(partial.Count(), 2u);
}
