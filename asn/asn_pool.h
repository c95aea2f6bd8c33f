// Small-block allocator behind the model classes' operator new and delete.
//
// Each thread keeps a free list per size class (16-octet steps up to 256
// octets, 256-octet steps up to 4096) of blocks that came from malloc one at a
// time; a freed block goes to the list of the thread that frees it, whichever
// thread allocated it, and the next allocation of its class on that thread
// takes it back. A thread keeps at most kAsnPoolIdleBytes idle; beyond that,
// and for larger sizes, blocks go straight back to free. When a thread ends
// its lists are emptied into free, and blocks freed after that on the same
// thread bypass the lists.
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

// n octets (any n; 0 gives a block of its own). Throws std::bad_alloc.
void *AsnPoolAlloc(size_t n);
// p from AsnPoolAlloc(n) with the same n, or null.
void AsnPoolFree(void *p, size_t n) noexcept;

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
