// Decode, re-encode and free every message of a corpus of whole CSTAMsg
// encodings ("LABEL HEX" or "HEX" lines, e.g. the conformance suite's
// judge.txt), against a bare walk over the same TLVs as the floor.
//   bench-corpus [CORPUS] [REPETITIONS] [round-trip]
// Each phase runs REPETITIONS times over the whole corpus; the best run counts.
// With "round-trip" only the interleaved phase and the walk run (for a profile).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "bench/alloc_count.h"
#include "csta3_model.h"

namespace {

using namespace CSTA3V6;
using Bytes = std::vector<unsigned char>;
using Clock = std::chrono::steady_clock;

bool Unhex(const std::string &s, Bytes &out) {
  auto val = [](char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1; };
  if (s.size() % 2) return false;
  for (size_t i = 0; i < s.size(); i += 2) {
    int h = val(s[i]), l = val(s[i + 1]);
    if (h < 0 || l < 0) return false;
    out.push_back(static_cast<unsigned char>(h * 16 + l));
  }
  return true;
}

// Every message that decodes as a whole CSTAMsg (the later edition's
// operations, which are refused, are left out).
std::vector<Bytes> Load(const char *path) {
  std::vector<Bytes> corpus;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::string a, b;
    words >> a >> b;
    Bytes m;
    if (!Unhex(b.empty() ? a : b, m) || m.empty()) continue;
    CSTAMsg msg;
    std::ostringstream err;
    AsnLen used = 0;
    if (DecodeFrom(m.data(), m.size(), msg, err, &used) == 0 && used == m.size()) corpus.push_back(std::move(m));
  }
  return corpus;
}

// The floor: every tag and length read, constructed values entered, no
// allocation, no objects.
uint64_t Walk(const unsigned char *p, const unsigned char *end) {
  uint64_t sum = 0;
  while (p < end) {
    uint32_t tag = *p++;
    bool constructed = tag & 0x20;
    if ((tag & 0x1F) == 0x1F)
      while (p < end && (*p++ & 0x80)) tag = (tag << 8) | p[-1];
    if (p >= end) break;
    size_t len = *p++;
    if (len & 0x80) {
      size_t n = len & 0x7F;
      len = 0;
      while (n-- && p < end) len = (len << 8) | *p++;
    }
    if (len > size_t(end - p)) len = size_t(end - p);
    sum += tag + len;
    if (constructed) sum += Walk(p, p + len);
    p += len;
  }
  return sum;
}

struct Phase {
  double best = 1e300;
  uint64_t allocs = 0;
};

template <class F>
void Time(Phase &ph, F f) {
  uint64_t a0 = g_allocs.load();
  auto t0 = Clock::now();
  f();
  double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
  ph.allocs = g_allocs.load() - a0;
  ph.best = std::min(ph.best, ns);
}

}  // namespace

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : "build/native/conformance/judge.txt";
  int reps = argc > 2 ? std::max(1, std::atoi(argv[2])) : 20;
  const bool phases = !(argc > 3 && std::string(argv[3]) == "round-trip");
  std::vector<Bytes> corpus = Load(path);
  if (corpus.empty()) {
    std::printf("bench-corpus: no messages in %s (./kestrel3.sh conformance writes the corpus)\n", path);
    return 0;
  }
  size_t octets = 0;
  for (const Bytes &m : corpus) octets += m.size();
  const size_t n = corpus.size();
  std::vector<CSTAMsg *> objs(n, nullptr);
  std::vector<unsigned char> block(1 << 16);
  std::ostringstream err;
  uint64_t sink = 0;
  Phase dec, enc, fre, rt, walk;

  auto decodeOne = [&](const Bytes &m, CSTAMsg *o) {
    AsnBuf b;
    b.InitForDecode(m.data(), m.size());
    b.errStream = &err;
    AsnLen used = 0;
    o->BDec(b, used);
    sink += used;
  };
  auto encodeOne = [&](const CSTAMsg *o) {
    AsnBuf b;
    b.InitForEncode(block.data(), block.size());
    sink += o->BEnc(b);
  };
  for (int r = 0; r < reps && phases; ++r) {
    Time(dec, [&] {
      for (size_t i = 0; i < n; ++i) {
        objs[i] = new CSTAMsg;
        decodeOne(corpus[i], objs[i]);
      }
    });
    Time(enc, [&] {
      for (size_t i = 0; i < n; ++i) encodeOne(objs[i]);
    });
    Time(fre, [&] {
      for (size_t i = 0; i < n; ++i) delete objs[i];
    });
  }
  for (int r = 0; r < reps; ++r) {
    Time(rt, [&] {
      for (size_t i = 0; i < n; ++i) {
        CSTAMsg *o = new CSTAMsg;
        decodeOne(corpus[i], o);
        encodeOne(o);
        delete o;
      }
    });
    Time(walk, [&] {
      for (size_t i = 0; i < n; ++i) sink += Walk(corpus[i].data(), corpus[i].data() + corpus[i].size());
    });
  }
  auto per = [&](const Phase &p) { return p.best / double(n); };
  std::printf("corpus: %zu messages, %zu octets (%.1f per message), best of %d runs\n", n, octets,
              double(octets) / double(n), reps);
  if (phases) {
    std::printf("decode      %8.0f ns/message  %6.1f allocations/message\n", per(dec), double(dec.allocs) / double(n));
    std::printf("encode      %8.0f ns/message  %6.1f allocations/message\n", per(enc), double(enc.allocs) / double(n));
    std::printf("free        %8.0f ns/message\n", per(fre));
  }
  std::printf("round trip  %8.0f ns/message  %6.1f allocations/message\n", per(rt), double(rt.allocs) / double(n));
  std::printf("TLV walk    %8.1f ns/message  (floor)\n", per(walk));
  std::printf("ratio round trip / floor: %.0f\n", per(rt) / per(walk));
  return sink == 42 ? 1 : 0;
}
