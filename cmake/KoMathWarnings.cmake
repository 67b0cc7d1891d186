# Compiler settings shared by every target of the project.
#
# Results must be bit-identical to the operation orders of the algorithms,
# so floating-point contraction (fused multiply-add) is off and fast-math is
# never used.
add_library(komath_options INTERFACE)
target_compile_options(komath_options INTERFACE
  -Wall -Wextra -Wpedantic -ffp-contract=off -fno-fast-math)
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
