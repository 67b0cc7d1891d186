#include "Errors.h"

#include <new>

namespace komath {

// Appended piece by piece: g++ 12 at -O3 warns (-Wrestrict, wrongly) about
// the string concatenation this would otherwise be.
InputError::InputError(const std::string& file, std::uint64_t line, const std::string& message)
    : std::runtime_error([&] {
        std::string text = file;
        if (line != 0) text.append(":").append(std::to_string(line));
        return text.append(": ").append(message);
      }()) {}

std::string DescribeFailure(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return "out of memory";
  if (const auto* library = dynamic_cast<const KbException*>(&error)) {
    if (!library->GetMessage().empty()) return "the library failed: " + library->GetMessage();
    // The library throws a bare KbException only where a computation breaks
    // down: a decomposition without convergence, an iteration at its round
    // limit, a shape it cannot align, a determinant that underflows.
    return "the library's computation broke down (a singular value decomposition that did not "
           "converge, an iteration that reached its round limit, or degenerate input such as "
           "identical points or values far beyond single precision)";
  }
  const std::string text = error.what();
  return text.empty() ? "an unexpected failure without a message" : text;
}

}  // namespace komath
