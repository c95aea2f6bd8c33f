// Encode and decode costs of the primitive classes and of a tag+length header,
// and the two shapes whose cost must stay linear in their size: a constructed
// string of many empty fragments and the copy of a long list.
#include <benchmark/benchmark.h>

#include <sstream>
#include <vector>

#include "asn/asn.h"

using namespace CSTA3V6;

namespace {

std::ostringstream errSink;

template <class T>
void EncodeLoop(benchmark::State &state, const T &v) {
  std::vector<unsigned char> blk(8192);
  AsnBuf b;
  for (auto _ : state) {
    b.InitForEncode(blk.data(), blk.size());
    benchmark::DoNotOptimize(v.BEnc(b));
    benchmark::DoNotOptimize(b.dataStart);
  }
  if (b.writeError) state.SkipWithError("write error");
}

template <class T>
void DecodeLoop(benchmark::State &state, const std::vector<unsigned char> &enc) {
  AsnBuf b;
  b.errStream = &errSink;
  T v;
  for (auto _ : state) {
    b.InitForDecode(enc.data(), enc.size());
    AsnLen n = 0;
    v.BDec(b, n);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(v);
  }
}

AsnOcts MakeOcts(size_t n) {
  std::string s(n, 'x');
  for (size_t i = 0; i < n; ++i) s[i] = char('a' + i % 26);
  return AsnOcts(s.data(), s.size());
}

// Constructed, indefinite length, fragments of 32 octets.
std::vector<unsigned char> ConstructedOcts(size_t n) {
  std::vector<unsigned char> out = {0x24, 0x80};
  for (size_t done = 0; done < n; done += 32) {
    size_t k = n - done < 32 ? n - done : 32;
    out.push_back(0x04);
    out.push_back((unsigned char)k);
    for (size_t i = 0; i < k; ++i) out.push_back((unsigned char)('a' + (done + i) % 26));
  }
  out.push_back(0);
  out.push_back(0);
  return out;
}

// Indefinite-length constructed string of empty fragments, about n octets long.
std::vector<unsigned char> EmptyFragments(size_t n) {
  std::vector<unsigned char> out = {0x24, 0x80};
  for (size_t i = 0; i + 4 <= n; i += 2) {
    out.push_back(0x04);
    out.push_back(0x00);
  }
  out.push_back(0);
  out.push_back(0);
  return out;
}

void BM_OctsDecodeEmptyFragments(benchmark::State &state) {
  DecodeLoop<AsnOcts>(state, EmptyFragments(size_t(state.range(0))));
  state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
}
void BM_ListCopy(benchmark::State &state) {
  AsnList<AsnInt> src;
  for (int64_t i = 0; i < state.range(0); ++i) *src.Append() = AsnInt(int32_t(i));
  for (auto _ : state) {
    AsnList<AsnInt> copy(src);
    benchmark::DoNotOptimize(copy.last);
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
}

void BM_IntEncode(benchmark::State &state) { EncodeLoop(state, AsnInt(int32_t(state.range(0)))); }
void BM_IntDecode(benchmark::State &state) {
  DecodeLoop<AsnInt>(state, EncodeToVector(AsnInt(int32_t(state.range(0)))));
}
void BM_OctsEncode(benchmark::State &state) { EncodeLoop(state, MakeOcts(size_t(state.range(0)))); }
void BM_OctsDecodePrimitive(benchmark::State &state) {
  DecodeLoop<AsnOcts>(state, EncodeToVector(MakeOcts(size_t(state.range(0)))));
}
void BM_OctsDecodeConstructed(benchmark::State &state) {
  DecodeLoop<AsnOcts>(state, ConstructedOcts(size_t(state.range(0))));
}
void BM_BitsEncode(benchmark::State &state) {
  AsnBits v(size_t(state.range(0)));
  for (int64_t i = 0; i < state.range(0); i += 3) v.SetBit(size_t(i));
  EncodeLoop(state, v);
}
void BM_BitsDecode(benchmark::State &state) {
  AsnBits v(size_t(state.range(0)));
  for (int64_t i = 0; i < state.range(0); i += 3) v.SetBit(size_t(i));
  DecodeLoop<AsnBits>(state, EncodeToVector(v));
}
void BM_OidFromArcs(benchmark::State &state) {
  for (auto _ : state) {
    AsnOid v(1, 3, 12, 2, 1107, 15);
    benchmark::DoNotOptimize(v.oid);
  }
}
void BM_OidEncode(benchmark::State &state) { EncodeLoop(state, AsnOid(1, 3, 12, 2, 1107, 15)); }
void BM_OidDecode(benchmark::State &state) { DecodeLoop<AsnOid>(state, EncodeToVector(AsnOid(1, 3, 12, 2, 1107, 15))); }

void BM_TagLenEncode(benchmark::State &state) {
  unsigned char blk[16];
  AsnBuf b;
  for (auto _ : state) {
    b.InitForEncode(blk, sizeof blk);
    AsnLen n = BEncDefLen(b, 300);
    b.PutByteRvs(0xA1);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(b.dataStart);
  }
}
void BM_TagLenDecode(benchmark::State &state) {
  const unsigned char hdr[] = {0xA1, 0x82, 0x01, 0x2C};
  AsnBuf b;
  for (auto _ : state) {
    b.InitForDecode(hdr, sizeof hdr);
    AsnLen n = 0;
    AsnTag t = BDecTag(b, n);
    AsnLen l = BDecLen(b, n);
    benchmark::DoNotOptimize(t);
    benchmark::DoNotOptimize(l);
  }
}

}  // namespace

BENCHMARK(BM_IntEncode)->Arg(5)->Arg(-8388609);
BENCHMARK(BM_IntDecode)->Arg(5)->Arg(-8388609);
BENCHMARK(BM_OctsEncode)->Arg(64)->Arg(1024);
BENCHMARK(BM_OctsDecodePrimitive)->Arg(64)->Arg(1024);
BENCHMARK(BM_OctsDecodeConstructed)->Arg(64)->Arg(1024);
BENCHMARK(BM_OctsDecodeEmptyFragments)->Arg(200 << 10)->Arg(800 << 10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListCopy)->Arg(1000)->Arg(40000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BitsEncode)->Arg(32);
BENCHMARK(BM_BitsDecode)->Arg(32);
BENCHMARK(BM_OidFromArcs);
BENCHMARK(BM_OidEncode);
BENCHMARK(BM_OidDecode);
BENCHMARK(BM_TagLenEncode);
BENCHMARK(BM_TagLenDecode);

BENCHMARK_MAIN();
