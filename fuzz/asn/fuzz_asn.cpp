// Decodes arbitrary octets as one of the primitive classes (chosen by the first
// octet), prints what decoded, re-encodes it and checks that the encoding
// decodes back to an equal value.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "asn/asn.h"

using namespace CSTA3V6;

namespace {

// Writes to a stream without a buffer are dropped.
std::ostream nullOut(nullptr);

void Check(bool ok) {
  if (!ok) std::abort();
}

void PrintBoth(const AsnType &v) {
  AsnPrintStream plain(nullOut);
  plain << v;
  AsnPrintStream tagged(nullOut, true);
  tagged << v;
}

// Whole-value decode through T::BDec, then print and round trip: the encoding
// decodes whole and encodes again to the same octets.
template <class T>
void RoundTrip(const uint8_t *data, size_t size) {
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
  Check(EncodeToVector(T(back)) == enc);  // through a copy
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
  std::cerr.rdbuf(nullptr);  // the EOC warning would flood the output
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const uint8_t sel = data[0];
  ++data;
  --size;
  using Target = void (*)(const uint8_t *, size_t);
  static const Target kTargets[] = {RoundTrip<AsnInt>,    RoundTrip<AsnEnum>,    RoundTrip<AsnOcts>,
                                    RoundTrip<AsnBits>,   RoundTrip<AsnOid>,     RoundTrip<AsnNull>,
                                    RoundTrip<AsnBool>,   RoundTrip<OctsList>,   ContentOnly<AsnOcts>,
                                    ContentOnly<AsnBits>, ContentOnly<AsnList<AsnInt>>};
  kTargets[sel % 11](data, size);
  return 0;
}
