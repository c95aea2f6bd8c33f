#include "asn/asn_pool.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#define K3_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define K3_POOL_ASAN 1
#endif
#endif

#ifdef K3_POOL_ASAN
#include <sanitizer/asan_interface.h>
#define K3_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define K3_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define K3_POISON(p, n) ((void)(p), (void)(n))
#define K3_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

#ifdef _WIN32
// In a DLL a thread-exit destructor pins the module until every thread that
// ran one has ended (the C++ runtime takes a reference on it), so a host could
// no longer unload the library. There the threads that keep blocks are listed
// instead, and the library's entry point empties a thread's lists when the
// thread ends and every list when the library is unloaded.
#define K3_POOL_LISTED 1
#include <mutex>
#endif

namespace CSTA3V6 {

namespace {

struct FreeBlock {
  FreeBlock *next;
};

enum : uint8_t { kUnused = 0, kLive = 1, kGone = 2 };

// Plain data, so that it is usable at any time in the thread's life (no
// constructor runs first, no destructor runs before other thread-exit code
// that may still free model objects).
struct Lists {
  FreeBlock *head[kAsnPoolClasses];
  unsigned count[kAsnPoolClasses];
  size_t idleBytes;
  uint8_t state;
  Lists *prev, *next;  // among the listed threads' lists
};

thread_local Lists tlsLists;

void Drain(Lists &l) {
  for (size_t c = 0; c < kAsnPoolClasses; ++c) {
    FreeBlock *b = l.head[c];
    while (b) {
      K3_UNPOISON(b, sizeof(FreeBlock));
      FreeBlock *next = b->next;
      std::free(b);
      b = next;
    }
    l.head[c] = nullptr;
    l.count[c] = 0;
  }
  l.idleBytes = 0;
}

#ifdef K3_POOL_LISTED
std::mutex g_listedLock;
Lists *g_listed = nullptr;

void Enlist(Lists &l) {
  std::lock_guard<std::mutex> lock(g_listedLock);
  l.prev = nullptr;
  l.next = g_listed;
  if (g_listed) g_listed->prev = &l;
  g_listed = &l;
}
#else
// Its destructor runs at thread exit and gives the idle blocks back.
struct DrainAtExit {
  ~DrainAtExit() { AsnPoolThreadEnd(); }
};
#endif

constexpr size_t kSmallLimit = 16 * kAsnPoolGrain;
constexpr size_t kLargeLimit = kSmallLimit + 15 * kAsnPoolLargeGrain;

// The class index of n, or kAsnPoolClasses when n is not pooled.
inline size_t ClassOf(size_t n) {
  if (n <= kSmallLimit) return n == 0 ? 0 : (n - 1) / kAsnPoolGrain;
  if (n <= kLargeLimit) return 16 + (n - kSmallLimit - 1) / kAsnPoolLargeGrain;
  return kAsnPoolClasses;
}

inline size_t BlockSize(size_t c) {
  return c < 16 ? (c + 1) * kAsnPoolGrain : kSmallLimit + (c - 15) * kAsnPoolLargeGrain;
}

void *Fresh(size_t bytes) {
  if (void *p = std::malloc(bytes ? bytes : 1)) return p;
  throw std::bad_alloc();
}

}  // namespace

void *AsnPoolAlloc(size_t n) {
  const size_t c = ClassOf(n);
  if (c == kAsnPoolClasses) return Fresh(n);
  Lists &l = tlsLists;
  const size_t blockSize = BlockSize(c);
  if (FreeBlock *b = l.head[c]) {
    K3_UNPOISON(b, blockSize);
    l.head[c] = b->next;
    --l.count[c];
    l.idleBytes -= blockSize;
    K3_POISON(reinterpret_cast<char *>(b) + n, blockSize - n);
    return b;
  }
  void *p = Fresh(blockSize);
  K3_POISON(static_cast<char *>(p) + n, blockSize - n);
  return p;
}

void AsnPoolFree(void *p, size_t n) noexcept {
  if (!p) return;
  const size_t c = ClassOf(n);
  const size_t blockSize = BlockSize(c);
#ifdef K3_POOL_ASAN
  if (c < kAsnPoolClasses) {
    K3_UNPOISON(static_cast<char *>(p) + n, blockSize - n);
    if (__asan_address_is_poisoned(p)) {
      // An idle block: this is its second delete. Let the sanitizer say so.
      std::fprintf(stderr, "AsnPoolFree: block %p freed twice\n", p);
      __asan_report_error(__builtin_return_address(0), nullptr, nullptr, p, true, n);
    }
  }
#endif
  Lists &l = tlsLists;
  if (c == kAsnPoolClasses || l.state == kGone || l.idleBytes + blockSize > kAsnPoolIdleBytes) {
    std::free(p);
    return;
  }
  if (l.state == kUnused) {
    // First block kept on this thread: arrange for the lists to be emptied at
    // its exit.
#ifdef K3_POOL_LISTED
    Enlist(l);
#else
    static thread_local DrainAtExit drain;
    (void)&drain;
#endif
    l.state = kLive;
  }
  FreeBlock *b = static_cast<FreeBlock *>(p);
  b->next = l.head[c];
  l.head[c] = b;
  ++l.count[c];
  l.idleBytes += blockSize;
  K3_POISON(b, blockSize);
}

unsigned AsnPoolIdle(size_t n) {
  const size_t c = ClassOf(n);
  return c == kAsnPoolClasses ? 0 : tlsLists.count[c];
}

void AsnPoolThreadEnd() noexcept {
  Lists &l = tlsLists;
  if (l.state != kLive) {
    l.state = kGone;
    return;
  }
#ifdef K3_POOL_LISTED
  std::lock_guard<std::mutex> lock(g_listedLock);
  if (l.prev) l.prev->next = l.next;
  else g_listed = l.next;
  if (l.next) l.next->prev = l.prev;
#endif
  Drain(l);
  l.state = kGone;
}

void AsnPoolReleaseAll() noexcept {
#ifdef K3_POOL_LISTED
  std::lock_guard<std::mutex> lock(g_listedLock);
  for (Lists *l = g_listed; l; l = l->next) {
    Drain(*l);
    l->state = kGone;
  }
  g_listed = nullptr;
#else
  AsnPoolThreadEnd();
#endif
}

}  // namespace CSTA3V6
