// The main function of every benchmark program: Google Benchmark's own, with
// the processor model added to the context printed before the results. The
// library's speed depends on the processor more than on its clock (the same
// code was measured faster and slower than its peer on two processor
// kinds), so a figure without the model is not comparable to another.
#pragma once

#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

namespace komath_bench {

// The first "model name" line of /proc/cpuinfo, or "unknown" where there is
// none (other systems, or processors that do not report one).
inline std::string ProcessorModel() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line;
  while (std::getline(cpuinfo, line)) {
    if (line.rfind("model name", 0) != 0) continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) break;
    const std::size_t start = line.find_first_not_of(" \t", colon + 1);
    return start == std::string::npos ? std::string("unknown") : line.substr(start);
  }
  return "unknown";
}

}  // namespace komath_bench

#define KOMATH_BENCHMARK_MAIN()                                               \
  int main(int argc, char** argv) {                                           \
    benchmark::AddCustomContext("processor", komath_bench::ProcessorModel()); \
    benchmark::Initialize(&argc, argv);                                       \
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;         \
    benchmark::RunSpecifiedBenchmarks();                                      \
    benchmark::Shutdown();                                                    \
    return 0;                                                                 \
  }
