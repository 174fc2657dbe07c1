#pragma once

#include "miravex/host_interface.h"

#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

namespace miravex {

/// Builds and drops the message of a wrong argument count; returns StatusFunctionError.
HostErrorCode refuseArgumentCount(int64_t given, const char* expected) noexcept;

namespace detail {

/// What an implementation's type says of its operation: everything after the service table and before the
/// result pointer is an argument.
template <typename Function> struct Signature;

template <typename... Parameters> struct Signature<HostErrorCode (*)(LibraryData, Parameters...)> {
    static constexpr std::size_t count = sizeof...(Parameters) - 1;
    using Tuple = std::tuple<Parameters...>;
    template <std::size_t i> using Argument = std::tuple_element_t<i, Tuple>;
    using Result = std::remove_pointer_t<Argument<count>>;

    static constexpr bool usesImages =
        (std::is_same_v<Parameters, KImage> || ...) || std::is_same_v<Result, KImage>;
    static_assert(count < 100, "the decimal count is written with two digits at most");

    static constexpr std::array<char, 3> decimalCount = count < 10
        ? std::array<char, 3> { '0' + count, '\0', '\0' }
        : std::array<char, 3> { '0' + count / 10, '0' + count % 10, '\0' };
};

template <typename T> T read(const ValueCell& cell) noexcept
{
    if constexpr (std::is_same_v<T, int64_t>)
        return cell.integer;
    else if constexpr (std::is_same_v<T, double>)
        return cell.real;
    else if constexpr (std::is_same_v<T, HostBoolean>)
        return cell.boolean;
    else if constexpr (std::is_same_v<T, const char*>)
        return cell.string;
    else if constexpr (std::is_same_v<T, KTensor>)
        return cell.tensor;
    else {
        static_assert(std::is_same_v<T, KImage>, "no argument slot holds this type");
        return cell.image;
    }
}

inline void store(ValueCell& cell, KImage value) noexcept { cell.image = value; }
inline void store(ValueCell& cell, KTensor value) noexcept { cell.tensor = value; }
inline void store(ValueCell& cell, double value) noexcept { cell.real = value; }

/// A slot can be read when it exists and, for a string, points to one.
template <typename T> bool readable(ArgumentSlot slot) noexcept
{
    if constexpr (std::is_same_v<T, const char*>)
        return slot && slot->string;
    else
        return slot != nullptr;
}

template <typename T> void giveBack(LibraryData data, ArgumentSlot slot) noexcept
{
    if constexpr (std::is_same_v<T, const char*>) {
        if (readable<T>(slot)) data->stringDisown(slot->string);
    }
}

template <auto implementation, std::size_t... i>
HostErrorCode run(LibraryData data, ArgumentSlot* args, ArgumentSlot result,
                  std::index_sequence<i...>) noexcept
{
    using Operation = Signature<decltype(implementation)>;

    const bool served = result && (!Operation::usesImages || data->imageServices);
    HostErrorCode status = StatusFunctionError;
    typename Operation::Result value {};
    if (served && (readable<typename Operation::template Argument<i>>(args[i]) && ...)) {
        try {
            status =
                implementation(data, read<typename Operation::template Argument<i>>(*args[i])..., &value);
        } catch (...) {
            status = StatusFunctionError;
        }
    }
    (giveBack<typename Operation::template Argument<i>>(data, args[i]), ...);
    if (status != StatusOk) return StatusFunctionError;
    store(*result, value);
    return StatusOk;
}

} // namespace detail

/// The way into every operation: checks the argument count, reads the slots by the kinds of the
/// implementation's own parameters, turns every failure and every exception into StatusFunctionError, hands
/// each string argument back once, and writes the result slot on success alone. A missing table,
/// service, slot or string is a failure. Costs well under 200 ns besides the implementation.
template <auto implementation>
HostErrorCode runOperation(LibraryData data, int64_t argc, ArgumentSlot* args, ArgumentSlot result) noexcept
{
    using Operation = detail::Signature<decltype(implementation)>;
    if (argc != static_cast<int64_t>(Operation::count))
        return refuseArgumentCount(argc, Operation::decimalCount.data());
    if (!data || !args) return StatusFunctionError;
    return detail::run<implementation>(data, args, result, std::make_index_sequence<Operation::count> {});
}

} // namespace miravex

/// Exports opencv_<Name> as runOperation() around an implementation function; rooms apply it to every line of
/// their operations.def.
#define MIRAVEX_EXPORT(Name, implementation)                                                                 \
    extern "C" MIRAVEX_PUBLIC HostErrorCode opencv_##Name(LibraryData data, int64_t argc,                    \
                                                          ArgumentSlot* args, ArgumentSlot result) noexcept  \
    {                                                                                                        \
        return miravex::runOperation<&implementation>(data, argc, args, result);                             \
    }                                                                                                        \
    static_assert(std::is_convertible_v<decltype(&opencv_##Name), MiravexOperation>);
