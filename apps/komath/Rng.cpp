// komath rng: numbers from the library's Mersenne-Twister generator.
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "math/rotations/KoRandomNumberGenerator.h"

namespace komath {
namespace {

struct RngOptions {
  std::optional<std::uint32_t> seed;
  std::vector<std::uint32_t> key;
  std::uint64_t count = 10;
  std::vector<double> normal;
  bool uniform = false;
  std::optional<std::uint32_t> integerBound;
  bool json = false;
};

void RunRng(const RngOptions& options) {
  if (!options.normal.empty() && (!std::isfinite(options.normal[0]) ||
                                  !std::isfinite(options.normal[1]) || options.normal[1] < 0)) {
    throw UsageError("--normal MEAN,SD needs a finite mean and a finite SD >= 0");
  }
  KoRandomNumberGenerator generator(0u);
  nlohmann::json seed = nullptr;
  if (options.seed) {
    generator.Seed(*options.seed);
    seed = *options.seed;
  } else if (!options.key.empty()) {
    generator.Seed(options.key.data(), std::uint32_t(options.key.size()));
    seed = options.key;
  } else {
    generator.Seed();  // from the clock: a different sequence every run
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
  // Streamed: a count of billions needs no memory. Nothing can fail once
  // the first number is out.
  std::string block;
  const auto flush = [&] {
    std::fwrite(block.data(), 1, block.size(), stdout);
    block.clear();
  };
  if (options.json) {
    block = "{\n  \"distribution\": " + nlohmann::json(distribution).dump() +
            ",\n  \"seed\": " + seed.dump() + ",\n  \"numbers\": [";
  }
  for (std::uint64_t i = 0; i < options.count; ++i) {
    if (options.json) block += i == 0 ? "\n    " : ",\n    ";
    block += next();
    if (!options.json) block += '\n';
    if (block.size() > (1u << 16)) flush();
  }
  if (options.json) block += options.count == 0 ? "]\n}\n" : "\n  ]\n}\n";
  flush();
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
      "generator is seeded from the clock.");
  AddJsonFlag(*command, options->json);
  command->callback([options] { RunRng(*options); });
}

}  // namespace komath
