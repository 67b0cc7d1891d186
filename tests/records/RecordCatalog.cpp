#include "records/RecordCatalog.h"

#include <algorithm>
#include <filesystem>

#include "RecordTestSupport.h"
#include "math/KoMath.h"

namespace records {

using ko_test::Bytes;

Bytes Written(const IRecordHolder& holder) {
  KbStreamWriteBinaryMemory out;
  holder.Write(out);
  return out.GetBuffer();
}

namespace {

template <class T>
class CObjectHolder : public IRecordHolder {
 public:
  explicit CObjectHolder(T object) : m_object(std::move(object)) {}
  void Read(KbStreamReadBinary& stream) override { m_object.Serialize(stream); }
  void Write(KbStreamWriteBinary& stream) const override { m_object.Serialize(stream); }

 private:
  T m_object;
};

template <class Algorithm>
class CUnitTestHolder : public IRecordHolder {
 public:
  void Read(KbStreamReadBinary& stream) override {
    m_algorithm.serializeUnitTestInput(stream);
    m_algorithm.serializeUnitTestOutput(stream);
  }
  void Write(KbStreamWriteBinary& stream) const override {
    m_algorithm.serializeUnitTestInput(stream);
    m_algorithm.serializeUnitTestOutput(stream);
  }
  ko_test::UnitTestProbe<Algorithm>& Get() { return m_algorithm; }

