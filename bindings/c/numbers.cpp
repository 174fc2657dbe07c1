#include "bindings/c/numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

namespace miravex::door {

namespace {

std::span<const int64_t> sizesOf(const mvx_numbers& numbers)
{
    return { numbers.size, static_cast<std::size_t>(numbers.rank) };
}

int64_t countOf(std::span<const int64_t> sizes)
{
    return std::accumulate(sizes.begin(), sizes.end(), int64_t { 1 }, std::multiplies<>());
}

template <typename Number> Number numberAt(const std::byte* place)
{
    Number number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

/// An integer that a real is, if it is one of 64 bits.
std::optional<int64_t> wholeNumber(double number)
{
    constexpr double beyond = 9223372036854775808.0;
    if (!(number >= -beyond && number < beyond) || number != std::floor(number)) return {};
    return static_cast<int64_t>(number);
}

template <typename To, typename From> std::optional<To> exactly(From number)
{
    if constexpr (std::is_same_v<To, int64_t> && std::is_floating_point_v<From>)
        return wholeNumber(static_cast<double>(number));
    else
        return static_cast<To>(number);
}

/// All numbers, the last index running fastest; nothing when one of them does not convert.
template <typename From, typename To> std::optional<std::vector<To>> readAs(const mvx_numbers& numbers)
{
    std::array<int64_t, 4> sizes { 1, 1, 1, 1 }, steps {};
    const auto shift = static_cast<std::size_t>(4 - numbers.rank);
    for (std::size_t i = shift; i < 4; ++i) {
        sizes[i] = numbers.size[i - shift];
        steps[i] = numbers.step[i - shift];
    }
    std::vector<To> all;
    all.reserve(static_cast<std::size_t>(countOf(sizes)));
    const auto* data = static_cast<const std::byte*>(numbers.data);
    for (int64_t i = 0; i < sizes[0]; ++i)
        for (int64_t j = 0; j < sizes[1]; ++j)
            for (int64_t k = 0; k < sizes[2]; ++k)
                for (int64_t l = 0; l < sizes[3]; ++l) {
                    const int64_t offset = i * steps[0] + j * steps[1] + k * steps[2] + l * steps[3];
                    const auto number = exactly<To>(numberAt<From>(data + offset));
                    if (!number) return {};
                    all.push_back(*number);
                }
    return all;
}

template <typename To> std::optional<std::vector<To>> read(const mvx_numbers& numbers)
{
    switch (numbers.type) {
    case MVX_BIT:
    case MVX_BYTE: return readAs<std::uint8_t, To>(numbers);
    case MVX_BIT16: return readAs<std::uint16_t, To>(numbers);
    case MVX_REAL32: return readAs<float, To>(numbers);
    case MVX_REAL64: return readAs<double, To>(numbers);
    case MVX_INT32: return readAs<std::int32_t, To>(numbers);
    default: return readAs<std::int64_t, To>(numbers);
    }
}

/// The sizes that the numbers have for this argument: those of a list where the record wants one and they
/// form a matrix of one row or column, or have the length that it fixes.
std::vector<int64_t> dimensionsFor(const Argument& argument, const mvx_numbers& numbers)
{
    const std::span<const int64_t> sizes = sizesOf(numbers);
    const int64_t count = countOf(sizes);
    if (sizes.empty()) return { 1 };
    const TensorRule& rule = argument.tensor;
    const bool isThin = std::ranges::count_if(sizes, [](int64_t size) { return size != 1; }) <= 1;
    const bool wantsList = rule.rank < 2;
    const bool fillsList =
        rule.rank == 1 && rule.shape[0].of == Extent::Of::Exactly && rule.shape[0].count == count;
    const bool isNothing = count == 0 && rule.orEmpty;
    if (isNothing || fillsList || (wantsList && (isThin || count == 0))) return { count };
    return { sizes.begin(), sizes.end() };
}

bool isDense(const mvx_numbers& numbers)
{
    int64_t step = sizeof(float);
    for (auto i = static_cast<std::size_t>(numbers.rank); i-- > 0;) {
        if (numbers.size[i] > 1 && numbers.step[i] != step) return false;
        step *= numbers.size[i];
    }
    return reinterpret_cast<std::uintptr_t>(numbers.data) % alignof(float) == 0;
}

Value tensorOf(const Argument& argument, const mvx_numbers& numbers)
{
    const auto dimensions = dimensionsFor(argument, numbers);
    if (argument.kind == Kind::IntegerTensor)
        if (const auto integers = read<int64_t>(numbers)) return makeIntegerTensor(dimensions, *integers);
    return makeRealTensor(dimensions, *read<double>(numbers));
}

/// Arrays that the operation fills are never copied; what can't be filled goes on as reals, to be refused.
Value arrayOf(const Argument& argument, const mvx_numbers& numbers)
{
    std::vector<int64_t> dimensions(sizesOf(numbers).begin(), sizesOf(numbers).end());
    if (argument.rewritten) {
        if (numbers.type != MVX_REAL32 || !isDense(numbers)) return makeRealTensor(dimensions);
        return wrapFloatArray(dimensions, static_cast<float*>(numbers.data), {});
    }
    const std::vector<double> reals = *read<double>(numbers);
    ArrayPointer array = makeFloatArray(dimensions);
    std::ranges::transform(reals, array->floats().begin(),
                           [](double real) { return static_cast<float>(real); });
    return array;
}

} // namespace

bool isReadable(const mvx_numbers& numbers) noexcept
{
    if (numbers.type < MVX_BIT || numbers.type > MVX_INT64 || numbers.rank < 0 || numbers.rank > 4)
        return false;
    int64_t bytes = 8;
    for (const int64_t size : sizesOf(numbers))
        if (size < 0 || __builtin_mul_overflow(bytes, std::max<int64_t>(size, 1), &bytes)) return false;
    return numbers.data || std::ranges::count(sizesOf(numbers), 0) > 0;
}

Value valueOf(const Argument& argument, int64_t number)
{
    switch (argument.kind) {
    case Kind::Boolean: return number == 0 || number == 1 ? Value(number == 1) : Value(number);
    case Kind::Real: return static_cast<double>(number);
    case Kind::IntegerTensor: return makeIntegerTensor({ 1 }, std::array { number });
    case Kind::RealTensor: return realList({ static_cast<double>(number) });
    default: return number;
    }
}

Value valueOf(const Argument& argument, double number)
{
    if (argument.kind == Kind::Real) return number;
    if (argument.kind == Kind::RealTensor) return realList({ number });
    if (const auto whole = wholeNumber(number)) return valueOf(argument, *whole);
    return number;
}

Value valueOf(const Argument& argument, const mvx_numbers& numbers)
{
    if (argument.kind == Kind::NumericArray) return arrayOf(argument, numbers);
    const bool isTensor = argument.kind == Kind::RealTensor || argument.kind == Kind::IntegerTensor;
    if (isTensor || countOf(sizesOf(numbers)) != 1) return tensorOf(argument, numbers);
    if (numbers.type != MVX_REAL32 && numbers.type != MVX_REAL64)
        return valueOf(argument, read<int64_t>(numbers)->front());
    return valueOf(argument, read<double>(numbers)->front());
}

} // namespace miravex::door
