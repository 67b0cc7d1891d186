// The corruption sweep over every golden unit-test file (see
// RecordSweep.h): long, because the largest files take minutes under the
// sanitizers.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "records/RecordSweep.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using records::SRecordCase;

TEST(RecordSweepLongTest, EveryCorruptionOfEveryGoldenUnitTestFileThrowsCleanlyOrReads) {
  std::size_t files = 0;
  for (const SRecordCase& entry : records::RecordCases()) {
    if (entry.kind != SRecordCase::eUnitTest) continue;
    for (const std::string& path :
         records::GoldenUnitTestFiles(KOMATH_TESTS_ROOT, entry.className)) {
      SCOPED_TRACE(path);
      std::ifstream file(path, std::ios::binary);
      const Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
      records::Sweep(entry, bytes, path);
      if (HasFatalFailure()) return;
      ++files;
    }
  }
  EXPECT_GT(files, 0u);
}

}  // namespace
