#include <gtest/gtest.h>

#include "asn/asn.h"
#include "tests/asn/asn_test_util.h"

using namespace CSTA3V6;
using k3test::Bytes;

namespace {

// Runs f on a decode buffer over in; returns the error code (0 when none).
template <class F>
int WithDecodeBuf(const Bytes &in, F f) {
  AsnBuf b;
  b.InitForDecode(in.data(), in.size());
  try {
    f(b);
  } catch (const AsnDecodeError &e) {
    return e.code;
  }
  return 0;
}

Bytes EncodeLen(AsnLen len, AsnLen *written) {
  unsigned char blk[8];
  AsnBuf b;
  b.InitForEncode(blk, sizeof blk);
  *written = BEncDefLen(b, len);
  return Bytes(b.dataStart, b.dataEnd);
}

}  // namespace

// The flags, not an overrun: what does not fit is not stored at all, and reads
// past the end yield what was there.
TEST(AsnBuf, OctetAccessSetsFlagsInsteadOfOverrunning) {
  unsigned char blk[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  AsnBuf b;
  b.InitForEncode(blk, sizeof blk);
  const unsigned char seg[] = {0x0A, 0x0B, 0x0C};
  b.PutSegRvs(seg, 3);
  b.PutSegRvs(seg, 2);
  EXPECT_TRUE(b.writeError);
  b.PutByteRvs(0x01);
  b.PutByteRvs(0x09);  // block full now
  EXPECT_EQ(Bytes(blk, blk + 4), (Bytes{0x01, 0x0A, 0x0B, 0x0C}));

  b.ResetForDecode();
  unsigned char out[8] = {};
  EXPECT_EQ(b.CopyOut(out, 5), 4u);
  EXPECT_EQ(out[3], 0x0C);
  EXPECT_TRUE(b.readError);
  EXPECT_EQ(b.GetByte(), 0);
}

TEST(AsnBuf, DecodeTag) {
  struct Case {
    Bytes in;
    AsnTag tag;
    AsnLen used;
  } cases[] = {
      {{0x1F, 0x05}, 0x1F050000u, 2},
      // The fourth tag octet continues, but a tag never takes a fifth.
      {{0x1F, 0x81, 0x82, 0x83, 0x04}, 0x1F818283u, 4},
      {{0x7F, 0x81, 0x00, 0xFF}, 0x7F810000u, 3},
  };
  for (const Case &c : cases) {
    AsnLen used = 0;
    AsnTag tag = 0;
    EXPECT_EQ(WithDecodeBuf(c.in, [&](AsnBuf &b) { tag = BDecTag(b, used); }), 0);
    EXPECT_EQ(tag, c.tag);
    EXPECT_EQ(used, c.used);
  }
  for (const Bytes &in : {Bytes{}, Bytes{0x1F}, Bytes{0x1F, 0x81, 0x82}}) {
    AsnLen used = 0;
    EXPECT_EQ(WithDecodeBuf(in, [&](AsnBuf &b) { BDecTag(b, used); }), -22) << in.size();
  }
}

TEST(AsnBuf, DecodeLength) {
  struct Case {
    Bytes in;
    int rc;
    AsnLen len;
    AsnLen used;
  } cases[] = {
      // The definite forms are read back in the encoding test below.
      {{0x80}, 0, INDEFINITE_LEN, 1},
      {{0x84, 0x12, 0x34, 0x56, 0x78}, 0, 0x12345678u, 5},
      {{}, -9, 0, 0},
      {{0x85, 0, 0, 0, 0, 1}, -10, 0, 0},
      {{0x81}, -11, 0, 0},
  };
  for (const Case &c : cases) {
    AsnLen used = 0, len = 0;
    EXPECT_EQ(WithDecodeBuf(c.in, [&](AsnBuf &b) { len = BDecLen(b, used); }), c.rc) << int(c.in.size());
    if (c.rc == 0) {
      EXPECT_EQ(len, c.len);
      EXPECT_EQ(used, c.used);
    }
  }
}

TEST(AsnBuf, EncodeDefiniteLengthFormsAndTheirBounds) {
  struct Case {
    AsnLen len;
    Bytes out;
  } cases[] = {
      {0, {0x00}},
      {127, {0x7F}},
      {128, {0x81, 0x80}},
      {256, {0x82, 0x01, 0x00}},
      {65536, {0x83, 0x01, 0x00, 0x00}},
      {16777125, {0x83, 0xFF, 0xFF, 0xA5}},
      // From 16777126 upwards the four-octet form is used, below 2^24 already.
      {16777126, {0x84, 0x00, 0xFF, 0xFF, 0xA6}},
      {0xFFFFFFFEu, {0x84, 0xFF, 0xFF, 0xFF, 0xFE}},
  };
  for (const Case &c : cases) {
    AsnLen written = 0;
    Bytes out = EncodeLen(c.len, &written);
    EXPECT_EQ(out, c.out) << c.len;
    EXPECT_EQ(written, c.out.size()) << c.len;
    AsnLen used = 0, back = 0;
    EXPECT_EQ(WithDecodeBuf(out, [&](AsnBuf &b) { back = BDecLen(b, used); }), 0);
    EXPECT_EQ(back, c.len);
    EXPECT_EQ(used, c.out.size());
  }
  // Too small a block: the count is still that of the full form.
  unsigned char blk[2];
  AsnBuf b;
  b.InitForEncode(blk, sizeof blk);
  EXPECT_EQ(BEncDefLen(b, 70000), 4u);
  EXPECT_TRUE(b.writeError);
}

TEST(AsnBuf, EndOfContents) {
  unsigned char blk[2] = {0xEE, 0xEE};
  AsnBuf b;
  b.InitForEncode(blk, sizeof blk);
  EXPECT_EQ(BEncEoc(b), 2u);
  EXPECT_EQ(Bytes(blk, blk + 2), (Bytes{0x00, 0x00}));

  AsnLen used = 5;
  EXPECT_EQ(WithDecodeBuf({0x00, 0x00, 0x30}, [&](AsnBuf &d) { BDecEoc(d, used); }), 0);
  EXPECT_EQ(used, 7u);
  for (const Bytes &in : {Bytes{0x00, 0x01}, Bytes{0x01, 0x00}, Bytes{0x00}}) {
    EXPECT_EQ(WithDecodeBuf(in, [&](AsnBuf &d) { BDecEoc(d, used); }), -12);
  }
}

TEST(AsnBuf, TagEncodingMatchesTagValues) {
  struct Case {
    unsigned char cls, form;
    unsigned code;
    Bytes out;
    AsnTag tag;
  } cases[] = {
      {CNTX, CONS, 3, {0xA3}, 0xA3000000u},
      {UNIV, CONS, 16, {0x30}, 0x30000000u},
      {CNTX, PRIM, 30, {0x9E}, 0x9E000000u},
      {APPL, PRIM, 31, {0x5F, 0x1F}, 0x5F1F0000u},
      {CNTX, PRIM, 200, {0x9F, 0x81, 0x48}, 0x9F814800u},
      {PRIV, CONS, 0x4000, {0xFF, 0x81, 0x80, 0x00}, 0xFF818000u},
  };
  for (const Case &c : cases) {
    unsigned char blk[8];
    AsnBuf b;
    b.InitForEncode(blk, sizeof blk);
    EXPECT_EQ(BEncTag1(b, c.cls, c.form, c.code), c.out.size());
    Bytes out(b.dataStart, b.dataEnd);
    EXPECT_EQ(out, c.out) << c.code;
    EXPECT_EQ(MAKE_TAG_ID(c.cls, c.form, c.code), c.tag) << c.code;
    AsnLen used = 0;
    AsnTag back = 0;
    EXPECT_EQ(WithDecodeBuf(out, [&](AsnBuf &d) { back = BDecTag(d, used); }), 0);
    EXPECT_EQ(back, c.tag);
  }
}

TEST(AsnBuf, EncodeIntoTooSmallBlockReturnsWithWriteError) {
  AsnOcts v(std::string(300, 'x').c_str());
  unsigned char blk[100];
  AsnBuf b;
  b.InitForEncode(blk, sizeof blk);
  EXPECT_EQ(v.BEnc(b), 304u);
  EXPECT_TRUE(b.writeError);

  // The vector helper retries with larger blocks until the value fits.
  AsnOcts big(std::string(5000, 'y').c_str());
  Bytes out = k3test::Enc(big);
  ASSERT_EQ(out.size(), 5004u);
  EXPECT_EQ(Bytes(out.begin(), out.begin() + 4), (Bytes{0x04, 0x82, 0x13, 0x88}));
  EXPECT_EQ(out.back(), 'y');
}
