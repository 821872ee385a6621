#pragma once
// TOVANEL_CHAT_STORE_API marks the classes that applications call into the compiled store. A
// shared build hides every other symbol (-fvisibility=hidden), so the store's workings stay
// private to it; in a static build the mark changes nothing.

#if defined(__GNUC__) || defined(__clang__)
#define TOVANEL_CHAT_STORE_API __attribute__((visibility("default")))
#else
#define TOVANEL_CHAT_STORE_API
#endif
