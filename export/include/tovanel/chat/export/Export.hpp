#pragma once
// TOVANEL_CHAT_EXPORT_API marks what applications call into the compiled export library. A shared
// build hides every other symbol (-fvisibility=hidden); in a static build the mark changes nothing.

#if defined(__GNUC__) || defined(__clang__)
#define TOVANEL_CHAT_EXPORT_API __attribute__((visibility("default")))
#else
#define TOVANEL_CHAT_EXPORT_API
#endif
