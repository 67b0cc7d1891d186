// The algorithm framework's life cycle and its file-based unit tests, with
// a small summing algorithm.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "RecordTestSupport.h"
#include "base/KoBase.h"

namespace {

class KoMpTestSum : public KoMpAlgorithm {
  KB_DECLARE_RTTI(KoMpTestSum)

 public:
  void SetInput(const KbArray<double>* values) {
    m_values = values;
    setInputChanged();
  }
  double GetSum() const {
    checkOutputData();
    return m_sum;
  }
  char refuse = 0;            // the hook that returns false
  mutable std::string trace;  // one letter per hook called

 protected:
  bool checkPreConditionsInit() const override { return hook('p'); }
  void init() override { trace += 'i'; }
  bool checkPostConditionsInit() const override { return hook('q'); }
  bool checkPreConditions() const override { return hook('c') && m_values != nullptr; }
  bool checkPostConditions() const override { return hook('r'); }
  void compute() override {
    trace += 'x';
    m_sum = 0.0;
    for (double v : *m_values) m_sum += v;
  }
  void serializeUnitTestInput(KbStreamWriteBinary& stream) const override {
    stream.WriteVersion(4);
    KoMpAlgorithm::serializeUnitTestInput(stream);
    m_values->Serialize(stream);
  }
  void serializeUnitTestInput(KbStreamReadBinary& stream) override {
    stream.ReadAndCompareVersion(4);
    KoMpAlgorithm::serializeUnitTestInput(stream);
    m_ownedValues.Serialize(stream);
    SetInput(&m_ownedValues);
  }
  void serializeUnitTestOutput(KbStreamWriteBinary& stream) const override {
    stream.WriteVersion(2);
    KoMpAlgorithm::serializeUnitTestOutput(stream);
    stream.WriteDouble(m_sum);
  }
  void serializeUnitTestOutput(KbStreamReadBinary& stream) override {
    stream.ReadAndCompareVersion(2);
    KoMpAlgorithm::serializeUnitTestOutput(stream);
    m_expectedSum = stream.ReadDouble();
  }
  bool compareUnitTestResult() const override { return m_sum == m_expectedSum; }

 public:
  // An algorithm that cannot compare its results never passes.
  bool BaseComparison() const { return KoMpAlgorithm::compareUnitTestResult(); }

