// The subcommands of komath. Each Add…Command registers one subcommand with
// its options on the application; its callback reads the input, runs the
// library's algorithm and prints the result (text, or JSON with --json).
// Failures are thrown as InputError or ComputationError (status 1) or
// UsageError (status 2) before anything is printed or any output file is
// written; library calls go through LibraryStep (Errors.h) so that their
// failures say what they mean.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>

namespace komath {

void AddAlignCommand(CLI::App& app);
void AddGpaCommand(CLI::App& app);
void AddDetCommand(CLI::App& app);
void AddFitCommand(CLI::App& app);
void AddSmoothCommand(CLI::App& app);
void AddRngCommand(CLI::App& app);

// Helpers shared by the commands.
void AddJsonFlag(CLI::App& command, bool& json);
// Registers an option naming an output file (`--svg FILE`), written later
// with WriteOutputFile. The command line is refused (status 2) for an empty
// name and for "-", since standard output carries the command's report (text
// or JSON) and the two would be mixed on one stream.
CLI::Option* AddOutputFileOption(CLI::App& command, const std::string& name, std::string& path,
                                 const std::string& description);
// Prints the finished result to standard output: the JSON document
// (indented) with --json, the text otherwise.
void Emit(const std::string& text, const nlohmann::json& json, bool asJson);

}  // namespace komath
