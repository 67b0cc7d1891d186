// komath: the library's algorithms from the shell.
//
// Exit status: 0 success, 1 bad input or failed computation, 2 usage error.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

#include "Commands.h"
#include "Errors.h"

#ifndef KOMATH_VERSION
#error "KOMATH_VERSION is set by the build"
#endif

int main(int argc, char** argv) {
  CLI::App app(
      "komath: registration, exact determinants, fitting, smoothing and random numbers "
      "with the KoMath library.\nInput files hold numbers separated by blanks, tabs or "
      "commas, one record per line; '#' starts a comment; '-' reads standard input.",
      "komath");
  app.set_version_flag("--version", "komath " KOMATH_VERSION);
  app.require_subcommand(1);
  komath::AddAlignCommand(app);
  komath::AddGpaCommand(app);
  komath::AddDetCommand(app);
  komath::AddFitCommand(app);
  komath::AddSmoothCommand(app);
  komath::AddRngCommand(app);
  // CLI11 would only say that a subcommand is required.
  if (argc > 1 && argv[1][0] != '-' &&
      app.get_subcommands([&](CLI::App* command) { return command->check_name(argv[1]); })
          .empty()) {
    std::fprintf(stderr, "komath: unknown subcommand '%s'\nRun with --help for more information.\n",
                 argv[1]);
    return 2;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    app.exit(e);
    return 2;
  } catch (const komath::UsageError& e) {
    std::fprintf(stderr, "komath: %s\nRun with --help for more information.\n", e.what());
    return 2;
  } catch (const komath::InputError& e) {
    std::fprintf(stderr, "komath: %s\n", e.what());
    return 1;
  } catch (const komath::ComputationError& e) {
    std::fprintf(stderr, "komath: %s\n", e.what());
    return 1;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "komath: out of memory\n");
    return 1;
  } catch (const std::exception& e) {
    // Numerical breakdown inside the library (for instance a singular value
    // decomposition that does not converge) arrives here.
    std::fprintf(stderr, "komath: computation failed: %s\n", e.what());
    return 1;
  }
  return 0;
}
