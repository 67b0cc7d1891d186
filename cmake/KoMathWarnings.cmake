# Compiler settings shared by every target of the project.
#
# Results must be bit-identical to the operation orders of the algorithms,
# so floating-point contraction (fused multiply-add) is off and fast-math is
# never used. Two flags only let the compiler evaluate both sides of a select
# and vectorise the loop, and leave every value as it is: math functions set
# no errno (-fno-math-errno; no code here reads errno after a math call), and
# floating-point operations are taken not to trap (-fno-trapping-math; the
# library never unmasks exceptions and its results do not include the status
# flags). Both are clang's defaults already.
add_library(komath_options INTERFACE)
target_compile_options(komath_options INTERFACE
  -Wall -Wextra -Wpedantic -ffp-contract=off -fno-fast-math -fno-math-errno -fno-trapping-math)
if(KOMATH_WERROR)
  target_compile_options(komath_options INTERFACE -Werror)
endif()
if(KOMATH_BUILD_FUZZERS)
  # Coverage feedback for libFuzzer in everything the targets run, with the
  # sanitizers that turn silent corruption into a finding.
  target_compile_options(komath_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined
    -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(komath_options INTERFACE -fsanitize=address,undefined)
endif()
if(KOMATH_SANITIZE)
  target_compile_options(komath_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(komath_options INTERFACE -fsanitize=address,undefined)
endif()
