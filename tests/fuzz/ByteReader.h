// ByteReader: the fuzz input read front to back as small decisions and values.
//
// Every read takes bytes from the front; once the input is used up every read answers 0 (and
// exhausted() turns true), so any byte string decodes to some program and a shorter input is a
// prefix of the program a longer one gives. Nothing here allocates per read, and nothing depends
// on the platform: the same bytes decode to the same program everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zeta::fuzz {

class ByteReader {
public:
    ByteReader(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool exhausted() const { return position_ >= size_; }
    std::size_t remaining() const { return exhausted() ? 0 : size_ - position_; }

    std::uint8_t byte();
    bool flag() { return (byte() & 1u) != 0; }
    // A choice among `count` alternatives (count > 0).
    std::size_t choose(std::size_t count) { return byte() % count; }
    // Raw little-endian values: the fuzzer reaches every bit pattern through them.
    std::uint32_t raw32();
    std::uint64_t raw64();
    // Up to `maxBytes` bytes: a length byte, then that many bytes.
    std::string bytes(std::size_t maxBytes);

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

}  // namespace zeta::fuzz
