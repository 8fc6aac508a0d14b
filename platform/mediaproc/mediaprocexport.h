#pragma once

#if defined(_WIN32) && defined(MEDIAPROC_LIBRARY)
#define MEDIAPROC_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define MEDIAPROC_EXPORT __declspec(dllimport)
#else
#define MEDIAPROC_EXPORT __attribute__((visibility("default")))
#endif
