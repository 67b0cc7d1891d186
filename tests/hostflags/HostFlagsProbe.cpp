// Compiled once per flag set; KOMATH_PROBE_NAME names the entry point.
#include <bit>
#include <cmath>

#include "HostFlagsProbe.h"
#include "base/KbVector.h"
#include "math/rotations/KoQuaternion.h"

namespace hostflags {

std::vector<std::uint64_t> KOMATH_PROBE_NAME(const std::vector<double>& c) {
  std::vector<std::uint64_t> bits;
  const auto f = [&](float value) { bits.push_back(std::bit_cast<std::uint32_t>(value)); };
  const auto d = [&](double value) { bits.push_back(std::bit_cast<std::uint64_t>(value)); };
  for (std::size_t i = 0; i + 8 <= c.size(); i += 4) {
    const auto fl = [&](std::size_t k) { return static_cast<float>(c[i + k]); };
    const KbVector3f a(fl(0), fl(1), fl(2)), b(fl(4), fl(5), fl(6));
    const KbVector3d p(c[i], c[i + 1], c[i + 2]), q(c[i + 4], c[i + 5], c[i + 6]);
    const KbVector2f u(fl(0), fl(1)), v(fl(4), fl(5));
    const KbVector4f s(fl(0), fl(1), fl(2), fl(3)), t(fl(4), fl(5), fl(6), fl(7));
    const KbVector3f af = a.Cross(b);
    const KbVector3d pd = p.Cross(q);
    f(a.Dot(b)), f(a.SquaredLength()), f(a.Length()), f(af.x), f(af.y), f(af.z);
    d(p.Dot(q)), d(p.SquaredLength()), d(p.Length()), d(pd.x), d(pd.y), d(pd.z);
    f(u.Dot(v)), f(u.SquaredLength()), f(u.Length());
    f(s.Dot(t)), f(s.SquaredLength()), f(s.Length());
    const KbMatrix4Rf rotation = KoQuaternion(s.x, s.y, s.z, s.w).GetRotationMatrix();
    for (int k = 0; k < 16; ++k) f(rotation.GetData()[k]);
    const KoQuaternion slerp =
        KoQuaternion::Slerp(KoQuaternion(s).Unit(), KoQuaternion(t).Unit(), std::fabs(fl(3)));
    f(slerp.x), f(slerp.y), f(slerp.z), f(slerp.w);
  }
  return bits;
}

}  // namespace hostflags
