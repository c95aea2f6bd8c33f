// Every generated class: filled with every component (all CHOICE alternatives,
// lists of 0, 1 and 3 elements), encoded, decoded definite and indefinite (with
// constructed strings), re-encoded, printed and copied.
#include <gtest/gtest.h>

#include "csta3_model.h"
#include "tests/csta3/fill_support.h"

namespace CSTA3V6 {

TEST(ModelRoundTrip, EveryClassEveryVariant) {
  ASSERT_GT(kCaseCount, 900u);
  size_t failures = 0;
  for (size_t i = 0; i < kCaseCount; ++i) {
    for (int v = 0; v < kCases[i].variants; ++v) {
      CaseResult r = kCases[i].run(v);
      if (!r.ok && failures++ < 20) ADD_FAILURE() << kCases[i].name << " variant " << v << ": " << r.why;
    }
  }
  EXPECT_EQ(failures, 0u);
}

}  // namespace CSTA3V6
