// The ways a komath run fails, by exit status.
//
// InputError: the input or an output file is bad (a file that cannot be
// read or written, a malformed number, a shape the algorithm cannot use):
// status 1.
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
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "base/KbException.h"

namespace komath {

class InputError : public std::runtime_error {
 public:
  explicit InputError(const std::string& message) : std::runtime_error(message) {}
  // "file:line: message"; line 0 means the file as a whole ("file: message").
  InputError(const std::string& file, std::uint64_t line, const std::string& message);
};

class ComputationError : public std::runtime_error {
 public:
  explicit ComputationError(const std::string& message) : std::runtime_error(message) {}
};

class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

// What an exception that is none of the three above means, for a message:
// the library's own text when it has one, and for the library's bare
// KbException (thrown without a message on numerical breakdown) the causes
// it stands for. Never empty and never just a class name.
std::string DescribeFailure(const std::exception& error);

// Runs `call`, a call into the library, and turns a KbException out of it
// into a ComputationError "step: meaning" when the library gave no message
// of its own ("step: the library's message" otherwise). `meaning` is what a
// failure of this particular call stands for, e.g. "the singular value
// decomposition did not converge (identical or collinear points?)".
template <class Call>
decltype(auto) LibraryStep(const std::string& step, const std::string& meaning, Call&& call) {
  try {
    return std::forward<Call>(call)();
  } catch (const KbException& error) {
    throw ComputationError(step + ": " +
                           (error.GetMessage().empty() ? meaning : error.GetMessage()));
  }
}

}  // namespace komath
