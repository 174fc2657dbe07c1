#pragma once

#include "catalog/record.h"
#include "host/ledger.h"

#include <filesystem>
#include <string_view>

namespace miravex {

/// The shared library, loaded and initialised with the embedded host's services. Unloaded at the end of its
/// life; results of calls do not depend on it.
class Library {
public:
    /// Where the library is looked for: MIRAVEX_LIBRARY; beside the program or Python extension that contains
    /// this code, in ../lib, and in `installed`, a folder relative to it; then wherever the dynamic linker
    /// finds it. It is called libmiravex.so.1, by the number of its interface, or libmiravex.so in a folder
    /// that has no such file.
    static std::filesystem::path defaultPath(const std::filesystem::path& installed);

    /// The same for programs, which an installation has in its folder of binaries.
    static std::filesystem::path defaultPath();

    /// Throws std::runtime_error when the file can't be loaded, speaks another interface version, or refuses
    /// to be initialised.
    explicit Library(const std::filesystem::path& path = defaultPath());
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// The export opencv_<name>, or null.
    [[nodiscard]] MiravexOperation operation(std::string_view name) const;

    /// Any exported symbol, or null.
    [[nodiscard]] void* symbol(const std::string& name) const;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

    /// Where the library looks for its second part when files are to be read.
    [[nodiscard]] std::filesystem::path readersPath() const;

private:
    std::filesystem::path path_;
    void* handle_ = nullptr;
};

/// What came of a call.
struct Outcome {
    HostErrorCode status = StatusFunctionError;
    Value result; ///< an image, a tensor or a real after success, absent after failure
    Accounting accounting;
    std::string openCvError; ///< what OpenCV said of the failure, or empty

    [[nodiscard]] bool ok() const noexcept { return status == StatusOk; }
    [[nodiscard]] const Image& image() const { return *std::get<ImagePointer>(result); }
    [[nodiscard]] const Tensor& tensor() const { return *std::get<TensorPointer>(result); }
    [[nodiscard]] double real() const { return std::get<double>(result); }
};

/// Calls an operation with exactly these values, checked by nobody but the library. A null pointer passes a
/// null handle. Ownership rules are followed throughout and breaches reported in the outcome; a wrong number
/// of values is passed on as it is. Throws std::invalid_argument when the library lacks the operation.
///
/// May run on several threads at once. Integers given to real arguments, and the other way round when exact,
/// are converted to the kind that the record declares.
Outcome call(const Library& library, const Operation& operation, std::span<const Value> values,
             Faults faults = {});

} // namespace miravex
