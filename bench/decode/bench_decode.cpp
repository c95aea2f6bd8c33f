// csta3-decode's stream mode over a 10,000-message capture made of the default
// scenario's messages repeated: one-line summaries, and the full print.
#include <benchmark/benchmark.h>

#include <fstream>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "tools/csta3-decode/stream.h"

namespace {

std::vector<unsigned char> TenThousandMessages() {
  std::vector<std::vector<unsigned char>> msgs;
  std::ifstream in(K3_CAPTURE);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    size_t n = 0;
    words >> n;
    std::vector<unsigned char> m;
    for (std::string hex; words >> hex;) m.push_back(static_cast<unsigned char>(std::stoul(hex, nullptr, 16)));
    msgs.push_back(m);
  }
  std::vector<unsigned char> stream;
  for (size_t i = 0; !msgs.empty() && i < 10000; ++i) {
    const auto &m = msgs[i % msgs.size()];
    stream.insert(stream.end(), m.begin(), m.end());
  }
  return stream;
}

// Counts the characters and drops them, as writing to /dev/null would.
struct NullBuf : std::streambuf {
  size_t n = 0;
  int overflow(int c) override { ++n; return c; }
  std::streamsize xsputn(const char *, std::streamsize k) override { n += size_t(k); return k; }
};

void Stream(benchmark::State &state, bool summary) {
  static const std::vector<unsigned char> stream = TenThousandMessages();
  k3decode::PrintOptions opt;
  opt.summary = summary;
  size_t decoded = 0;
  for (auto _ : state) {
    NullBuf buf;
    std::ostream out(&buf);
    decoded = k3decode::DecodeStream(stream.data(), stream.size(), opt, out).decoded;
    benchmark::DoNotOptimize(buf.n);
  }
  if (decoded != 10000) state.SkipWithError("not every message decoded");
  state.counters["messages"] = double(decoded);
  state.counters["octets"] = double(stream.size());
}

void BM_Stream10kSummary(benchmark::State &state) { Stream(state, true); }
void BM_Stream10kFullPrint(benchmark::State &state) { Stream(state, false); }

}  // namespace

BENCHMARK(BM_Stream10kSummary)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Stream10kFullPrint)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
