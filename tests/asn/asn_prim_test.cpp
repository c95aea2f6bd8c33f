#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <thread>

#include "asn/asn.h"
#include "tests/asn/asn_test_util.h"

using namespace CSTA3V6;
using k3test::Bytes;
using k3test::Dec;
using k3test::Enc;

TEST(AsnInt, ShortestTwosComplementBothWays) {
  struct Case {
    int32_t v;
    Bytes enc;
  } cases[] = {
      {0, {0x02, 0x01, 0x00}},
      {127, {0x02, 0x01, 0x7F}},
      {128, {0x02, 0x02, 0x00, 0x80}},
      {-128, {0x02, 0x01, 0x80}},
      {-129, {0x02, 0x02, 0xFF, 0x7F}},
      {-8388609, {0x02, 0x04, 0xFF, 0x7F, 0xFF, 0xFF}},
      {INT32_MAX, {0x02, 0x04, 0x7F, 0xFF, 0xFF, 0xFF}},
      {INT32_MIN, {0x02, 0x04, 0x80, 0x00, 0x00, 0x00}},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Enc(AsnInt(c.v)), c.enc) << c.v;
    AsnInt back(12345);
    AsnLen used = 0;
    EXPECT_EQ(Dec(c.enc, back, &used), 0);
    EXPECT_EQ(back.value, c.v);
    EXPECT_EQ(used, c.enc.size());
  }
  // ENUMERATED: same content under tag 10.
  EXPECT_EQ(Enc(AsnEnum(300)), (Bytes{0x0A, 0x02, 0x01, 0x2C}));
  AsnEnum e;
  EXPECT_EQ(Dec(Bytes{0x0A, 0x01, 0xFE}, e), 0);
  EXPECT_EQ(int32_t(e), -2);
}

TEST(AsnInt, DecodeQuirksAndFaults) {
  // Non-minimal forms are accepted; sign comes from the first octet.
  AsnInt v;
  EXPECT_EQ(Dec(Bytes{0x02, 0x03, 0x00, 0x00, 0x01}, v), 0);
  EXPECT_EQ(v.value, 1);
  EXPECT_EQ(Dec(Bytes{0x02, 0x02, 0xFF, 0xFF}, v), 0);
  EXPECT_EQ(v.value, -1);

  // A zero length still takes one octet of what follows (but counts 0).
  const Bytes zero = {0x02, 0x00, 0x85, 0x01};
  AsnBuf b;
  b.InitForDecode(zero.data(), zero.size());
  AsnLen used = 0;
  v.BDec(b, used);
  EXPECT_EQ(v.value, -123);
  EXPECT_EQ(used, 2u);
  EXPECT_EQ(b.readLoc - b.dataStart, 3);

  EXPECT_EQ(Dec(Bytes{0x02, 0x05, 0, 0, 0, 0, 1}, v), -7);
  EXPECT_EQ(Dec(Bytes{0x02, 0x02, 0x01}, v), -8);
  EXPECT_EQ(Dec(Bytes{0x0A, 0x01, 0x01}, v), -53);
  AsnEnum e;
  EXPECT_EQ(Dec(Bytes{0x02, 0x01, 0x01}, e), -52);
  EXPECT_EQ(Dec(Bytes{}, v), -22);
  EXPECT_EQ(Dec(Bytes{0x02}, v), -9);
}

TEST(AsnNullBool, EncodeDecodeAndFaults) {
  EXPECT_EQ(Enc(AsnNull()), (Bytes{0x05, 0x00}));
  EXPECT_EQ(Enc(AsnBool(true)), (Bytes{0x01, 0x01, 0xFF}));
  EXPECT_EQ(Enc(AsnBool(false)), (Bytes{0x01, 0x01, 0x00}));

  AsnNull n;
  EXPECT_EQ(Dec(Bytes{0x05, 0x00}, n), 0);
  EXPECT_EQ(Dec(Bytes{0x05, 0x01, 0x00}, n), -13);
  EXPECT_EQ(Dec(Bytes{0x04, 0x00}, n), -55);

  AsnBool b;
  EXPECT_EQ(Dec(Bytes{0x01, 0x01, 0x05}, b), 0);  // any non-zero octet is true
  EXPECT_EQ(b.value, 1);
  EXPECT_EQ(Dec(Bytes{0x01, 0x01, 0x00}, b), 0);
  EXPECT_EQ(b.value, 0);
  EXPECT_EQ(Dec(Bytes{0x01, 0x00}, b), -5);
  EXPECT_EQ(Dec(Bytes{0x01, 0x01}, b), -6);
  EXPECT_EQ(Dec(Bytes{0x02, 0x01, 0x01}, b), -51);
}

