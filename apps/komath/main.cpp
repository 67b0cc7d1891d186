// komath: the library's algorithms from the shell.
//
// Exit status: 0 success, 1 bad input, failed computation or failed output,
// 2 usage error.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"

#ifndef KOMATH_VERSION
#error "KOMATH_VERSION is set by the build"
#endif

namespace {

// "komath: " or "komath det: ": which command failed, for messages of
// exceptions that do not name their step.
std::string Prefix(const CLI::App& app) {
  const auto commands = app.get_subcommands();
  return commands.empty() ? "komath: " : "komath " + commands.front()->get_name() + ": ";
}

// Runs the command line; the exit status.
int Run(CLI::App& app, int argc, char** argv) {
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
    std::fprintf(stderr, "%s%s\n", Prefix(app).c_str(), e.what());
    return 1;
  } catch (const std::exception& e) {
    // The library's own exceptions (numerical breakdown) and anything else
    // that no command turned into one of the three above.
    std::fprintf(stderr, "%s%s\n", Prefix(app).c_str(), komath::DescribeFailure(e).c_str());
    return 1;
  }
  return 0;
}

}  // namespace

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
  int status = Run(app, argc, argv);
  // Standard output is buffered: the last of it (and help or version text)
  // is written only here, and a failure here is a failed run too.
  try {
    komath::FinishStandardOutput();
  } catch (const komath::InputError& e) {
    // After a failed run this is only the echo of the failure reported.
    if (status == 0) {
      std::fprintf(stderr, "komath: %s\n", e.what());
      status = 1;
    }
  }
  return status;
}
