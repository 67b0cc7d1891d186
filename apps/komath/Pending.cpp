#include "Commands.h"
namespace komath {
void AddAlignCommand(CLI::App&) {}
void AddGpaCommand(CLI::App&) {}
void AddSmoothCommand(CLI::App&) {}
void AddRngCommand(CLI::App&) {}
}  // namespace komath
