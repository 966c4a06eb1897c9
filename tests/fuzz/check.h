// A property that a fuzzer tests. libFuzzer keeps the input that violates it.
#pragma once

#include <cstdio>
#include <cstdlib>

#define CHECK_PROPERTY(property)                                          \
  do {                                                                    \
    if (!(property)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #property); \
      std::abort();                                                       \
    }                                                                     \
  } while (false)
