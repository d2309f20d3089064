#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

// Byte-order helpers shared by every binary format.
namespace vibrex {

inline std::int16_t SwapInteger(std::int16_t value) {
    return static_cast<std::int16_t>(std::byteswap(static_cast<std::uint16_t>(value)));
}

inline std::int32_t SwapLong(std::int32_t value) {
    return static_cast<std::int32_t>(std::byteswap(static_cast<std::uint32_t>(value)));
}

inline float SwapSingle(float value) {
    return std::bit_cast<float>(std::byteswap(std::bit_cast<std::uint32_t>(value)));
}

enum class ByteOrder { Little, Big };

// Loads and stores of fixed-width values at an arbitrary (unaligned) buffer position.
template <typename T> T LoadAs(const unsigned char* at, ByteOrder order) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    if constexpr (sizeof(T) > 1) {
        if ((order == ByteOrder::Big) != (std::endian::native == std::endian::big)) {
            using U = std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                         std::conditional_t<sizeof(T) == 4, std::uint32_t,
                                                            std::uint64_t>>;
            value = std::bit_cast<T>(std::byteswap(std::bit_cast<U>(value)));
        }
    }
    return value;
}

template <typename T> void StoreAs(unsigned char* at, T value, ByteOrder order) {
    if constexpr (sizeof(T) > 1) {
        if ((order == ByteOrder::Big) != (std::endian::native == std::endian::big)) {
            using U = std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                         std::conditional_t<sizeof(T) == 4, std::uint32_t,
                                                            std::uint64_t>>;
            value = std::bit_cast<T>(std::byteswap(std::bit_cast<U>(value)));
        }
    }
    std::memcpy(at, &value, sizeof(T));
}

} // namespace vibrex