TEST(AsnOcts, PrimitiveEncodeDecode) {
  EXPECT_EQ(Enc(AsnOcts("AB")), (Bytes{0x04, 0x02, 0x41, 0x42}));
  EXPECT_EQ(Enc(AsnOcts()), (Bytes{0x04, 0x00}));

  AsnOcts v("old content");
  AsnLen used = 0;
  EXPECT_EQ(Dec(Bytes{0x04, 0x03, 'x', 0x00, 'y', 0x99}, v, &used), 0);
  EXPECT_EQ(used, 5u);
  ASSERT_EQ(v.Len(), 3u);
  EXPECT_EQ(std::memcmp(v.Octs(), "x\0y", 4), 0);  // a zero follows the content

  // Faults: short primitive content, wrong outer tag.
  EXPECT_EQ(Dec(Bytes{0x04, 0x05, 0x41}, v), -14);
  EXPECT_EQ(Dec(Bytes{0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xF0, 0x41}, v), -14);
  EXPECT_EQ(Dec(Bytes{0x03, 0x01, 0x00}, v), -56);
}

TEST(AsnOcts, ConstructedForms) {
  struct Case {
    Bytes in;
    std::string value;
  } cases[] = {
      {{0x24, 0x08, 0x04, 0x02, 'A', 'B', 0x04, 0x02, 'C', 'D'}, "ABCD"},
      {{0x24, 0x80, 0x04, 0x01, 'A', 0x04, 0x00, 0x04, 0x01, 'B', 0x00, 0x00}, "AB"},
      // Nested constructed fragments, definite inside indefinite and back.
      {{0x24, 0x80, 0x04, 0x01, 'A', 0x24, 0x80, 0x04, 0x01, 'B', 0x24, 0x03, 0x04, 0x01, 'C', 0x00, 0x00, 0x00,
        0x00},
       "ABC"},
      {{0x24, 0x00}, ""},
  };
  for (const Case &c : cases) {
    AsnOcts v("previous");
    AsnLen used = 0;
    EXPECT_EQ(Dec(c.in, v, &used), 0);
    EXPECT_EQ(v.Str(), c.value);
    EXPECT_EQ(used, c.in.size());
  }
  AsnOcts v;
  EXPECT_EQ(Dec(Bytes{0x24, 0x03, 0x02, 0x01, 0x00}, v), -16);
  EXPECT_EQ(Dec(Bytes{0x24, 0x80, 0x04, 0x80, 'A', 0x00, 0x00}, v), -15);

  // A fragment (its header, its content, or a constructed fragment's own length
  // or end-of-contents) running past the definite length of the string around
  // it, with the data going on, is refused as one running past the data is.
  const Bytes pastFrame[] = {
      {0x24, 0x03, 0x04, 0x02, 'A', 'B', 0x05, 0x00},
      {0x24, 0x01, 0x04, 0x01, 'A'},
      {0x24, 0x06, 0x24, 0x05, 0x04, 0x03, 'A', 'B', 'C'},
      {0x24, 0x07, 0x04, 0x00, 0x24, 0x03, 0x04, 0x02, 'A', 'B'},
      {0x24, 0x05, 0x24, 0x80, 0x04, 0x01, 'A', 0x00, 0x00},
  };
  for (const Bytes &in : pastFrame) {
    AsnLen used = 0;
    EXPECT_EQ(Dec(in, v, &used), -15) << in.size();
    EXPECT_LE(used, in.size());
  }
}

TEST(AsnOcts, EndOfContentsWarningPath) {
  {
    k3test::CerrCapture cap;
    AsnOcts v;
    EXPECT_EQ(Dec(Bytes{0x24, 0x80, 0x04, 0x01, 'A', 0x00, 0x07}, v), 0);
    EXPECT_EQ(v.Str(), "A");
    EXPECT_EQ(cap.Text(), "Warning - second octet of EOC not zero\n");
  }
  {
    // Data ending after the first end-of-contents octet is passed over the same
    // way, and only the octet that was there is counted.
    k3test::CerrCapture cap;
    AsnOcts v;
    AsnLen used = 0;
    EXPECT_EQ(Dec(Bytes{0x24, 0x80, 0x04, 0x01, 'A', 0x00}, v, &used), 0);
    EXPECT_EQ(v.Str(), "A");
    EXPECT_EQ(used, 6u);
    EXPECT_EQ(cap.Text(), "Warning - second octet of EOC not zero\n");
  }
  {
    // Data ending where the next fragment's tag or the end-of-contents is due
    // is a truncated string, at any depth, not an end; no warning either, as
    // for a sound end-of-contents.
    k3test::CerrCapture cap;
    const Bytes truncated[] = {
        {0x24, 0x80, 0x04, 0x01, 'A'},
        {0x24, 0x80, 0x24, 0x80, 0x04, 0x01, 'A', 0x00, 0x00},
        {0x24, 0x80, 0x24, 0x02, 0x04, 0x00},
    };
    for (const Bytes &in : truncated) {
      AsnOcts v;
      AsnLen used = 0;
      EXPECT_EQ(Dec(in, v, &used), -22);
      EXPECT_LE(used, in.size());
    }
    AsnOcts v;
    EXPECT_EQ(Dec(Bytes{0x24, 0x80, 0x04, 0x01, 'A', 0x00, 0x00}, v), 0);
    EXPECT_EQ(cap.Text(), "");
  }
}

