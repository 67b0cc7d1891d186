// The inline arithmetic of the public headers gives the library's bits in a
// host compiled with -O2 -march=haswell -ffp-contract=fast, where a plain
// a*b + c would become a fused multiply-add.
#include <gtest/gtest.h>

#include <random>

#include "HostFlagsProbe.h"

namespace {

TEST(HostFlagsTest, InlineArithmeticMatchesTheLibraryBitForBitUnderFmaContraction) {
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) {
    GTEST_SKIP() << "this CPU cannot run code built with -march=haswell";
  }
  // Cancelling dot and cross products are where a fused product shows:
  // components of mixed magnitude, and vectors nearly parallel.
  std::mt19937_64 random(20240517);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::vector<double> components;
  for (int i = 0; i < 4000; ++i) {
    const double scale = std::ldexp(1.0, static_cast<int>(random() % 40) - 20);
    components.push_back(unit(random) * scale);
  }
  for (int i = 0; i < 500; ++i) {
    const double x = unit(random), y = unit(random), z = unit(random), w = unit(random);
    const double e = std::ldexp(unit(random), -22);
    components.insert(components.end(), {x, y, z, w, x + e, y - e, z + e, w});
  }

  const std::vector<std::uint64_t> library = hostflags::ProbeWithLibraryFlags(components);
  const std::vector<std::uint64_t> host = hostflags::ProbeWithHostFlags(components);
  ASSERT_EQ(library.size(), host.size());
  std::size_t differences = 0;
  for (std::size_t i = 0; i < library.size(); ++i) differences += library[i] != host[i];
  EXPECT_EQ(differences, 0u) << "of " << library.size() << " results";
}

}  // namespace