 private:
  bool hook(char name) const {
    trace += name;
    return refuse != name;
  }
  const KbArray<double>* m_values = nullptr;
  KbArray<double> m_ownedValues;
  double m_sum = 0.0;
  double m_expectedSum = 0.0;
};

const KbRTTI KoMpTestSum::RTTI(L"KoMpTestSum", KoMpAlgorithm::RTTI, &KoMpTestSum::CreateByFactory);

TEST(AlgorithmTest, LifeCycleGuardsResults) {
  KoMpTestSum sum;
  EXPECT_FALSE(sum.Compute(0));  // no input: the pre-condition fails
  EXPECT_FALSE(sum.IsCalculated());
  try {
    sum.GetSum();
    ADD_FAILURE() << "no exception";
  } catch (const KbException& e) {
    EXPECT_STREQ(e.what(), "KoMpTestSum: results read before a successful Compute");
  }

  const KbArray<double> values{1.0, 2.0, 3.5};
  sum.SetInput(&values);
  sum.trace.clear();
  ASSERT_TRUE(sum.Compute(0));
  EXPECT_TRUE(sum.trace == "piqcxr" && sum.IsCalculated() && sum.GetSum() == 6.5);
  // Each refusing hook ends Compute where it stands, without results.
  for (const char* expected : {"p", "piq", "piqc", "piqcxr"}) {
    sum.refuse = expected[std::strlen(expected) - 1];
    sum.trace.clear();
    EXPECT_FALSE(sum.Compute(0)) << expected;
    EXPECT_EQ(sum.trace, expected);
    EXPECT_FALSE(sum.IsCalculated()) << expected;
  }
  sum.refuse = 0;
  ASSERT_TRUE(sum.Compute(0));

  sum.SetInput(&values);  // any change of input makes the results stale
  EXPECT_FALSE(sum.IsCalculated());
  EXPECT_THROW(sum.GetSum(), KbException);
}

class AlgorithmUnitTestFiles : public ::testing::Test {
 protected:
  ko_test::ScratchDirectory m_scratch;
};

TEST_F(AlgorithmUnitTestFiles, WrittenFilesReplayRecreateAndReportCorruption) {
  KoMpTestSum writer;
  writer.SetUnitTestDirectory(m_scratch.Path());
  const KbArray<double> first{1.0, 2.0};
  const KbArray<double> second{0.25};
  EXPECT_FALSE(writer.CreateUnitTest(1));  // no input yet
  writer.SetInput(&first);
  ASSERT_TRUE(writer.CreateUnitTest(7));
  writer.SetInput(&second);
  ASSERT_TRUE(writer.CreateUnitTest(2));
  std::ofstream(m_scratch / "KoMpTestSum_12.kut") << "not four digits";
  std::ofstream(m_scratch / "Other_0001.kut") << "another class";
  std::filesystem::create_directory(m_scratch / "KoMpTestSum_0003.kut");  // not a file

  KoMpTestSum replay;
  replay.SetUnitTestDirectory(m_scratch.Path());
  replay.initSubtests();
  ASSERT_EQ(replay.getSubtestCount(), 2u);
  EXPECT_EQ(replay.getSubtestName(0), L"KoMpTestSum_0002.kut");
  EXPECT_EQ(replay.getSubtestName(1), L"KoMpTestSum_0007.kut");
  EXPECT_EQ(replay.getSubtestName(2), L"");
  EXPECT_TRUE(replay.getPattern() == L"KoMpTestSum_*.kut" && replay.getSubtestsBaseIndex() == 0u);
  EXPECT_TRUE(!replay.BaseComparison() && replay.runUnitTest(0) == KoUnitTest::ePassed);
  EXPECT_TRUE(replay.runUnitTest(1) == KoUnitTest::ePassed && replay.GetSum() == 3.0);

  // Falsify the stored sum of file 7 (its last eight bytes): the replay
  // fails, and Recreate restores a record that passes again.
  const auto path = m_scratch / "KoMpTestSum_0007.kut";
  const auto size = std::filesystem::file_size(path);
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(size - 1));
    file.put(0x7F);
  }
  EXPECT_TRUE(replay.runUnitTest(1) == KoUnitTest::eFailed && replay.CanRecreate(1));
  EXPECT_EQ(replay.runUnitTest(0), KoUnitTest::ePassed);  // Recreate reads its own input
  EXPECT_TRUE(replay.Recreate(1) && std::filesystem::file_size(path) == size);
  EXPECT_EQ(replay.runUnitTest(1), KoUnitTest::ePassed);
  EXPECT_FALSE(replay.CanRecreate(2) || replay.Recreate(2));

  // A truncated file is an error, not a failure.
  std::filesystem::resize_file(path, size - 3);
  EXPECT_EQ(replay.runUnitTest(1), KoUnitTest::eError);
  EXPECT_EQ(replay.runUnitTest(5), KoUnitTest::eError);
  replay.SetUnitTestDirectory(m_scratch / "elsewhere");  // forgets the listing
  EXPECT_EQ(replay.getSubtestCount(), 0u);
}

TEST_F(AlgorithmUnitTestFiles, FilesNumberedFromTenThousandAreListedInNumericOrder) {
  KoMpTestSum writer;
  writer.SetUnitTestDirectory(m_scratch.Path());
  const KbArray<double> input{4.0};
  writer.SetInput(&input);
  for (unsigned int number : {12345u, 9999u, 10000u, 4294967295u})
    ASSERT_TRUE(writer.CreateUnitTest(number));
  std::ofstream(m_scratch / "KoMpTestSum_42949672950.kut") << "eleven digits";
  std::ofstream(m_scratch / "KoMpTestSum_00005.kut") << "five digits, the smallest number";
  std::ofstream(m_scratch / "KoMpTestSum_00x5.kut") << "not a number";

  writer.initSubtests();
  ASSERT_EQ(writer.getSubtestCount(), 5u);
  EXPECT_EQ(writer.getSubtestName(0), L"KoMpTestSum_00005.kut");
  EXPECT_EQ(writer.getSubtestName(1), L"KoMpTestSum_9999.kut");
  EXPECT_EQ(writer.getSubtestName(2), L"KoMpTestSum_10000.kut");
  EXPECT_EQ(writer.getSubtestName(3), L"KoMpTestSum_12345.kut");
  EXPECT_EQ(writer.getSubtestName(4), L"KoMpTestSum_4294967295.kut");
  EXPECT_EQ(writer.runUnitTest(3), KoUnitTest::ePassed);
}

}  // namespace
