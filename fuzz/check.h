#pragma once

#include <cstdio>
#include <cstdlib>

// A property that must hold for every input. Unlike assert it is there in every build type.
#define FUZZ_CHECK(condition)                                              \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)
