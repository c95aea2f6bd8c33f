// Decode, encode, copy and print of five representative messages, with the
// heap allocations per message counted through a replaced operator new.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <sstream>
#include <vector>

#include "bench/alloc_count.h"
#include "csta3_model.h"

namespace {

using namespace CSTA3V6;
using Bytes = std::vector<unsigned char>;

const Bytes kMessages[] = {
    // makeCall invoke
    {0xA1, 0x16, 0x02, 0x01, 0x01, 0x02, 0x01, 0x0A, 0x30, 0x0E, 0x30, 0x05, 0x80, 0x03,
     0x32, 0x30, 0x31, 0x30, 0x05, 0x80, 0x03, 0x33, 0x30, 0x32},
    // escape invoke with private data as an octet string
    {0xA1, 0x0D, 0x02, 0x01, 0x02, 0x02, 0x01, 0x33, 0x30, 0x05, 0x04, 0x03, 0x41, 0x42, 0x43},
    // cSTAEventReport, agent logged on
    {0xA1, 0x1D, 0x02, 0x01, 0x07, 0x02, 0x01, 0x15, 0x30, 0x15, 0x55, 0x02, 0x00, 0x01, 0xA4, 0x0F,
     0xA1, 0x0D, 0x63, 0x07, 0x30, 0x05, 0x80, 0x03, 0x32, 0x30, 0x31, 0x82, 0x02, 0x34, 0x32},
    // getAgentState result
    {0xA2, 0x16, 0x02, 0x01, 0x09, 0x30, 0x11, 0x02, 0x02, 0x01, 0x30, 0x30,
     0x0B, 0x30, 0x09, 0x30, 0x07, 0x04, 0x02, 0x34, 0x32, 0x01, 0x01, 0xFF},
    // universal failure error
    {0xA3, 0x0B, 0x02, 0x01, 0x05, 0x02, 0x01, 0x01, 0xA0, 0x03, 0x0A, 0x01, 0x01},
};
const char *const kNames[] = {"makeCall", "escape", "agentLoggedOn", "getAgentStateResult", "error"};

void Report(benchmark::State &st, uint64_t allocs) {
  st.counters["allocs/msg"] = benchmark::Counter(double(allocs) / double(st.iterations()));
}

void BM_Decode(benchmark::State &st) {
  const Bytes &m = kMessages[st.range(0)];
  std::ostringstream err;
  uint64_t a0 = g_allocs;
  for (auto _ : st) {
    CSTAMsg msg;
    AsnBuf b;
    b.InitForDecode(m.data(), m.size());
    b.errStream = &err;
    AsnLen n = 0;
    msg.BDec(b, n);
    benchmark::DoNotOptimize(msg.choiceId);
  }
  Report(st, g_allocs - a0);
  st.SetLabel(kNames[st.range(0)]);
}

void BM_Encode(benchmark::State &st) {
  const Bytes &m = kMessages[st.range(0)];
  CSTAMsg msg;
  std::ostringstream err;
  DecodeFrom(m.data(), m.size(), msg, err);
  unsigned char blk[512];
  uint64_t a0 = g_allocs;
  for (auto _ : st) {
    AsnBuf b;
    b.InitForEncode(blk, sizeof blk);
    benchmark::DoNotOptimize(msg.BEnc(b));
  }
  Report(st, g_allocs - a0);
  st.SetLabel(kNames[st.range(0)]);
}

void BM_Copy(benchmark::State &st) {
  const Bytes &m = kMessages[st.range(0)];
  CSTAMsg msg;
  std::ostringstream err;
  DecodeFrom(m.data(), m.size(), msg, err);
  uint64_t a0 = g_allocs;
  for (auto _ : st) {
    CSTAMsg copy(msg);
    benchmark::DoNotOptimize(copy.choiceId);
  }
  Report(st, g_allocs - a0);
  st.SetLabel(kNames[st.range(0)]);
}

void BM_Print(benchmark::State &st) {
  const Bytes &m = kMessages[st.range(0)];
  CSTAMsg msg;
  std::ostringstream err;
  DecodeFrom(m.data(), m.size(), msg, err);
  std::ostringstream out;
  AsnPrintStream ps(out);
  uint64_t a0 = g_allocs;
  for (auto _ : st) {
    out.str(std::string());
    ps.atLineStart = true;
    ps << msg;
  }
  Report(st, g_allocs - a0);
  st.SetLabel(kNames[st.range(0)]);
}

}  // namespace

BENCHMARK(BM_Decode)->DenseRange(0, 4);
BENCHMARK(BM_Encode)->DenseRange(0, 4);
BENCHMARK(BM_Copy)->DenseRange(0, 4);
BENCHMARK(BM_Print)->DenseRange(0, 4);
BENCHMARK_MAIN();
