// Taking the place of a library function for the calls of other libraries: the executable
// defines a function of the same name, exports it (the linker options of the object library
// that carries the definition), and calls the library's own definition through ZELT_REAL.
#pragma once

#include <dlfcn.h>

// The library's own definition of `name`, looked up once.
#define ZELT_REAL(name)                                                                      \
    ([] {                                                                                    \
        static const auto real = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name)); \
        return real;                                                                         \
    }())

// The project builds with hidden symbols; these must be seen by the libraries.
#define ZELT_SHOWN extern "C" __attribute__((visibility("default")))
