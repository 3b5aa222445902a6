// CallText: arguments and results written as text for the call lines of a program's trace.
#pragma once

#include <string>
#include <vector>

namespace zeta::fuzz {

class CallText {
public:
    static std::string of(int value) { return std::to_string(value); }
    static std::string of(bool value) { return value ? "true" : "false"; }
    // Shortest text that reads back as the same value: NaN, inf and -0 spelled out.
    static std::string of(double value);
    // A C string quoted and cut to 40 characters, or null.
    static std::string quoted(const char* text);
    // [a, b, c]
    static std::string list(const std::vector<std::string>& items);
    static std::string list(const std::vector<int>& items);
};

}  // namespace zeta::fuzz
