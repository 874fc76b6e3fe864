// How a function leaves the plug-in library: the only two symbols a host may resolve.
#pragma once

#if defined(_WIN32)
#define ZELT_EXPORT extern "C" __declspec(dllexport)
#else
#define ZELT_EXPORT extern "C" __attribute__((visibility("default")))
#endif
