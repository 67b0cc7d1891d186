#!/usr/bin/env bash
# Builds KoMath and runs something with it, installing missing build tools
# first (Debian packages, through apt-get; needs root or sudo).
#
#   tools/run.sh           configure, build, run komath align on its built-in sample
#   tools/run.sh align …   the same with komath align's options (e.g. --scale)
#   tools/run.sh test      configure, build, run the whole test suite
#   tools/run.sh example   configure, build, run the example tour
#   tools/run.sh bench     configure, build, run the benchmarks (short)
#   tools/run.sh deps      only install the build dependencies
#
# Environment: BUILD_DIR (default build), JOBS (default: all cores),
# CMAKE_ARGS (extra configure arguments), CTEST_ARGS (extra ctest arguments).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${BUILD_DIR:-$root/build}
jobs=${JOBS:-$(nproc)}
packages=(g++ cmake ninja-build pkg-config googletest libgtest-dev libbenchmark-dev libeigen3-dev
  libgmp-dev libcli11-dev nlohmann-json3-dev)
# What the tests need beyond the build: numpy and scipy as independent
# references, pybind11 and pytest for the Python package, an SVG renderer.
test_packages=(python3-dev python3-numpy python3-scipy python3-pytest pybind11-dev librsvg2-bin)

install_dependencies() {
  local missing=()
  for package in "${packages[@]}" "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

configure() {
  # shellcheck disable=SC2086
  cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" ${CMAKE_ARGS:-}
}

case "${1:-align}" in
  align)
    install_dependencies
    configure
    cmake --build "$build_dir" -j "$jobs"
    shift $(($# > 0 ? 1 : 0))
    "$build_dir/apps/komath/komath" align "$@"
    ;;
  deps)
    install_dependencies
    ;;
  test)
    install_dependencies "${test_packages[@]}"
    configure -DKOMATH_BUILD_TESTS=ON
    cmake --build "$build_dir" -j "$jobs"
    # shellcheck disable=SC2086
    ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" ${CTEST_ARGS:-}
    ;;
  example)
    install_dependencies
    configure -DKOMATH_BUILD_EXAMPLES=ON
    cmake --build "$build_dir" -j "$jobs" --target komath_tour
    "$build_dir/examples/komath_tour"
    ;;
  bench)
    install_dependencies libopencv-dev  # the grid filters' peer, for the benchmarks only
    configure -DKOMATH_BUILD_BENCH=ON -DCMAKE_BUILD_TYPE=Release
    cmake --build "$build_dir" -j "$jobs"
    for program in "$build_dir"/bench/*_bench; do
      "$program" --benchmark_min_time=0.2
    done
    ;;
  *)
    sed -n '2,13p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
    exit 2
    ;;
esac
