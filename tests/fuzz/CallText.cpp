#include "CallText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace zeta::fuzz {

std::string CallText::of(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    if (value == 0 && std::signbit(value)) return "-0";
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

std::string CallText::quoted(const char* text) {
    if (text == nullptr) return "null";
    constexpr std::size_t kShown = 40;
    const std::size_t length = std::strlen(text);
    std::string out = "\"" + std::string(text, std::min(length, kShown));
    if (length > kShown) out += "...(" + std::to_string(length) + " chars)";
    return out + "\"";
}

std::string CallText::list(const std::vector<std::string>& items) {
    std::string out = "[";
    for (std::size_t i = 0; i < items.size(); ++i) out += (i > 0 ? ", " : "") + items[i];
    return out + "]";
}

std::string CallText::list(const std::vector<int>& items) {
    std::vector<std::string> texts;
    for (int item : items) texts.push_back(of(item));
    return list(texts);
}

}  // namespace zeta::fuzz
