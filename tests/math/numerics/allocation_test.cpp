// Storage of KoFloatExact. The global allocation functions are replaced in
// this file to count every allocation of the program.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <new>

#include "math/numerics/KoFloatExact.h"

namespace {
long g_allocations = 0;
}  // namespace

void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace {

TEST(KoFloatExactStorage, NoHeapUpToTwoComponentsDoublingBeyondAndReusingCopies) {
  const long before = g_allocations;
  {
    const KoFloatExact a(0.1), b(std::ldexp(1.0, 900));
    KoFloatExact sum = a + b;      // two components
    KoFloatExact product = a * a;  // two components
    KoFloatExact copy(product), moved(std::move(copy));
    copy = sum;
    moved = -sum;
    sum = sum - moved;  // 2 * sum: still two components
    product = product * KoFloatExact(-4.0);
  }
  EXPECT_EQ(g_allocations - before, 0);

  KoFloatExact sum;
  std::vector<std::uint32_t> capacities;
  for (int i = 0; i < 9; ++i) {
    sum = sum + KoFloatExact(std::ldexp(1.0, 100 * i));
    capacities.push_back(sum.GetCapacity());
  }
  EXPECT_EQ(capacities, (std::vector<std::uint32_t>{2, 2, 4, 4, 8, 8, 8, 8, 16}));
  KoFloatExact moved(std::move(sum));
  EXPECT_EQ(sum.GetComponentCount(), 0u);
  sum = moved;  // allocates exactly the source's count
  EXPECT_TRUE(sum.GetCapacity() == 9u && sum == moved);
  const KoFloatExact three(3.0);
  sum = three;
  sum = 3.0;
  EXPECT_EQ(sum.GetCapacity(), 9u);  // copies reuse the storage, never shrink it
  EXPECT_EQ(sum, three);
}

}  // namespace
