#pragma once
// TOVANEL_CHAT_API marks the functions and classes that applications call into the compiled
// library. A shared build hides every other symbol (-fvisibility=hidden), so what is not marked
// stays private to the library; in a static build the mark changes nothing.

#if defined(__GNUC__) || defined(__clang__)
#define TOVANEL_CHAT_API __attribute__((visibility("default")))
#else
#define TOVANEL_CHAT_API
#endif
