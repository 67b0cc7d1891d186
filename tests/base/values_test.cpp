// Matrices, reference counters, observers and text dumps.
#include <gtest/gtest.h>

#include <cstdint>

#include "base/KoBase.h"

namespace {

TEST(ValuesTest, MatricesAreRowMajorRowVectorTransforms) {
  const KbMatrix4Rd identity;
  EXPECT_TRUE(identity(2, 2) == 1.0 && identity(2, 3) == 0.0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(identity.GetData()) % 16, 0u);

  // Scale x by 2, then translate by (1, 2, 3): the translation is row 3.
  const KbMatrix4Rd scale(2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
  const KbMatrix4Rd translate(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1);
  EXPECT_FALSE(identity == scale);  // they differ in the first element only
  EXPECT_TRUE(scale * identity == scale);
  const KbMatrix4Rd both = scale * translate;  // applies scale first
  EXPECT_TRUE(both[12] == 1.0 && both.TransformPoint(KbVector3d(1, 1, 1)) == KbVector3d(3, 3, 4));
  EXPECT_EQ((translate * scale).TransformPoint(KbVector3d(1, 1, 1)), KbVector3d(4, 3, 4));

  // Every element distinct and no factor ±1 or 0, so each term shows; the
  // fourth column gives w = 16 + 2·17 + 3·18 + 24 = 128 and exact quotients.
  const KbMatrix4Rf dense(2, 6, 10, 16, 3, 7, 11, 17, 4, 8, 12, 18, 5, 9, 13, 24);
  EXPECT_EQ(dense.TransformPoint(KbVector3f(1, 2, 3)),
            KbVector3f(25 / 128.0f, 53 / 128.0f, 81 / 128.0f));
  // Its square, by numpy: every product term and every element written.
  EXPECT_TRUE(dense * dense == KbMatrix4Rf(142, 278, 414, 698, 156, 308, 460, 773, 170, 338, 506,
                                           848, 209, 413, 617, 1043));
}

TEST(ValuesTest, CountersObserversAndDumps) {
  KbReferenceCounter<unsigned int> counter;
  counter.Increment();
  KbReferenceCounter<unsigned int> copy(counter);
  EXPECT_EQ(copy.Get(), 0u);  // a copy never inherits the count
  copy = counter;
  EXPECT_EQ(copy.Get(), 0u);

  struct Recorder : IObserver {
    int calls = 0;
    KoObservableMessage::EMessageType last{};
    void OnNotify(KoObservable&, KoObservableMessage::EMessageType type, void*) override {
      ++calls;
      last = type;
    }
  } recorder;
  KoObservable observable;
  observable.AddObserver(recorder);
  observable.AddObserver(recorder);
  EXPECT_EQ(observable.GetMemoryUsage(), sizeof(KoObservable) + sizeof(IObserver*));
  observable.NotifyObservers(KoObservableMessage::eChanged, nullptr);
  EXPECT_TRUE(recorder.calls == 1 && recorder.last == 2u);
  observable.RemoveObserver(recorder);
  observable.NotifyObservers(KoObservableMessage::eChanged, nullptr);
  EXPECT_EQ(recorder.calls, 1);

  struct Point : KbIDumpable<1> {
    void dump(KbStreamWriteASCIIT<wchar_t>& s) const override {
      s << L"[" << 0.1f << L" " << 2.5 << L" " << 1e30f << L"]";
      s.WriteInt(-42), s << L" ", s.WriteUInt(7);
    }
  } point;
  KbStreamWriteASCIIStringT<wchar_t> text;
  point.Dump(text);
  EXPECT_EQ(text.GetString(), L"[0.1 2.5 1e+30]-42 7");
}

}  // namespace
