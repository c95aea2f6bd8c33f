#include <gtest/gtest.h>

#include <ctime>

#include "asn/asn.h"
#include "tests/asn/asn_test_util.h"

using namespace CSTA3V6;
using k3test::Bytes;
using k3test::Printed;

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
  AsnList<AsnInt> l;
  for (int32_t i = 1; i <= 5; ++i) l.Append()->Set(i * 10);
  AsnList<AsnInt> c(l);
  EXPECT_EQ(Values(c), (std::vector<int32_t>{10, 20, 30, 40, 50}));
  AsnList<AsnInt> shorter;
  shorter.Append()->Set(7);
  c = shorter;
  AsnList<AsnInt> &alias = c;
  c = alias;
  EXPECT_EQ(Values(c), (std::vector<int32_t>{7}));
  EXPECT_EQ(c.Last(), c.First());
  l.RemoveAll();
  l.Append()->Set(1);
  EXPECT_EQ(Values(l), (std::vector<int32_t>{1}));

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
  IntSeqOf g;
  EXPECT_EQ(k3test::Dec(Bytes{0x30, 0x80, 0x02, 0x01, 0x05, 0x00, 0x01}, g), -12);
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

// Decode and copy cost linear in the size: the two shapes that once were
// quadratic (a fragment stack growing by a fixed step, a list copy that walked
// from the first node for every element) finish far inside a bound that even a
// sanitizer build on a busy machine meets. The benchmark carries the figures.
TEST(AsnLinearCost, EmptyFragmentsAndLongListCopy) {
  const double boundSeconds = 2.0;
  auto cpuSeconds = [](std::clock_t since) { return double(std::clock() - since) / CLOCKS_PER_SEC; };

  Bytes frags = {0x24, 0x80};
  while (frags.size() < (800u << 10)) {
    frags.push_back(0x04);
    frags.push_back(0x00);
  }
  frags.push_back(0x00);
  frags.push_back(0x00);
  std::clock_t t0 = std::clock();
  AsnOcts v("previous");
  AsnLen used = 0;
  EXPECT_EQ(k3test::Dec(frags, v, &used), 0);
  EXPECT_LT(cpuSeconds(t0), boundSeconds);
  EXPECT_EQ(v.Len(), 0u);
  EXPECT_EQ(used, frags.size());

  AsnList<AsnInt> src;
  for (int32_t i = 0; i < 40000; ++i) src.Append()->Set(i);
  t0 = std::clock();
  AsnList<AsnInt> copy(src);
  copy = src;  // assignment over a full list: old nodes go, new ones come
  EXPECT_LT(cpuSeconds(t0), boundSeconds);
  ASSERT_EQ(copy.Count(), 40000u);
  int32_t expect = 0;
  bool inOrder = true;
  for (const AsnInt &e : copy) inOrder = inOrder && e.value == expect++;
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(copy.Last()->elmt.value, 39999);
  EXPECT_NE(copy.First(), src.First());
}

TEST(AsnPrint, Lists) {
  AsnList<AsnInt> empty;
  EXPECT_EQ(Printed(empty), "{ -- SEQUENCE OF --\n}");
  EXPECT_EQ(Printed(empty, true), "{ <REM>-- SEQUENCE OF --</REM>\n}");

  AsnList<AsnInt> ints;
  ints.Append()->Set(1);
  ints.Append()->Set(-2);
  EXPECT_EQ(Printed(ints), "{ -- SEQUENCE OF --\n   = 1, \n   = -2\n}");
  EXPECT_EQ(Printed(ints, true), "{ <REM>-- SEQUENCE OF --</REM>\n   = <INT>1</INT>, \n   = <INT>-2</INT>\n}");

  // A list printed after other text starts on a new line at the current indent;
  // nested lists indent one more step.
  AsnList<AsnList<AsnOcts>> nested;
  nested.Append()->Append()->Set("x");
  std::ostringstream s;
  AsnPrintStream ps(s);
  ps.IndentMore();
  ps << "items";
  ps << nested;
  EXPECT_EQ(s.str(),
            "items\n  { -- SEQUENCE OF --\n    { -- SEQUENCE OF --\n      "
            " = \"x\" '78'H\n    }\n  }");
}
