// Decodes arbitrary octets as one of the primitive classes (chosen by the first
// octet), prints what decoded, re-encodes it and checks that the encoding
// decodes back to an equal value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <streambuf>

#include "asn/asn.h"

using namespace CSTA3V6;

namespace {

class NullBuf : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
  std::streamsize xsputn(const char *, std::streamsize n) override { return n; }
};
NullBuf nullBuf;
std::ostream nullOut(&nullBuf);

void Check(bool ok) {
  if (!ok) std::abort();
}

void PrintBoth(const AsnType &v) {
  AsnPrintStream plain(nullOut);
  plain << v;
  AsnPrintStream tagged(nullOut, true);
  tagged << v;
}

// Whole-value decode through T::BDec, then print and round trip.
template <class T, class Eq>
void RoundTrip(const uint8_t *data, size_t size, Eq eq) {
  T v;
  AsnLen consumed = 0;
  if (DecodeFrom(data, size, v, nullOut, &consumed) != 0) {
    PrintBoth(v);  // a partly decoded value must still print and free cleanly
    return;
  }
  Check(consumed <= size);
  PrintBoth(v);
  std::vector<unsigned char> enc;
  Check(EncodeToVector(v, enc));
  T back;
  AsnLen used = 0;
  Check(DecodeFrom(enc.data(), enc.size(), back, nullOut, &used) == 0);
  Check(used == enc.size());
  Check(eq(v, back));
}

// Tag and length read here, content through T::BDecContent under that tag (as
// for an implicitly tagged component).
template <class T>
void ContentOnly(const uint8_t *data, size_t size) {
  AsnBuf b;
  b.InitForDecode(data, size);
  b.errStream = &nullOut;
  T v;
  try {
    AsnLen used = 0;
    AsnTag tag = BDecTag(b, used);
    AsnLen len = BDecLen(b, used);
    v.BDecContent(b, tag, len, used);
    std::vector<unsigned char> blk(2 * size + 64);
    AsnBuf e;
    e.InitForEncode(blk.data(), blk.size());
    AsnLen n = v.BEncContent(e);
    Check(e.writeError || n == e.DataLen());
  } catch (const AsnDecodeError &e) {
    Check(e.code < 0);
  }
  PrintBoth(v);
}

struct OctsList : AsnType {
  AsnList<AsnOcts> list;
  void Print(AsnPrintStream &os) const override { os << list; }
  AsnLen BEnc(AsnBuf &b) const {
    AsnLen l = list.BEncContent(b);
    l += BEncDefLen(b, l);
    b.PutByteRvs(0x30);
    return l + 1;
  }
  void BDec(AsnBuf &b, AsnLen &n) {
    if (BDecTag(b, n) != kTagSequence) AsnThrow(kGenListWrongTag);
    AsnLen len = BDecLen(b, n);
    list.BDecContent(b, kTagSequence, len, n);
  }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  std::cerr.rdbuf(&nullBuf);  // the EOC warning would flood the output
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint8_t sel = data[0];
  ++data;
  --size;
  switch (sel % 11) {
    case 0:
      RoundTrip<AsnInt>(data, size, [](const AsnInt &a, const AsnInt &b) { return a.value == b.value; });
      break;
    case 1:
      RoundTrip<AsnEnum>(data, size, [](const AsnEnum &a, const AsnEnum &b) { return a.value == b.value; });
      break;
    case 2:
      RoundTrip<AsnOcts>(data, size, [](const AsnOcts &a, const AsnOcts &b) { return a == b; });
      break;
    case 3:
      RoundTrip<AsnBits>(data, size, [](const AsnBits &a, const AsnBits &b) { return a == b; });
      break;
    case 4:
      RoundTrip<AsnOid>(data, size, [](const AsnOid &a, const AsnOid &b) { return a == b; });
      break;
    case 5:
      RoundTrip<AsnNull>(data, size, [](const AsnNull &, const AsnNull &) { return true; });
      break;
    case 6:
      RoundTrip<AsnBool>(data, size, [](const AsnBool &a, const AsnBool &b) { return a.value == b.value; });
      break;
    case 7:
      RoundTrip<OctsList>(data, size, [](const OctsList &a, const OctsList &b) {
        if (a.list.Count() != b.list.Count()) return false;
        OctsList copy;
        copy.list = a.list;
        const AsnList<AsnOcts>::Node *x = copy.list.First(), *y = b.list.First();
        for (; x && y; x = x->next, y = y->next)
          if (!(x->elmt == y->elmt)) return false;
        return !x && !y;
      });
      break;
    case 8:
      ContentOnly<AsnOcts>(data, size);
      break;
    case 9:
      ContentOnly<AsnBits>(data, size);
      break;
    default:
      ContentOnly<AsnList<AsnInt>>(data, size);
      break;
  }
  return 0;
}
