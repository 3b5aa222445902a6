#include "ByteReader.h"

namespace zeta::fuzz {

std::uint8_t ByteReader::byte() {
    if (position_ >= size_) return 0;
    return data_[position_++];
}

std::uint32_t ByteReader::raw32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(byte()) << (8 * i);
    return value;
}

std::uint64_t ByteReader::raw64() {
    const std::uint64_t low = raw32();
    const std::uint64_t high = raw32();
    return low | (high << 32);
}

std::string ByteReader::bytes(std::size_t maxBytes) {
    const std::size_t length = maxBytes == 0 ? 0 : byte() % (maxBytes + 1);
    std::string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) out.push_back(static_cast<char>(byte()));
    return out;
}

}  // namespace zeta::fuzz
