#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace miravex::test {

/// A finite supply of bytes that decide everything about a call. When it is used up it gives zeros, which
/// every choice below reads as "the ordinary one".
class Bytes {
public:
    explicit Bytes(std::span<const std::uint8_t> bytes)
        : rest_(bytes)
    {
    }

    std::uint8_t next() noexcept
    {
        if (rest_.empty()) return 0;
        const std::uint8_t first = rest_.front();
        rest_ = rest_.subspan(1);
        return first;
    }

    /// Little-endian number of `count` bytes, sign-extended.
    int64_t number(int count) noexcept
    {
        uint64_t value = 0;
        for (int i = 0; i < count; ++i) value |= uint64_t { next() } << (8 * i);
        const int unused = 64 - 8 * count;
        return static_cast<int64_t>(value << unused) >> unused;
    }

    /// A number below `count`, which is at least 1.
    std::size_t below(std::size_t count) noexcept
    {
        const std::size_t wide = count > 256 ? static_cast<std::uint16_t>(number(2)) : next();
        return wide % count;
    }

    template <typename Choices> auto oneOf(const Choices& choices) noexcept
    {
        return choices[below(std::size(choices))];
    }

    [[nodiscard]] std::span<const std::uint8_t> rest() const noexcept { return rest_; }

private:
    std::span<const std::uint8_t> rest_;
};

/// Bytes for calls that no fuzzer chooses: the same for the same seed, on every machine.
inline std::vector<std::uint8_t> randomBytes(uint32_t seed, std::size_t count)
{
    std::mt19937 generator(seed);
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(generator());
    return bytes;
}

} // namespace miravex::test