TEST(AsnOcts, ManyFragmentsAndThreads) {
  // Hundreds of one-octet fragments make the fragment list grow several times.
  auto build = [](size_t n, unsigned char base) {
    Bytes in = {0x24, 0x80};
    for (size_t i = 0; i < n; ++i) {
      in.push_back(0x04);
      in.push_back(0x01);
      in.push_back((unsigned char)(base + i % 26));
    }
    in.push_back(0);
    in.push_back(0);
    return in;
  };
  auto expected = [](size_t n, unsigned char base) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += char(base + i % 26);
    return s;
  };
  {
    AsnOcts v;
    EXPECT_EQ(Dec(build(300, 'a'), v), 0);
    EXPECT_EQ(v.Str(), expected(300, 'a'));
  }

  // Threads decode at the same time.
  bool ok[2] = {true, true};
  auto worker = [&](int t) {
    const unsigned char base = t ? 'A' : 'a';
    const size_t n = t ? 150 : 401;
    Bytes in = build(n, base);
    for (int i = 0; i < 300; ++i) {
      AsnOcts w;
      if (Dec(in, w) != 0 || w.Str() != expected(n, base)) ok[t] = false;
    }
  };
  std::thread t0(worker, 0), t1(worker, 1);
  t0.join();
  t1.join();
  EXPECT_TRUE(ok[0]);
  EXPECT_TRUE(ok[1]);
}

TEST(AsnOcts, SettersCopyAndEquality) {
  const char raw[] = {'a', 0, 'b'};
  AsnOcts p(raw, 3);
  EXPECT_EQ(p.Str(), std::string(raw, 3));

  AsnOcts t;
  t.Set("hello", 5, true);
  EXPECT_STREQ(t.Octs(), "hello");

  // From itself (whole or a tail) and self-assignment.
  t.Set(t.Octs(), t.Len());
  EXPECT_EQ(t.Str(), "hello");
  t.Set(t.Octs() + 2, 3);
  EXPECT_EQ(t.Str(), "llo");
  AsnOcts &alias = t;
  t = alias;
  EXPECT_EQ(t.Str(), "llo");

  t.Set(nullptr, 7);
  EXPECT_EQ(t.Len(), 0u);
  EXPECT_EQ(t, AsnOcts());

  AsnOcts c(p);
  EXPECT_EQ(c, p);
  EXPECT_NE(c.Octs(), p.Octs());
  c = AsnOcts("a\0c", 3);
  EXPECT_NE(c, p);
  EXPECT_NE(AsnOcts("ab"), AsnOcts("abc"));
}

TEST(AsnBits, EncodeAndBitOperations) {
  EXPECT_EQ(Enc(AsnBits()), (Bytes{0x03, 0x01, 0x00}));
  AsnBits nine(9);
  nine.SetBit(0);
  nine.SetBit(8);
  EXPECT_EQ(Enc(nine), (Bytes{0x03, 0x03, 0x07, 0x80, 0x80}));
  AsnBits sixteen(16);
  sixteen.SetBit(15);
  sixteen.SetBit(16);  // beyond the length: ignored
  EXPECT_EQ(Enc(sixteen), (Bytes{0x03, 0x03, 0x00, 0x00, 0x01}));

  EXPECT_TRUE(nine.GetBit(8));
  EXPECT_FALSE(nine.GetBit(9));
  EXPECT_FALSE(nine.IsEmpty());
  nine.ClrBit(0);
  nine.SetBit(8, false);
  EXPECT_TRUE(nine.IsEmpty());
  // Bits past the length in the last octet do not count.
  const unsigned char tail[] = {0x00, 0x7F};
  EXPECT_TRUE(AsnBits(tail, 9).IsEmpty());
  EXPECT_EQ(AsnBits(tail, 9), AsnBits(9));
  EXPECT_NE(AsnBits(tail, 10), AsnBits(10));
  EXPECT_NE(AsnBits(8), AsnBits(9));

  AsnBits copy(sixteen);
  EXPECT_EQ(copy, sixteen);
}

