// The two ways a komath run fails, by exit status.
//
// InputError: the input or the computation is bad (a file that cannot be
// read, a malformed number, a shape the algorithm cannot use): status 1.
// ComputationError: the input was read but the computation failed or gave
// a non-finite result: status 1. The message names the step and says what
// the failure means (identical points, a decomposition that did not
// converge, the round limit reached, ...).
// UsageError: the command line itself is wrong: status 2, like the parse
// errors of the command-line library.
//
// Messages name what is wrong in the "file:line: problem" form that editors
// and compilers use, so a user can jump to the offending line.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace komath {

class InputError : public std::runtime_error {
 public:
  explicit InputError(const std::string& message) : std::runtime_error(message) {}
  // "file:line: message"; line 0 means the file as a whole ("file: message").
  InputError(const std::string& file, std::uint64_t line, const std::string& message)
      : std::runtime_error(file + (line != 0 ? ":" + std::to_string(line) : std::string()) + ": " +
                           message) {}
};

class ComputationError : public std::runtime_error {
 public:
  explicit ComputationError(const std::string& message) : std::runtime_error(message) {}
};

class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace komath
