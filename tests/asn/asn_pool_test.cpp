// The small-block lists behind the model classes' operator new and delete.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

#include "asn/asn.h"
#include "asn/asn_pool.h"

using namespace CSTA3V6;

#if defined(__SANITIZE_ADDRESS__)
#define K3_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define K3_TEST_ASAN 1
#endif
#endif

// A freed block comes back for the next object of its size class on the same
// thread, and only for that class; an octet string's array (its length plus
// one) is a block like any other.
TEST(AsnPool, FreedBlocksServeTheirOwnClassAgain) {
  static_assert((sizeof(AsnOcts) - 1) / kAsnPoolGrain != (sizeof(AsnInt) - 1) / kAsnPoolGrain,
                "the test needs two size classes");
  std::thread([] {
    AsnInt *i = new AsnInt(7);
    void *block = i;
    const unsigned idle = AsnPoolIdle(sizeof(AsnInt));
    delete i;
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), idle + 1);
    AsnInt *j = new AsnInt(9);
    EXPECT_EQ(static_cast<void *>(j), block);
    EXPECT_EQ(j->value, 9);
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), idle);
    delete j;
    AsnOcts *o = new AsnOcts;
    EXPECT_NE(static_cast<void *>(o), block);
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), idle + 1);
    o->Set("1234567890");  // eleven octets: the integer's class
    EXPECT_EQ(static_cast<void *>(o->octs), block);
    EXPECT_STREQ(o->octs, "1234567890");
    o->Set("a text longer than the sixteen octets of the first class");
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), idle + 1);
    delete o;
    // Sizes beyond the largest class are plain allocations, never kept.
    char *big = static_cast<char *>(AsnPoolAlloc(1 << 20));
    big[(1 << 20) - 1] = 1;
    AsnPoolFree(big, 1 << 20);
    EXPECT_EQ(AsnPoolIdle(1 << 20), 0u);
  }).join();
}

// Objects made on one thread and deleted on another (the library's worker and
// the host's threads hand messages across): the deleting thread keeps the
// blocks and builds its own objects from them; at most kAsnPoolIdleBytes stay
// idle per thread, the rest go back at once.
TEST(AsnPool, BlocksMoveBetweenThreadsAndTheIdleBytesStayBounded) {
  constexpr size_t kMany = kAsnPoolIdleBytes / 16 + 1000;
  std::vector<AsnOcts *> made(kMany);
  std::thread([&] {
    for (size_t i = 0; i < kMany; ++i) made[i] = new AsnOcts(std::to_string(i).c_str());
  }).join();
  std::thread([&] {
    for (size_t i = 0; i < kMany; ++i) {
      ASSERT_EQ(made[i]->Str(), std::to_string(i));
      delete made[i];
    }
    const unsigned headers = AsnPoolIdle(sizeof(AsnOcts));
    const unsigned arrays = AsnPoolIdle(8);  // the digits and their zero
    static_assert(sizeof(AsnOcts) <= 2 * kAsnPoolGrain, "headers are blocks of the second class");
    EXPECT_GT(headers, 0u);
    EXPECT_LE(headers * 2 * kAsnPoolGrain + arrays * kAsnPoolGrain, kAsnPoolIdleBytes);
    EXPECT_LT(size_t(headers), kMany);
    // Reused blocks hold what is written into them now, not what was there.
    AsnList<AsnOcts> list;
    for (int i = 0; i < 100; ++i) list.Append()->Set(std::string(size_t(i % 20), char('a' + i % 26)).c_str());
    int i = 0;
    for (const AsnOcts &o : list) {
      EXPECT_EQ(o.Str(), std::string(size_t(i % 20), char('a' + i % 26)));
      ++i;
    }
  }).join();
}

// A thread's lists live from its first kept block to its end, when the
// blocks go back to the heap; AsnPoolThreadEnd does the same at once, and
// deletes after it go straight back too.
TEST(AsnPool, AThreadsListsGoWhenItEnds) {
  delete new AsnInt(0);  // this thread keeps lists from here on
  const size_t before = AsnPoolThreadsKeeping();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) threads.emplace_back([] { delete new AsnInt(1); });
  for (std::thread &t : threads) t.join();
  EXPECT_EQ(AsnPoolThreadsKeeping(), before);
#ifdef _WIN32
  // A host's own threads are not the C++ runtime's: their lists go too.
  HANDLE h = CreateThread(
      nullptr, 0, [](void *) -> DWORD {
        delete new AsnInt(1);
        return 0;
      },
      nullptr, 0, nullptr);
  ASSERT_NE(h, nullptr);
  WaitForSingleObject(h, INFINITE);
  CloseHandle(h);
  EXPECT_EQ(AsnPoolThreadsKeeping(), before);
#endif

  std::thread([before] {
    delete new AsnInt(2);
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), 1u);
    EXPECT_EQ(AsnPoolThreadsKeeping(), before + 1);
    AsnPoolThreadEnd();
    EXPECT_EQ(AsnPoolThreadsKeeping(), before);
    delete new AsnInt(3);
    delete new AsnOcts("after the end");
    EXPECT_EQ(AsnPoolIdle(sizeof(AsnInt)), 0u);
    EXPECT_EQ(AsnPoolThreadsKeeping(), before);
  }).join();
  EXPECT_EQ(AsnPoolThreadsKeeping(), before);
}

#ifdef K3_TEST_ASAN
// Idle blocks are poisoned: touching a deleted object or deleting it twice is
// still reported, although the block never went back to the heap. (Deleting
// an object twice reads its class from the poisoned block first, or under
// UBSan finds the class lost.)
TEST(AsnPoolDeathTest, UseAfterDeleteAndDoubleDeleteAreStillCaught) {
  EXPECT_DEATH(
      {
        AsnInt *i = new AsnInt(5);
        delete i;
        volatile char c = reinterpret_cast<volatile char *>(i)[12];
        (void)c;
      },
      "use-after-poison");
  EXPECT_DEATH(
      {
        void *p = AsnPoolAlloc(40);
        AsnPoolFree(p, 40);
        AsnPoolFree(p, 40);
      },
      "freed twice");
  EXPECT_DEATH(
      {
        AsnOcts *o = new AsnOcts("x");
        delete o;
        delete o;
      },
      "freed twice|invalid vptr|use-after-poison");
  // The slack between an object's size and its block's is poisoned too.
  EXPECT_DEATH(
      {
        char *p = static_cast<char *>(AsnPoolAlloc(20));
        reinterpret_cast<volatile char *>(p)[20] = 1;
      },
      "use-after-poison");
}
#endif