TEST(AsnBits, DecodeAndUnusedBitsRules) {
  AsnBits v(3);
  AsnLen used = 0;
  EXPECT_EQ(Dec(Bytes{0x03, 0x02, 0x07, 0x80}, v, &used), 0);
  EXPECT_EQ(v.BitLen(), 1u);
  EXPECT_TRUE(v.GetBit(0));
  EXPECT_EQ(used, 4u);
  EXPECT_EQ(Dec(Bytes{0x03, 0x01, 0x00}, v), 0);
  EXPECT_EQ(v.BitLen(), 0u);

  EXPECT_EQ(Dec(Bytes{0x03, 0x02, 0x08, 0xFF}, v), -1);  // above 7
  EXPECT_EQ(Dec(Bytes{0x03, 0x01, 0x01}, v), -1);        // more unused than content bits
  EXPECT_EQ(Dec(Bytes{0x03, 0x03, 0x00, 0xFF}, v), -1);  // short
  EXPECT_EQ(Dec(Bytes{0x03, 0x00}, v), -1);              // no unused-bits octet
  EXPECT_EQ(Dec(Bytes{0x04, 0x01, 0x00}, v), -50);

  // Constructed: fragments concatenated, the last unused count applies.
  EXPECT_EQ(Dec(Bytes{0x23, 0x80, 0x03, 0x02, 0x00, 0xAA, 0x23, 0x04, 0x03, 0x02, 0x04, 0xF0, 0x00, 0x00}, v,
                &used),
            0);
  EXPECT_EQ(used, 14u);
  ASSERT_EQ(v.BitLen(), 12u);
  EXPECT_EQ(v.bits[0], 0xAA);
  EXPECT_EQ(v.bits[1] & 0xF0, 0xF0);
  EXPECT_EQ(Dec(Bytes{0x23, 0x03, 0x03, 0x01, 0x00}, v), 0);
  EXPECT_EQ(v.BitLen(), 0u);
  EXPECT_EQ(Dec(Bytes{0x23, 0x03, 0x03, 0x01, 0x03}, v), -1);
  EXPECT_EQ(Dec(Bytes{0x23, 0x02, 0x03, 0x00}, v), -1);
  EXPECT_EQ(Dec(Bytes{0x23, 0x03, 0x04, 0x01, 0x00}, v), -16);
  EXPECT_EQ(Dec(Bytes{0x23, 0x04, 0x03, 0x03, 0x00, 0x01}, v), -15);
}

TEST(AsnOid, FromArcsAndOctets) {
  AsnOid pd(1, 3, 12, 2, 1107, 15);
  EXPECT_EQ(Bytes(pd.oid, pd.oid + pd.Len()), (Bytes{0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F}));
  EXPECT_EQ(Enc(pd), (Bytes{0x06, 0x06, 0x2B, 0x0C, 0x02, 0x88, 0x53, 0x0F}));
  EXPECT_EQ(AsnOidLastArcs()[4], 1107u);
  EXPECT_EQ(AsnOidLastArcs()[6], NO_ARC);

  // Large arcs and a first group above 127; all eleven arcs.
  AsnOid big(2, 999, 0xFFFFFFFEu, 0);
  EXPECT_EQ(Bytes(big.oid, big.oid + big.Len()), (Bytes{0x88, 0x37, 0x8F, 0xFF, 0xFF, 0xFF, 0x7E, 0x00}));
  AsnOid eleven(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);
  EXPECT_EQ(eleven.Len(), 10u);
  EXPECT_EQ(eleven.Arcs(), (std::vector<uint64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  // Arcs after the first absent one are ignored.
  EXPECT_EQ(AsnOid(1, 3, 6, NO_ARC, 7), AsnOid(1, 3, 6));

  EXPECT_NE(AsnOid(big), pd);
  EXPECT_EQ(AsnOid("\x2B\x0C\x02\x88\x53\x0F", 6), pd);

  AsnOid v;
  AsnLen used = 0;
  EXPECT_EQ(Dec(Bytes{0x06, 0x03, 0x55, 0x04, 0x03}, v, &used), 0);
  EXPECT_EQ(v.Arcs(), (std::vector<uint64_t>{2, 5, 4, 3}));
  EXPECT_EQ(used, 5u);
  EXPECT_EQ(Dec(Bytes{0x06, 0x04, 0x55, 0x04}, v), -17);
  EXPECT_EQ(Dec(Bytes{0x04, 0x01, 0x55}, v), -57);
}
