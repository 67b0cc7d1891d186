// The inline arithmetic of the public headers (vector products, the
// quaternion's rotation matrix), evaluated by one source compiled twice: with
// the library's flags and with a host's aggressive ones (see CMakeLists.txt).
// Both must give the same bits.
#pragma once

#include <cstdint>
#include <vector>

namespace hostflags {

// Every result of every operation on the given components (read in groups
// of four), as raw bit patterns in a fixed order.
std::vector<std::uint64_t> ProbeWithLibraryFlags(const std::vector<double>& components);
std::vector<std::uint64_t> ProbeWithHostFlags(const std::vector<double>& components);

}  // namespace hostflags
