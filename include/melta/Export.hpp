#pragma once

// What a shared libmelta shows; everything else stays inside.
#if defined(__GNUC__)
#define MELTA_API __attribute__((visibility("default")))
#else
#define MELTA_API
#endif
