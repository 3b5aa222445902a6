#include "platform/Console.h"

#include <cstdarg>
#include <cstdio>

namespace zeta::platform {

void consolePrintf(const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    std::fputs(line, stdout);
    std::fflush(stdout);
}

}  // namespace zeta::platform
