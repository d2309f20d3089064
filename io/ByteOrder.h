#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Byte-order helpers shared by every binary format.
namespace vibrex {

inline std::uint16_t ByteSwap(std::uint16_t value) {
    return __builtin_bswap16(value);
}
inline std::uint32_t ByteSwap(std::uint32_t value) {
    return __builtin_bswap32(value);
}
inline std::uint64_t ByteSwap(std::uint64_t value) {
    return __builtin_bswap64(value);
}

inline std::int16_t SwapInteger(std::int16_t value) {
    return static_cast<std::int16_t>(ByteSwap(static_cast<std::uint16_t>(value)));
}

inline std::int32_t SwapLong(std::int32_t value) {
    return static_cast<std::int32_t>(ByteSwap(static_cast<std::uint32_t>(value)));
}

inline float SwapSingle(float value) {
    return std::bit_cast<float>(ByteSwap(std::bit_cast<std::uint32_t>(value)));
}

enum class ByteOrder { Little, Big };

namespace detail {

template <typename T>
using UnsignedOfSize =
    std::conditional_t<sizeof(T) == 2, std::uint16_t,
                       std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>;

template <typename T> T ToOrder(T value, ByteOrder order) {
    if constexpr (sizeof(T) > 1) {
        if ((order == ByteOrder::Big) != (std::endian::native == std::endian::big)) {
            return std::bit_cast<T>(ByteSwap(std::bit_cast<UnsignedOfSize<T>>(value)));
        }
    }
    return value;
}

} // namespace detail

// Loads and stores of fixed-width values at any (unaligned) buffer position.
template <typename T> T LoadAs(const unsigned char* at, ByteOrder order) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return detail::ToOrder(value, order);
}

template <typename T> void StoreAs(unsigned char* at, T value, ByteOrder order) {
    value = detail::ToOrder(value, order);
    std::memcpy(at, &value, sizeof(T));
}

} // namespace vibrex