 private:
  ko_test::UnitTestProbe<Algorithm> m_algorithm;
};

template <class Make>
SRecordCase Object(std::string name, Make make) {
  using T = decltype(make());
  SRecordCase entry{std::move(name), SRecordCase::eObject, L"", nullptr, nullptr};
  entry.create = [make] { return std::make_unique<CObjectHolder<T>>(make()); };
  entry.validRecord = [make] { return ko_test::Write(make()); };
  return entry;
}

// `prepare` gives the algorithm inputs and computes; it receives storage
// that outlives the write.
template <class Algorithm, class Prepare>
SRecordCase UnitTest(std::string name, Prepare prepare) {
  SRecordCase entry{std::move(name), SRecordCase::eUnitTest, L"", nullptr, nullptr};
  entry.className = Algorithm::RTTI.GetName();
  entry.create = [] { return std::make_unique<CUnitTestHolder<Algorithm>>(); };
  entry.validRecord = [prepare] {
    CUnitTestHolder<Algorithm> holder;
    prepare(holder.Get());
    return Written(holder);
  };
  return entry;
}

// The convolution smooths `values` in place: each run starts from a fresh
// copy, kept (like the positions) where the algorithm's pointers reach it.
template <class T>
SRecordCase Convolution(const std::string& type, float h, KbArray<float> x, bool periodic,
                        float period, KbArray<T> v) {
  return UnitTest<KoFtArrayConvolution<T>>(
      "KoFtArrayConvolution" + type + " unit test", [=](KoFtArrayConvolution<T>& convolution) {
        static KbArray<float> positions;
        static KbArray<T> values;
        positions = x, values = v;
        convolution.SetInput(h, positions, periodic, period, values);
        convolution.Compute(0);
      });
}

// The polynomial base has no concrete class of its own in the library.
class CPolynomial : public KoFunctionPolynomialBase<float> {
 public:
  float operator()(float) const override { return 0; }
  float GetDerivative(float) const override { return 0; }
};

KoFloatExact ExactSample() {
  KoFloatExact sum = KoFloatExact(0.1) + KoFloatExact(1e-30);
  return sum * KoFloatExact(-3.0f);
}

template <class T, class... V>
KbArray<T> Array(V... values) {
  return KbArray<T>{T(values)...};
}

std::vector<SRecordCase> MakeCases() {
  using V2f = KbVector2f;
  using V3f = KbVector3f;
  using V3d = KbVector3d;
  using HemisphereF = KoFunctionLimitedHemisphere<float, float>;
  using HemisphereD = KoFunctionLimitedHemisphere<double, double>;
  std::vector<SRecordCase> cases = {
      Object("KbArray<float>", [] { return Array<float>(1.5f, -2, 0); }),
      Object("KbArray<double>", [] { return Array<double>(1.5, -2); }),
      Object("KbArray<KbVector2f>", [] { return Array<V2f>(V2f(1, 2), V2f(3, 4)); }),
      Object("KbArray<KbVector3f>", [] { return Array<V3f>(V3f(1, 2, 3)); }),
      Object("KbArray<KbVector3d>", [] { return Array<V3d>(V3d(1, 2, 3), V3d(4, 5, 6)); }),
      Object("KbArray<unsigned int>", [] { return Array<unsigned int>(7, 8, 9); }),
      Object("KbArray<KoPoint<float>>", [] { return Array<KoPoint<float>>(KoPoint(1.f, 2.f)); }),
      Object("KoFloatExact", ExactSample),
      Object("KoExtrema<float>", [] { return KoExtrema<float>(-1, 2); }),
      Object("KoExtrema<double>", [] { return KoExtrema<double>(-1, 2); }),
      Object("KoFunctionConstant<float>", [] { return KoFunctionConstant<float, float>(2.5f); }),
      Object("KoFunctionConstant<double>", [] { return KoFunctionConstant<double, double>(2.5); }),
      Object("KoFunctionLinear(float)", [] { return KoFunctionLinear<float>(2, 1); }),
      Object("KoFunctionLinear(double)", [] { return KoFunctionLinear<double>(2, 1); }),
      Object("KoFunctionCubic<float>",
             [] { return KoFunctionCubic<float, float>(-1, 0, 3, 1, 0, 0); }),
      Object("KoFunctionCubic<double>",
             [] { return KoFunctionCubic<double, double>(-1, 0, 3, 1, 0.5, 0); }),
      Object("KoFunctionInverse<float>", [] { return KoFunctionInverse<float, float>(2, 1); }),
      Object("KoFunctionInverse<double>", [] { return KoFunctionInverse<double, double>(2, 1); }),
      Object("KoFunctionLimitedHemisphere<float>",
             [] { return HemisphereF(std::pair(1.f, 2.f), 3, -4, 5, true); }),
      Object("KoFunctionLimitedHemisphere<double>",
             [] { return HemisphereD(std::pair(1., 2.), 3, -4, 5, false); }),
      Object("KoFunctionLimitedPyramid<float>",
             [] { return KoFunctionLimitedPyramid<float, float>(0, 1, 3, 2); }),
      Object("KoFunctionLimitedPyramid<double>",
             [] { return KoFunctionLimitedPyramid<double, double>(0, 1, 3, 2); }),
      Object("KoFunctionLimitedPiecewise<float>",
             [] { return KoFunctionLimitedPiecewise<float, float>(); }),
      Object("KoFunctionLimitedPiecewise<double>",
             [] { return KoFunctionLimitedPiecewise<double, double>(); }),
      Object("KoFunctionRampLinear<float>",
             [] { return KoFunctionRampLinear<float>(-2, 6, 4, 1); }),
      Object("KoFunctionRampLinear<double>",
             [] { return KoFunctionRampLinear<double>(-2, 6, 4, 1); }),
      Object("KoFunctionRampSpline<float>",
             [] { return KoFunctionRampSpline<float>(0, 1, 2, 0.5f, 3); }),
      Object("KoFunctionRampSpline<double>",
             [] { return KoFunctionRampSpline<double>(0, 1, 2, 0.5, 3); }),
      Object("KoFunctionPolynomialBase<float>",
             [] {
               CPolynomial p;
               p.SetDegree(3);
               for (unsigned int i = 0; i < p.GetCoefficientCount(); ++i)
                 p.SetCoefficient(i, 1.f + i);
               return p;
             }),
      Object("KoFunctionTableUniform<float>",
             [] { return KoFunctionTableUniform<float, float>(4, -1, 1); }),
      Object("KoFunctionTableUniform<double>",
             [] { return KoFunctionTableUniform<double, double>(3, 0, 2); }),
      Object("KoFunctionTableNonUniform<float>",
             [] {
               KoFunctionTableNonUniform<float, float> table;
               table.AppendSorted(0, 1), table.AppendSorted(1, 3), table.AppendSorted(3, 2);
               return table;
             }),
      Object("KoFunctionTableNonUniform<double>",
             [] {
               KoFunctionTableNonUniform<double, double> table;
               table.AppendSorted(-1, 1), table.AppendSorted(2, 0);
               return table;
             }),
      Object("KoFunctionTableNonUniform<float, KbVector3f>",
             [] {
               KoFunctionTableNonUniform<float, V3f> table;
               table.AppendSorted(1, {1, 2, 3}), table.AppendSorted(2, {0, 1, 0});
               return table;
             }),
      Object("KoInterpolationPolynomHermite<float>",
             [] { return KoInterpolationPolynomHermite<float>(0, 1, 2, -1); }),
      Object("KoInterpolationPolynomHermite<double>",
             [] { return KoInterpolationPolynomHermite<double>(0, 1, 2, -1); }),
      Object("KoInterpolationPolynomHermiteOverscale<float>",
             [] { return KoInterpolationPolynomHermiteOverscale<float>(0, 1, 2, -1, 1.5f); }),
      Object("KoInterpolationPolynomHermiteOverscale<double>",
             [] { return KoInterpolationPolynomHermiteOverscale<double>(0, 1, 2, -1, 1.5); }),
      Object("KoTangentBasis", [] { return KoTangentBasis(V3f(0, 0, 1), V3f(1, 0, 0), -1.0f); }),
      Object("KoRandomNumberGenerator",
             [] {
               KoRandomNumberGenerator generator(5489u);
               generator.RandInt();  // a position inside the state, not at a reload
               return generator;
             }),
      Object("KoTransformation",
             [] {
               KoTransformation transformation({1, 2, 3}, c_matIdentity, {2, 2, 2});
               transformation.SetRotationPivot({0.5f, 0, -1}, false);
               return transformation;
             }),
      UnitTest<KoProcrustes>(
          "KoProcrustes unit test",
          [](KoProcrustes& procrustes) {
            static const KbArray<V3f> first{{0, 0, 0}, {1, 0, 0}, {0, 2, 0}, {0, 0, 3}};
            static const KbArray<V3f> second{{1, 1, 1}, {1, 2, 1}, {-1, 1, 1}, {1, 1, 4}};
            procrustes.GetFlags().Set(KoProcrustes::eNormalizeScale);
            procrustes.SetInput(first, second);
            procrustes.Compute(0);
          }),
      Convolution<float>("(float)", 0.75f, {0, 1, 2.5f}, true, 4, {1, -2, 4}),
      Convolution<KbVector2f>("(KbVector2f)", 0.5f, {0, 1}, false, 0, {{1, 2}, {3, 4}}),
      Convolution<V3f>("(KbVector3f)", 1.5f, {0, 2}, false, 0, {{1, 2, 3}, {0, 0, 1}}),
      UnitTest<KoPolynomFit<float>>(
          "KoPolynomFit<float> unit test",
          [](KoPolynomFit<float>& fit) {
            static const KbArray<KoPoint<float>> points{{0, 1}, {1, 2}, {2, 5}, {3, 10}};
            static const KbArray<float> sigmas{1, 1, 1, 1};
            static KbArray<float> coefficients;
            fit.SetInput(points, sigmas, 2, coefficients);
            fit.Compute(0);
          }),
      UnitTest<KoMpMatrixToDeterminantExactSign>(
          "KoMpMatrixToDeterminantExactSign unit test",
          [](KoMpMatrixToDeterminantExactSign& determinant) {
            static KoArray2D<double> matrix(3, 3);
            static KbArray<KoFloatExact> numerator, denominator;
            static std::int32_t sign = 0;
            const double values[9] = {2, 1, 0, 1, 3, 1, 0, 1, 4};
            std::copy(values, values + 9, matrix.GetData());
            determinant.SetInput(matrix, numerator, denominator, sign);
            determinant.Compute(0);
          }),
  };
  std::sort(cases.begin(), cases.end(),
            [](const SRecordCase& a, const SRecordCase& b) { return a.name < b.name; });
  return cases;
}

}  // namespace

const std::vector<SRecordCase>& RecordCases() {
  static const std::vector<SRecordCase> cases = MakeCases();
  return cases;
}

std::vector<const KbRTTI*> RegisteredClasses() {
  std::vector<const KbRTTI*> classes;
  for (const KbRTTI* record = KbRTTI::GetFirst(); record != nullptr; record = record->GetNext())
    classes.push_back(record);
  std::sort(classes.begin(), classes.end(), [](const KbRTTI* a, const KbRTTI* b) {
    return std::wcscmp(a->GetName(), b->GetName()) < 0;
  });
  return classes;
}

std::vector<std::string> GoldenUnitTestFiles(const std::string& root,
                                             const std::wstring& className) {
  std::vector<std::string> files;
  const std::wstring prefix = className + L"_";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::wstring name = entry.path().filename().wstring();
    if (entry.is_regular_file() && entry.path().extension() == ".kut" &&
        name.compare(0, prefix.size(), prefix) == 0) {
      files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace records
