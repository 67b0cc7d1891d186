// komath rng: numbers from the library's Mersenne-Twister generator.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Stream.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace komath {
namespace {

struct RngOptions {
  std::optional<std::uint32_t> seed;
  std::vector<std::uint32_t> key;
  std::int64_t count = 10;
  std::vector<double> normal;
  bool uniform = false;
  std::optional<std::uint32_t> integerBound;
  bool json = false;
};

// A seed from the clock, for a run that names none: the nanoseconds of the
// calendar time mixed (splitmix64's finalizer) into 32 bits.
std::uint32_t ClockSeed() {
  auto x = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
  return static_cast<std::uint32_t>(x ^ (x >> 31));
}

void RunRng(const RngOptions& options) {
  if (options.count < 0) {
    throw UsageError("--count " + std::to_string(options.count) + ": a count cannot be negative");
  }
  if (!options.normal.empty() && (!std::isfinite(options.normal[0]) ||
                                  !std::isfinite(options.normal[1]) || options.normal[1] < 0)) {
    throw UsageError("--normal MEAN,SD needs a finite mean and a finite SD >= 0");
  }
  // Seeded below in every case.
  KoRandomNumberGenerator generator;
  nlohmann::json seed = nullptr;
  if (options.seed) {
    generator.Seed(*options.seed);
    seed = *options.seed;
  } else if (!options.key.empty()) {
    generator.Seed(options.key.data(), std::uint32_t(options.key.size()));
    seed = options.key;
  } else {
    // From the clock, a different sequence every run; the seed is reported
    // so that a run can be repeated with --seed.
    const std::uint32_t clockSeed = ClockSeed();
    generator.Seed(clockSeed);
    seed = clockSeed;
    if (!options.json) {
      std::fprintf(stderr,
                   "komath rng: seeded from the clock with %u (--seed %u repeats this run)\n",
                   unsigned(clockSeed), unsigned(clockSeed));
    }
  }
  std::string distribution = "uint32";
  if (!options.normal.empty()) {
    distribution = "normal";
  } else if (options.uniform) {
    distribution = "uniform [0, 1)";
  } else if (options.integerBound) {
    distribution = "integer [0, " + std::to_string(*options.integerBound) + "]";
  }
  const auto next = [&]() -> std::string {
    if (!options.normal.empty()) {
      return Format(generator.RandNorm(options.normal[0], options.normal[1]));
    }
    if (options.uniform) return Format(generator.RandExc());
    if (options.integerBound) return std::to_string(generator.RandInt(*options.integerBound));
    return std::to_string(generator.RandInt());
  };
  // Streamed: a count of billions needs no memory. Only writing can fail
  // once the first number is out, and that stops the run at once.
  StreamWriter out;
  if (options.json) {
    out.Write("{\n  \"distribution\": " + nlohmann::json(distribution).dump() +
              ",\n  \"seed\": " + seed.dump() + ",\n  \"numbers\": [");
  }
  for (std::int64_t i = 0; i < options.count; ++i) {
    if (options.json) out.Write(i == 0 ? "\n    " : ",\n    ");
    out.Write(next());
    if (!options.json) out.Write("\n");
  }
  if (options.json) out.Write(options.count == 0 ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace

void AddRngCommand(CLI::App& app) {
  auto options = std::make_shared<RngOptions>();
  CLI::App* command = app.add_subcommand(
      "rng", "random numbers from the library's Mersenne-Twister generator (MT19937)");
  CLI::Option* seed =
      command->add_option("-s,--seed", options->seed, "seed the generator with this integer");
  CLI::Option* key = command
                         ->add_option("-k,--key", options->key,
                                      "seed with a key array A,B,... (MT19937 init_by_array)")
                         ->delimiter(',');
  seed->excludes(key);
  command->add_option("-n,--count", options->count, "how many numbers (default 10)");
  CLI::Option* normal =
      command->add_option("--normal", options->normal, "normal deviates with MEAN,SD")
          ->delimiter(',')
          ->expected(2);
  CLI::Option* uniform =
      command->add_flag("--uniform", options->uniform, "uniform doubles in [0, 1)");
  CLI::Option* integer = command->add_option("--int", options->integerBound,
                                             "uniform integers in [0, N], both ends included");
  normal->excludes(uniform)->excludes(integer);
  uniform->excludes(integer);
  command->footer(
      "Without an option the numbers are the raw 32-bit outputs. Without --seed or --key the "
      "generator is seeded from the clock, and the seed is reported (on standard error, or as "
      "\"seed\" with --json) so that the run can be repeated.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunRng(*options); });
}

}  // namespace komath
