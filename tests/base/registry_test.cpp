// The class registry and polymorphic records.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "base/KoBase.h"

namespace {

class TestShape : public ISerializable {
  KB_DECLARE_RTTI(TestShape)

 public:
  float size = 0.0f;

  void Serialize(KbStreamWriteBinary& stream) const override {
    stream.WriteVersion(1);
    stream.WriteFloat(size);
  }
  void Serialize(KbStreamReadBinary& stream) override {
    stream.ReadAndCompareVersion(1);
    size = stream.ReadFloat();
  }
};

class TestCircle : public TestShape {
  KB_DECLARE_RTTI_NO_FACTORY()

 public:
  // The private member, reached from inside: it must be defined (a caller
  // used to get a link error) and mirror the absent factory.
  static std::unique_ptr<IObject> CallCreateByFactory() { return CreateByFactory(); }
};

const KbRTTI TestShape::RTTI(L"TestShape", &TestShape::CreateByFactory);
// Two characters beyond the 16-bit plane: the records carry them as
// surrogate pairs.
const KbRTTI TestCircle::RTTI(L"TestCircle\U00010000\U0001F535", TestShape::RTTI, nullptr);

TEST(RegistryTest, RecordsAreFoundByNameAndWalkTheirParents) {
  EXPECT_EQ(KbRTTI::Find(L"TestShape"), &TestShape::RTTI);
  EXPECT_EQ(KbRTTI::Find(L"TestCircle\U00010000\U0001F535"), &TestCircle::RTTI);
  EXPECT_EQ(KbRTTI::Find(L"NoSuchClass"), nullptr);

  EXPECT_TRUE(TestCircle::RTTI.IsKindOf(TestShape::RTTI));
  EXPECT_FALSE(TestShape::RTTI.IsKindOf(TestCircle::RTTI));
  EXPECT_EQ(TestCircle::RTTI.GetParent(), &TestShape::RTTI);
  EXPECT_EQ(TestShape::RTTI.GetParent(), nullptr);

  const TestCircle circle;
  EXPECT_TRUE(circle.Is(TestCircle::RTTI));
  EXPECT_FALSE(circle.Is(TestShape::RTTI));  // Is compares identity, not ancestry
  EXPECT_TRUE(circle.IsKindOf(TestShape::RTTI));
  EXPECT_EQ(circle.GetClassNameW(), TestCircle::RTTI.GetName());

  EXPECT_TRUE(TestShape::RTTI.HasFactory() && TestShape::RTTI.Create() != nullptr);
  EXPECT_FALSE(TestCircle::RTTI.HasFactory() || TestCircle::RTTI.Create() != nullptr);

  EXPECT_TRUE(TestCircle::CallCreateByFactory() == nullptr && !TestShape::RTTI.HasCopyFactory());
  EXPECT_EQ(TestShape::RTTI.CreateCopy(circle), nullptr);

  // The registry list holds every loaded record exactly once.
  int shapes = 0, circles = 0, algorithms = 0;
  for (const KbRTTI* record = KbRTTI::GetFirst(); record != nullptr; record = record->GetNext()) {
    shapes += record == &TestShape::RTTI;
    circles += record == &TestCircle::RTTI;
    algorithms += record == &KoAlgorithm::RTTI;
  }
  EXPECT_TRUE(shapes == 1 && circles == 1 && algorithms == 1);
  // A record that is not the newest leaves the list too.
  auto older = std::make_unique<KbRTTI>(L"TestOlder", nullptr);
  const KbRTTI newer(L"TestNewer", nullptr);
  older.reset();
  EXPECT_TRUE(KbRTTI::Find(L"TestOlder") == nullptr && KbRTTI::Find(L"TestNewer") == &newer);
}

// The messages name the class as read, one '?' per character outside ASCII
// (a NUL included).
TEST(RegistryTest, ReadingAnUnknownOrFactorylessClassThrows) {
  auto messageFor = [](const std::vector<std::uint8_t>& record) {
    KbStreamReadBinaryMemory in(record);
    try {
      KbReadObject(in);
    } catch (const KbException& e) {
      return std::string(e.what());
    }
    return std::string("no exception");
  };
  auto recordNamed = [](const std::u16string& name) {
    KbStreamWriteBinaryMemory out;
    out.WriteUInt32(static_cast<std::uint32_t>(name.size()));
    for (char16_t unit : name) out.WriteBuffer(&unit, 2);
    return out.GetBuffer();
  };
  // A pair at the very start and at the lowest code point, the first unit
  // above the surrogates, a pair after it, then lone low surrogates, which
  // stay one character each.
  const std::u16string odd{0xD800, 0xDC00, 0xE000, 0xD83D, 0xDD35, 0xDC00, 0xDC00, u'x', 0, u'y'};
  EXPECT_EQ(messageFor(recordNamed(odd)), "unknown class '?????x?y' in stream");

  // Written by KbWriteObject: the pairs decode back to the registered name.
  KbStreamWriteBinaryMemory factoryless;
  KbWriteObject(factoryless, TestCircle());
  EXPECT_EQ(messageFor(factoryless.GetBuffer()),
            "class 'TestCircle?"
            "?' cannot be created by name");

  // A name length far beyond the stream.
  const std::vector<std::uint8_t> hugeName = {0xFF, 0xFF, 0xFF, 0x7F, 'T', 0};
  KbStreamReadBinaryMemory hugeIn(hugeName);
  EXPECT_THROW(KbReadObject(hugeIn), KbExceptionEndOfStream);
}

}  // namespace
