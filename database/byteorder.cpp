#include "saddlefit/database.h"

#include <algorithm>
#include <array>
#include <bit>

namespace {

template <class T> using BytesOf = std::array<unsigned char, sizeof(T)>;

template <class T> BytesOf<T> reversedBytes(T value) {
    auto bytes = std::bit_cast<BytesOf<T>>(value);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

/// Goes through bytes and never through a T made of them: a reversed float may be a signalling NaN,
/// which passing it by value could quieten.
template <class T> void reverseInPlace(T *value) {
    auto *bytes = reinterpret_cast<unsigned char *>(value);
    std::reverse(bytes, bytes + sizeof(T));
}

template <class T> void storeReversed(T value, unsigned char *destination) {
    std::ranges::copy(reversedBytes(value), destination);
}

template <class T> void copyReversed(const unsigned char *source, unsigned char *destination) {
    std::reverse_copy(source, source + sizeof(T), destination);
}

} // namespace

void swapShort(int16_t *value) {
    reverseInPlace(value);
}
void swapUShort(uint16_t *value) {
    reverseInPlace(value);
}
void swapInt(int32_t *value) {
    reverseInPlace(value);
}
void swapUInt(uint32_t *value) {
    reverseInPlace(value);
}
void swapFloat(float *value) {
    reverseInPlace(value);
}
void swapDouble(double *value) {
    reverseInPlace(value);
}

void swapCharToInt(const unsigned char *source, unsigned char *destination) {
    copyReversed<int32_t>(source, destination);
}

void swapCharToFloat(const unsigned char *source, unsigned char *destination) {
    copyReversed<float>(source, destination);
}

void swapCharToDouble(const unsigned char *source, unsigned char *destination) {
    copyReversed<double>(source, destination);
}

void swapIntToChar(int32_t value, unsigned char *destination) {
    storeReversed(value, destination);
}

void swapFloatToChar(float value, unsigned char *destination) {
    storeReversed(value, destination);
}

void swapDoubleToChar(double value, unsigned char *destination) {
    storeReversed(value, destination);
}
