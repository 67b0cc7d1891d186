// Symbol visibility of the two shared libraries.
//
// Both libraries build with -fvisibility=hidden: only what carries one of
// these macros is part of the binary interface. Class templates carry the
// macro on their declaration, so the explicit instantiations in the .cpp
// files are exported while every helper in an anonymous namespace stays
// private. Header-only value templates (vectors, arrays) carry the macro as
// well: a library template instantiated over a hidden type would be hidden.
#pragma once

#if defined(_WIN32)
#error "KoMath is built for ELF platforms; add dllexport/dllimport before porting."
#endif

#define KOBASE_API __attribute__((visibility("default")))
#define KOMATH_API __attribute__((visibility("default")))
