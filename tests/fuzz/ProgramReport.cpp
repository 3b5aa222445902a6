#include "ProgramReport.h"

#include <cstdio>

namespace zeta::fuzz {

void ProgramReport::begin(const std::string& call) {
    if (trace_) {
        std::fprintf(stderr, "  %s\n", call.c_str());
        std::fflush(stderr);
    }
}

void ProgramReport::end(const std::string& call, const std::string& result) {
    calls_.push_back(call + " -> " + result);
    if (trace_) {
        std::fprintf(stderr, "    -> %s\n", result.c_str());
        std::fflush(stderr);
    }
}

void ProgramReport::call(const std::string& line) {
    calls_.push_back(line);
    if (trace_) {
        std::fprintf(stderr, "  %s\n", line.c_str());
        std::fflush(stderr);
    }
}

void ProgramReport::violation(const std::string& what) {
    violations_.push_back(what);
    if (trace_) {
        std::fprintf(stderr, "  VIOLATION: %s\n", what.c_str());
        std::fflush(stderr);
    }
}

std::string ProgramReport::text() const {
    std::string out;
    for (const std::string& line : calls_) out += "  " + line + "\n";
    for (const std::string& line : violations_) out += "VIOLATION: " + line + "\n";
    return out;
}

}  // namespace zeta::fuzz
