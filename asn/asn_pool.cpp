#include "asn/asn_pool.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>

#ifdef K3_POOL_ASAN
#include <sanitizer/asan_interface.h>
#define K3_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define K3_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define K3_POISON(p, n) ((void)(p), (void)(n))
#define K3_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace CSTA3V6 {

thread_local AsnPoolLists *tAsnPoolLists;

namespace {

// One thread's lists. Allocated when the thread keeps its first block and
// owned by the registry below, not by the thread's own storage: emulated
// thread-local storage (MinGW) is freed at thread exit in no fixed order with
// other exit code, and a C++ thread-exit destructor would pin the Windows DLL
// until the thread ends. A pthread key's destructor, which does neither,
// hands the record back when the thread ends.
struct Lists : AsnPoolLists {
  Lists *prev, *next;  // in the registry
};

// Stands for the lists of a thread whose lists are gone: it keeps nothing and
// every free on that thread goes straight back to free.
// It has room for nothing, so the inline paths leave every call to the slow ones.
Lists g_gone = {{{}, {}, {}, kAsnPoolIdleBytes}, nullptr, nullptr};

// The thread's record (tAsnPoolLists): null until the thread keeps a block,
// then its record, then &g_gone.
Lists *ThreadLists() { return static_cast<Lists *>(tAsnPoolLists); }

std::mutex g_registryLock;
Lists *g_registry = nullptr;
size_t g_registered = 0;
pthread_key_t g_threadKey;
bool g_keyMade = false;

void Drain(Lists &l) {
  for (size_t c = 0; c < kAsnPoolClasses; ++c) {
    for (unsigned i = 0; i < l.count[c]; ++i) std::free(l.slot[c][i]);
    std::free(l.slot[c]);
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
  tAsnPoolLists = &g_gone;
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
      // The thread that calls exit runs no key destructor; its idle blocks
      // go back before the leak checker looks.
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
  tAsnPoolLists = l;
  return l;
}

constexpr size_t ClassOf(size_t n) { return AsnPoolClassOf(n); }
constexpr size_t BlockSize(size_t c) { return AsnPoolBlockSize(c); }

void *Fresh(size_t bytes) {
  if (void *p = std::malloc(bytes ? bytes : 1)) return p;
  throw std::bad_alloc();
}

}  // namespace

void *AsnPoolAllocSlow(size_t n) {
  const size_t c = ClassOf(n);
  if (c == kAsnPoolClasses) return Fresh(n);
  const size_t blockSize = BlockSize(c);
  Lists *l = ThreadLists();
  if (l && l->count[c]) {
    void *b = l->slot[c][--l->count[c]];
    l->idleBytes -= blockSize;
    K3_UNPOISON(b, blockSize);
    K3_POISON(static_cast<char *>(b) + n, blockSize - n);
    return b;
  }
  void *p = Fresh(blockSize);
  K3_POISON(static_cast<char *>(p) + n, blockSize - n);
  return p;
}

// Makes room for one more idle block of class c; false when there is none.
static bool Grow(Lists &l, size_t c) {
  const unsigned cap = l.cap[c] ? 2 * l.cap[c] : 64;
  void **slot = static_cast<void **>(std::realloc(l.slot[c], cap * sizeof(void *)));
  if (!slot) return false;
  l.slot[c] = slot;
  l.cap[c] = cap;
  return true;
}

void AsnPoolFreeSlow(void *p, size_t n) noexcept {
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
  Lists *l = ThreadLists();
  if (!l) l = Adopt();
  if (l == &g_gone || l->idleBytes + blockSize > kAsnPoolIdleBytes ||
      (l->count[c] == l->cap[c] && !Grow(*l, c))) {
    std::free(p);
    return;
  }
  l->slot[c][l->count[c]++] = p;
  l->idleBytes += blockSize;
  K3_POISON(p, blockSize);
}

unsigned AsnPoolIdle(size_t n) {
  const size_t c = ClassOf(n);
  const Lists *l = ThreadLists();
  return c == kAsnPoolClasses || !l ? 0 : l->count[c];
}

size_t AsnPoolThreadsKeeping() {
  std::lock_guard<std::mutex> lock(g_registryLock);
  return g_registered;
}

void AsnPoolThreadEnd() noexcept {
  Lists *l = ThreadLists();
  tAsnPoolLists = &g_gone;
  if (!l || l == &g_gone) return;
  pthread_setspecific(g_threadKey, nullptr);
  Release(l);
}

void AsnPoolReleaseAll() noexcept {
  tAsnPoolLists = &g_gone;
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
