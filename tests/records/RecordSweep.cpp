// The sweep of RecordSweep.h and the global allocation hook it measures with.
#include "records/RecordSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <optional>

#include "base/KbException.h"
#include "base/KbStreamBinaryMemory.h"

namespace {

// The largest single allocation since the last reset.
std::atomic<std::size_t> g_largestAllocation{0};

void* Allocate(std::size_t size, std::size_t alignment) {
  std::size_t seen = g_largestAllocation.load();
  while (size > seen && !g_largestAllocation.compare_exchange_weak(seen, size)) {
  }
  const std::size_t rounded =
      (std::max<std::size_t>(size, 1) + alignment - 1) / alignment * alignment;
  void* block = alignment <= alignof(std::max_align_t) ? std::malloc(rounded)
                                                       : std::aligned_alloc(alignment, rounded);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size, alignof(std::max_align_t));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}

namespace {

using Bytes = std::vector<std::uint8_t>;
using records::IRecordHolder;
using records::SRecordCase;

// A reader may allocate what the record announces and derived data of the
// same order (a table's derivative caches, an exact number's scratch), but
// never in proportion to a corrupt count the stream cannot back.
constexpr std::size_t c_allocationFactor = 8;
constexpr std::size_t c_allocationSlack = 4096;

using records::Written;

// An algorithm without inputs refuses to write its unit-test record (it has
// nothing to record): that refusal is its state then, and must survive a
// failed read just as a writable state must.
std::optional<Bytes> WrittenIfWritable(const IRecordHolder& holder) {
  try {
    return Written(holder);
  } catch (const KbException&) {
    return std::nullopt;
  }
}

}  // namespace

namespace records {

void Sweep(const SRecordCase& entry, const Bytes& valid, const std::string& label) {
  const Bytes fresh = [&] {
    auto holder = entry.create();
    KbStreamReadBinaryMemory in(valid);
    holder->Read(in);
    return Written(*holder);
  }();
  std::size_t reads = 0, throws = 0;
  const auto check = [&](const Bytes& bytes, std::size_t changedByte) {
    auto holder = entry.create();
    const std::optional<Bytes> before = WrittenIfWritable(*holder);
    KbStreamReadBinaryMemory in(bytes);
    g_largestAllocation = 0;
    bool threw = false;
    try {
      holder->Read(in);
    } catch (const KbException&) {
      threw = true;
    }
    ++reads;
    const std::size_t largest = g_largestAllocation;
    ASSERT_LE(largest, c_allocationFactor * bytes.size() + c_allocationSlack)
        << label << ", byte " << changedByte;
    if (!threw) return;
    ++throws;
    if (changedByte < 4) {
      EXPECT_EQ(WrittenIfWritable(*holder), before) << label << ", byte " << changedByte;
    }
    KbStreamReadBinaryMemory again(valid);
    holder->Read(again);
    ASSERT_EQ(Written(*holder), fresh) << label << ", byte " << changedByte;
  };
  for (std::size_t length = 0; length < valid.size(); ++length) {
    check(Bytes(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(length)), length);
    if (::testing::Test::HasFatalFailure()) return;
  }
  for (std::size_t i = 0; i < valid.size(); ++i) {
    std::uint8_t values[10] = {0x00, 0xFF};
    for (int bit = 0; bit < 8; ++bit) values[2 + bit] = valid[i] ^ (1u << bit);
    for (std::uint8_t value : values) {
      if (value == valid[i] && value != (valid[i] ^ 1u)) continue;
      Bytes changed = valid;
      changed[i] = value;
      check(changed, i);
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
  EXPECT_GT(throws, 0u) << label;
  ::testing::Test::RecordProperty(
      label, std::to_string(reads) + " reads, " + std::to_string(throws) + " threw");
}

}  // namespace records
