// The library's trace lines: a text formatted into a 1024-byte buffer (1023 usable, always
// terminated) and logged at information severity as "tmpBuf=" followed by the text.
//
// A macro rather than a function so that the log line carries the file and line of the code that
// traces, like every other log line of the library.
#pragma once

#include <glog/logging.h>

#include <cstdio>

#define ZETA_TRACE_TMPBUF(...)                                  \
    do {                                                        \
        char zetaTmpBuf_[1024];                                 \
        std::snprintf(zetaTmpBuf_, sizeof zetaTmpBuf_, __VA_ARGS__); \
        LOG(INFO) << "tmpBuf=" << zetaTmpBuf_;                  \
    } while (false)
