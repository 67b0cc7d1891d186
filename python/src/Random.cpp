// komath.MT19937: the library's Mersenne-Twister generator.
#include <cmath>
#include <cstdint>
#include <mutex>
#include <vector>

#include "Module.h"
#include "base/KbStreamBinaryMemory.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace komath::python {
namespace {

// The generator with a lock of its own: its arrays are drawn without the
// GIL, and two threads drawing from one generator at once must take turns
// (the state words would be handed out twice or skipped otherwise).
class Generator {
 public:
  explicit Generator(py::object seed) { Seed(seed); }

  void Seed(py::object seed) {
    // Arrays have __index__ too (when of one element), so they go first.
    if (!py::isinstance<py::array>(seed) && PyIndex_Check(seed.ptr())) {
      PyObject* index = PyNumber_Index(seed.ptr());
      if (index == nullptr) throw py::error_already_set();
      const std::uint32_t value = Word(py::reinterpret_steal<py::int_>(index));
      std::lock_guard lock(m_mutex);
      m_generator.Seed(value);
      return;
    }
    py::array array = py::array::ensure(seed);
    if (!array || array.ndim() != 1 ||
        (array.dtype().kind() != 'i' && array.dtype().kind() != 'u')) {
      NotASeed();
    }
    if (array.size() == 0) ArgumentError("seed", "must hold at least one word");
    if (array.size() > py::ssize_t(UINT32_MAX)) ArgumentError("seed", "is too long");
    std::vector<std::uint32_t> key;
    key.reserve(std::size_t(array.size()));
    for (py::handle word : array) {
      key.push_back(Word(py::reinterpret_borrow<py::object>(word).cast<py::int_>()));
    }
    std::lock_guard lock(m_mutex);
    m_generator.Seed(key.data(), std::uint32_t(key.size()));
  }

  py::array_t<std::uint32_t> RandomUInt32(std::int64_t n) {
    return Draw<std::uint32_t>(n, [](KoRandomNumberGenerator& g) { return g.RandInt(); });
  }
  py::array_t<double> Random(std::int64_t n) {
    return Draw<double>(n, [](KoRandomNumberGenerator& g) { return g.RandExc(); });
  }
  py::array_t<double> Normal(std::int64_t n, double mean, double sd) {
    if (!std::isfinite(mean)) ArgumentError("mean", "must be finite");
    if (!std::isfinite(sd) || sd < 0) ArgumentError("sd", "must be finite and >= 0");
    return Draw<double>(n, [=](KoRandomNumberGenerator& g) { return g.RandNorm(mean, sd); });
  }

  py::bytes GetState() {
    KbStreamWriteBinaryMemory stream;
    {
      std::lock_guard lock(m_mutex);
      m_generator.Serialize(stream);
    }
    const std::vector<std::uint8_t>& bytes = stream.GetBuffer();
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  }

  void SetState(const py::bytes& state) {
    const std::string bytes = state;
    KbStreamReadBinaryMemory stream(bytes.data(), bytes.size());
    std::lock_guard lock(m_mutex);
    // Read into a copy: a record followed by stray bytes is refused whole.
    KoRandomNumberGenerator read = m_generator;
    try {
      read.Serialize(stream);
    } catch (const KbException& e) {
      ArgumentError("state", std::string("is not a generator state record: ") + e.what());
    }
    if (stream.GetRemainingBytes() != 0) {
      ArgumentError("state", "has " + std::to_string(stream.GetRemainingBytes()) +
                                 " bytes after the generator's record");
    }
    m_generator = read;
  }

 private:
  [[noreturn]] static void NotASeed() {
    ArgumentError("seed", "must be an int or a one-dimensional sequence of uint32 words");
  }
  static std::uint32_t Word(const py::int_& value) {
    if (value < py::int_(0) || value > py::int_(UINT32_MAX)) {
      ArgumentError("seed",
                    "words must lie in [0, 2**32 - 1], not " + py::repr(value).cast<std::string>());
    }
    return value.cast<std::uint32_t>();
  }

  template <class T, class Next>
  py::array_t<T> Draw(std::int64_t n, Next next) {
    if (n < 0) ArgumentError("n", "must be >= 0, not " + std::to_string(n));
    py::array_t<T> out(static_cast<py::ssize_t>(n));
    T* data = out.mutable_data();
    CallLibrary("MT19937", [&] {
      std::lock_guard lock(m_mutex);
      for (std::int64_t i = 0; i < n; ++i) data[i] = next(m_generator);
    });
    return out;
  }

  KoRandomNumberGenerator m_generator{0u};
  std::mutex m_mutex;
};

}  // namespace

void BindRandom(py::module_& module) {
  py::class_<Generator>(module, "MT19937", R"(The library's 32-bit Mersenne Twister (MT19937).

MT19937(seed): seed is an int in [0, 2**32 - 1] (MT19937's integer seeding,
init_genrand) or a non-empty sequence of such words (key seeding,
init_by_array). For the same seed the raw outputs are those of the reference
generator, so MT19937(s).random_uint32(n) equals
numpy.random.RandomState(s).randint(0, 2**32, n, dtype=numpy.uint32).

Draws release the GIL; a generator shared between threads hands out each
number once, in some order. getstate() and setstate() carry the library's
state record (version 0, little-endian bytes), the same that a C++ program
writes with KoRandomNumberGenerator::Serialize.)")
      .def(py::init<py::object>(), py::arg("seed"))
      .def("seed", &Generator::Seed, py::arg("seed"),
           "Seeds again, as the constructor does; the generator starts afresh.")
      .def("random_uint32", &Generator::RandomUInt32, py::arg("n"),
           "The next n raw 32-bit outputs, as a uint32 array of shape (n,).")
      .def("random", &Generator::Random, py::arg("n"),
           "n doubles in [0, 1): each raw output times 2**-32 (never 1.0; 32 random bits).")
      .def("normal", &Generator::Normal, py::arg("n"), py::arg("mean") = 0.0, py::arg("sd") = 1.0,
           R"(n normal deviates with the given mean and standard deviation.

Box and Muller's transform, consuming exactly two raw outputs per number:
cos(2 pi u2) * sqrt(-2 log(1 - u1)) * sd + mean with u1 = (w1 + 0.5) * 2**-32
and u2 = w2 * 2**-32 for the raw outputs w1, w2. The sine partner is dropped.)")
      .def("getstate", &Generator::GetState,
           "The generator's state record as bytes (2516 bytes, little-endian): version 0,\n"
           "int32 624, the 624 state words as uint32, int64 position of the next word,\n"
           "int32 words left before the next regeneration.")
      .def("setstate", &Generator::SetState, py::arg("state"),
           "Continues from a state record that getstate() (or the C++ library) wrote. A\n"
           "record that is not one raises ValueError and leaves the generator as it was.");
}

}  // namespace komath::python
