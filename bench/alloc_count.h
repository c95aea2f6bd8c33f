// Counts heap allocations through a replaced global operator new.  Include it
// in exactly one source file of a benchmark program.
#ifndef K3_BENCH_ALLOC_COUNT_H
#define K3_BENCH_ALLOC_COUNT_H

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

static std::atomic<uint64_t> g_allocs{0};

void *operator new(std::size_t n) {
  g_allocs.fetch_add(1, std::memory_order_relaxed);
  if (void *p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }

#endif
