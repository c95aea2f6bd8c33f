#include "asn/asn_pool.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
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

namespace CSTA3V6 {

namespace {

struct FreeBlock {
  FreeBlock *next;
};

// One thread's lists. Allocated when the thread keeps its first block and
// owned by the registry below, not by the thread's own storage: emulated
// thread-local storage (MinGW) is freed at thread exit in no fixed order with
// other exit code, and a C++ thread-exit destructor would pin the Windows DLL
// until the thread ends. A pthread key's destructor, which does neither,
// hands the record back when the thread ends.
struct Lists {
  FreeBlock *head[kAsnPoolClasses];
  unsigned count[kAsnPoolClasses];
  size_t idleBytes;
  Lists *prev, *next;  // in the registry
};

// Stands for the lists of a thread whose lists are gone: it keeps nothing and
// every free on that thread goes straight back to free.
Lists g_gone;

// Null until the thread keeps a block, then its record, then &g_gone.
thread_local Lists *tlsLists;

std::mutex g_registryLock;
Lists *g_registry = nullptr;
size_t g_registered = 0;
pthread_key_t g_threadKey;
bool g_keyMade = false;

void Drain(Lists &l) {
  for (size_t c = 0; c < kAsnPoolClasses; ++c) {
    FreeBlock *b = l.head[c];
    while (b) {
      K3_UNPOISON(b, sizeof(FreeBlock));
      FreeBlock *next = b->next;
      std::free(b);
      b = next;
    }
  }
}

// Unlinks l, gives its blocks back and frees it. Takes the registry's lock.
void Release(Lists *l) {
  {
    std::lock_guard<std::mutex> lock(g_registryLock);
    if (l->prev) l->prev->next = l->next;
    else g_registry = l->next;
    if (l->next) l->next->prev = l->prev;
    --g_registered;
  }
  Drain(*l);
  std::free(l);
}

// The thread-exit hand-back. Marks the thread's lists gone first, so a later
// free on the way out (another exit routine deleting a model object) does not
// touch the released record. (Some runtimes call it with the null that
// AsnPoolThreadEnd left.)
void ThreadExit(void *record) {
  if (!record) return;
  tlsLists = &g_gone;
  Release(static_cast<Lists *>(record));
}

// The calling thread's new record, registered; &g_gone when there is no
// memory for it or no key to hand it back at thread exit.
Lists *Adopt() {
  Lists *l = static_cast<Lists *>(std::calloc(1, sizeof(Lists)));
  if (!l) return &g_gone;
  {
    std::lock_guard<std::mutex> lock(g_registryLock);
    if (!g_keyMade) {
      g_keyMade = pthread_key_create(&g_threadKey, ThreadExit) == 0;
#ifdef K3_POOL_ASAN
      // The thread that calls exit runs no key destructor, and the leak
      // checker does not follow the links inside poisoned idle blocks.
      std::atexit([] { AsnPoolThreadEnd(); });
#endif
    }
    if (g_keyMade && pthread_setspecific(g_threadKey, l) == 0) {
      l->next = g_registry;
      if (g_registry) g_registry->prev = l;
      g_registry = l;
      ++g_registered;
    } else {
      std::free(l);
      l = &g_gone;
    }
  }
  tlsLists = l;
  return l;
}

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
  const size_t blockSize = BlockSize(c);
  Lists *l = tlsLists;
  if (l) {
    if (FreeBlock *b = l->head[c]) {
      K3_UNPOISON(b, blockSize);
      l->head[c] = b->next;
      --l->count[c];
      l->idleBytes -= blockSize;
      K3_POISON(reinterpret_cast<char *>(b) + n, blockSize - n);
      return b;
    }
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
  if (c == kAsnPoolClasses) {
    std::free(p);
    return;
  }
  Lists *l = tlsLists;
  if (!l) l = Adopt();
  if (l == &g_gone || l->idleBytes + blockSize > kAsnPoolIdleBytes) {
    std::free(p);
    return;
  }
  FreeBlock *b = static_cast<FreeBlock *>(p);
  b->next = l->head[c];
  l->head[c] = b;
  ++l->count[c];
  l->idleBytes += blockSize;
  K3_POISON(b, blockSize);
}

unsigned AsnPoolIdle(size_t n) {
  const size_t c = ClassOf(n);
  const Lists *l = tlsLists;
  return c == kAsnPoolClasses || !l ? 0 : l->count[c];
}

size_t AsnPoolThreadsKeeping() {
  std::lock_guard<std::mutex> lock(g_registryLock);
  return g_registered;
}

void AsnPoolThreadEnd() noexcept {
  Lists *l = tlsLists;
  tlsLists = &g_gone;
  if (!l || l == &g_gone) return;
  pthread_setspecific(g_threadKey, nullptr);
  Release(l);
}

void AsnPoolReleaseAll() noexcept {
  tlsLists = &g_gone;
  std::lock_guard<std::mutex> lock(g_registryLock);
  while (Lists *l = g_registry) {
    g_registry = l->next;
    Drain(*l);
    std::free(l);
  }
  g_registered = 0;
  if (g_keyMade) pthread_key_delete(g_threadKey);
  g_keyMade = false;
}

}  // namespace CSTA3V6
