#include "host/library.h"

#include "host/installed_file.h"
#include "host/opencv_errors.h"
#include "host/services.h"
#include "readers/second_part.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>

namespace miravex {

namespace {

constexpr const char* plainName = "libmiravex.so";
constexpr const char* numberedName = "libmiravex.so." MIRAVEX_SOVERSION;

using GetVersion = int (*)();
using Initialize = HostErrorCode (*)(LibraryData);
using Uninitialize = void (*)();

template <typename Function> Function find(void* handle, const char* name)
{
    return reinterpret_cast<Function>(dlsym(handle, name));
}

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& reason)
{
    throw std::runtime_error("cannot use the library " + path.string() + ": " + reason);
}

/// One argument in the form in which the library reads it.
class ArgumentCell {
public:
    /// `expectedReturns`: how often the library has to give back a string or an array.
    ArgumentCell(const Value& value, const Argument* argument, Ledger& ledger, int expectedReturns)
        : expectedReturns_(expectedReturns)
    {
        cell_.integer = 0;
        std::visit([&](const auto& held) { fill(held, argument, ledger); }, value);
    }
    ArgumentSlot slot() noexcept { return &cell_; }

private:
    void fill(std::monostate, const Argument*, Ledger&) { }
    void fill(int64_t value, const Argument* argument, Ledger&)
    {
        if (argument && argument->kind == Kind::Real)
            cell_.real = static_cast<double>(value);
        else if (argument && argument->kind == Kind::Boolean)
            cell_.boolean = value != 0;
        else
            cell_.integer = value;
    }
    void fill(double value, const Argument* argument, Ledger&)
    {
        if (argument && argument->kind == Kind::Integer)
            cell_.integer = static_cast<int64_t>(value);
        else
            cell_.real = value;
    }
    void fill(bool value, const Argument* argument, Ledger&)
    {
        if (argument && argument->kind == Kind::Integer)
            cell_.integer = value;
        else
            cell_.boolean = value;
    }
    void fill(const std::string& value, const Argument*, Ledger& ledger)
    {
        cell_.string = value.c_str();
        ledger.lend(cell_.string, expectedReturns_);
    }
    void fill(const ImagePointer& value, const Argument*, Ledger&) { cell_.image = value.get(); }
    void fill(const TensorPointer& value, const Argument*, Ledger&) { cell_.tensor = value.get(); }
    void fill(const ArrayPointer& value, const Argument*, Ledger& ledger)
    {
        cell_.numericArray = value.get();
        if (value) ledger.lend(cell_.numericArray, expectedReturns_);
    }

    ValueCell cell_;
    int expectedReturns_;
};

/// How often the library gives back what is in the slot of this argument.
int expectedReturns(const Operation& operation, const Argument* argument, bool countFits)
{
    const bool lent = argument && (argument->kind == Kind::String || argument->isShared);
    return lent && (countFits || operation.returnsOnWrongCount) ? 1 : 0;
}

/// What the result slot holds before a call, so that a write after a failure shows.
constexpr int64_t untouched = 0x6D697261766578;

Value takeResult(const ValueCell& cell, ResultKind kind, Ledger& ledger)
{
    switch (kind) {
    case ResultKind::Image:
    case ResultKind::Sequence: return ledger.takeImage(cell.image);
    case ResultKind::RealTensor:
    case ResultKind::IntegerTensor: return ledger.takeTensor(cell.tensor);
    case ResultKind::Real: return cell.real;
    }
    return {};
}

} // namespace

std::filesystem::path Library::defaultPath(const std::filesystem::path& installed)
{
    const char* const chosen = std::getenv("MIRAVEX_LIBRARY");
    return chosen && *chosen ? chosen : installedFile({ numberedName, plainName }, installed);
}

std::filesystem::path Library::defaultPath() { return defaultPath(MIRAVEX_LIBRARY_FROM_BINARIES); }

Library::Library(const std::filesystem::path& path)
    : path_(path)
    , handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    if (!handle_) {
        const char* reason = dlerror();
        refuse(path, reason ? reason : "it can't be loaded");
    }
    try {
        const auto version = find<GetVersion>(handle_, "KorvaneLibrary_getVersion");
        const auto initialize = find<Initialize>(handle_, "KorvaneLibrary_initialize");
        if (!version || !initialize) refuse(path, "it lacks the lifecycle entries");
        if (version() != MIRAVEX_INTERFACE_VERSION)
            refuse(path,
                   "it speaks version " + std::to_string(version()) + " of the host interface, not "
                       + std::to_string(MIRAVEX_INTERFACE_VERSION));
        if (initialize(&hostServices()) != StatusOk) refuse(path, "it refuses to be initialised");
    } catch (...) {
        dlclose(handle_);
        throw;
    }
}

Library::~Library()
{
    if (const auto uninitialize = find<Uninitialize>(handle_, "KorvaneLibrary_uninitialize")) uninitialize();
    dlclose(handle_);
}

void* Library::symbol(const std::string& name) const { return dlsym(handle_, name.c_str()); }

std::filesystem::path Library::readersPath() const
{
    Dl_info info {};
    if (dladdr(symbol("KorvaneLibrary_initialize"), &info) == 0) return readersFile({}, MIRAVEX_SOVERSION);
    std::error_code error;
    const std::filesystem::path file = std::filesystem::weakly_canonical(info.dli_fname, error);
    return readersFile(file.parent_path(), MIRAVEX_SOVERSION);
}

MiravexOperation Library::operation(std::string_view name) const
{
    return reinterpret_cast<MiravexOperation>(symbol("opencv_" + std::string(name)));
}

Outcome call(const Library& library, const Operation& operation, std::span<const Value> values, Faults faults)
{
    const MiravexOperation function = library.operation(operation.name);
    if (!function) throw std::invalid_argument("the library has no operation " + std::string(operation.name));

    OpenCvErrors errors;
    Ledger ledger(faults);
    std::vector<ArgumentCell> cells;
    cells.reserve(values.size());
    const bool countFits = values.size() == operation.arguments.size();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Argument* argument = i < operation.arguments.size() ? &operation.arguments[i] : nullptr;
        cells.emplace_back(values[i], argument, ledger, expectedReturns(operation, argument, countFits));
    }
    std::vector<ArgumentSlot> slots;
    slots.reserve(cells.size() + 1);
    for (ArgumentCell& cell : cells) slots.push_back(cell.slot());
    slots.push_back(nullptr);

    ValueCell result;
    result.integer = untouched;
    Outcome outcome;
    outcome.status = function(&hostServices(), static_cast<int64_t>(values.size()), slots.data(), &result);
    if (outcome.status == StatusOk)
        outcome.result = takeResult(result, operation.results.front().kind, ledger);
    else if (outcome.status != StatusFunctionError)
        ledger.violation("status " + std::to_string(outcome.status) + " is neither success nor failure");
    else if (result.integer != untouched)
        ledger.violation("the result slot was written although the call failed");

    outcome.accounting = ledger.close();
    if (!outcome.ok()) outcome.openCvError = errors.text();
    return outcome;
}

} // namespace miravex
