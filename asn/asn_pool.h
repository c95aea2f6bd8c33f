// Small-block allocator behind the model classes' operator new and delete.
//
// Each thread keeps, per size class (16-octet steps up to 256 octets, 256-octet
// steps up to 4096), a stack of idle blocks that came from malloc one at a
// time; a freed block goes to the stack of the thread that frees it, whichever
// thread allocated it, and the next allocation of its class on that thread
// takes it back. A thread keeps at most kAsnPoolIdleBytes idle; beyond that,
// and for larger sizes, blocks go straight back to free. When a thread ends
// its stacks are emptied into free, and blocks freed after that on the same
// thread bypass them.
//
// Every block stays a malloc block of its own, so a leaked object is still a
// leak to a leak checker. Under AddressSanitizer the idle blocks and the slack
// at the end of a block are poisoned, so a use after delete, a write past the
// object and a second delete are still caught.
#ifndef K3_ASN_ASN_POOL_H
#define K3_ASN_ASN_POOL_H

#include <cstddef>
#include <cstdint>

namespace CSTA3V6 {

constexpr size_t kAsnPoolGrain = 16;        // blocks of 16, 32, ... 256 octets
constexpr size_t kAsnPoolLargeGrain = 256;  // then 512, 768, ... 4096
constexpr size_t kAsnPoolClasses = 16 + 15;
constexpr size_t kAsnPoolIdleBytes = size_t(4) << 20;  // per thread

#if defined(__SANITIZE_ADDRESS__)
#define K3_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define K3_POOL_ASAN 1
#endif
#endif

// The slow paths of the two below: every case the inline parts leave over
// (an empty list, a full thread, no lists yet, sizes not pooled), and under
// AddressSanitizer every call, since they poison and check.
void *AsnPoolAllocSlow(size_t n);
void AsnPoolFreeSlow(void *p, size_t n) noexcept;

// The class index of n, or kAsnPoolClasses when n is not pooled; a constant
// where n is (operator new and delete of a class).
constexpr size_t AsnPoolClassOf(size_t n) {
  return n <= 16 * kAsnPoolGrain ? (n == 0 ? 0 : (n - 1) / kAsnPoolGrain)
         : n <= 16 * kAsnPoolGrain + 15 * kAsnPoolLargeGrain
             ? 16 + (n - 16 * kAsnPoolGrain - 1) / kAsnPoolLargeGrain
             : kAsnPoolClasses;
}
constexpr size_t AsnPoolBlockSize(size_t c) {
  return c < 16 ? (c + 1) * kAsnPoolGrain : 16 * kAsnPoolGrain + (c - 15) * kAsnPoolLargeGrain;
}

// The part of a thread's lists that the inline paths use: per class a stack
// of idle blocks kept as an array of their addresses, so that taking a block
// never reads the block itself (after a while it is out of the cache, and a
// list linked through the blocks made every allocation wait for it).
struct AsnPoolLists {
  void **slot[kAsnPoolClasses];  // cap entries, the first count in use
  unsigned count[kAsnPoolClasses];
  unsigned cap[kAsnPoolClasses];
  size_t idleBytes;
};
// Null until the thread keeps a block, then its lists.
extern thread_local AsnPoolLists *tAsnPoolLists;

// n octets (any n; 0 gives a block of its own). Throws std::bad_alloc.
inline void *AsnPoolAlloc(size_t n) {
#ifndef K3_POOL_ASAN
  const size_t c = AsnPoolClassOf(n);
  AsnPoolLists *l = tAsnPoolLists;
  if (c < kAsnPoolClasses && l && l->count[c]) {
    l->idleBytes -= AsnPoolBlockSize(c);
    return l->slot[c][--l->count[c]];
  }
#endif
  return AsnPoolAllocSlow(n);
}

// p from AsnPoolAlloc(n) with the same n, or null.
inline void AsnPoolFree(void *p, size_t n) noexcept {
#ifndef K3_POOL_ASAN
  if (!p) return;
  const size_t c = AsnPoolClassOf(n);
  AsnPoolLists *l = tAsnPoolLists;
  if (c < kAsnPoolClasses && l && l->count[c] < l->cap[c] &&
      l->idleBytes + AsnPoolBlockSize(c) <= kAsnPoolIdleBytes) {
    l->slot[c][l->count[c]++] = p;
    l->idleBytes += AsnPoolBlockSize(c);
    return;
  }
#endif
  AsnPoolFreeSlow(p, n);
}

// The calling thread's idle blocks of the class that serves n octets (0 for
// sizes that are not pooled, or once the thread's lists are gone).
unsigned AsnPoolIdle(size_t n);

// How many threads keep lists now (a thread's lists exist from its first
// kept block until it ends or calls AsnPoolThreadEnd).
size_t AsnPoolThreadsKeeping();

// Empties the calling thread's lists; its later frees go straight to free.
// Runs by itself when a thread ends.
void AsnPoolThreadEnd() noexcept;
// Empties every thread's lists, for the Windows DLL's unload (a thread still
// running keeps no record to come back to). Nothing may use the pool meanwhile.
void AsnPoolReleaseAll() noexcept;

}  // namespace CSTA3V6

#endif
