#pragma once

#include "catalog/arguments.h"
#include "host/arguments.h"
#include "host/library.h"
#include "host/results.h"
#include "miravex/miravex_host.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace miravex::door {

/// The library that all calls go to. Throws std::runtime_error when it can't be loaded; tried anew then.
/// Never unloaded.
const Library& library();

/// Loads it from this file, or from its usual place for null; the same errors. Refuses a second file.
void loadLibrary(const char* path);

} // namespace miravex::door

/// What is behind the handle of a call: arguments until it runs, then its result or what is against it.
struct mvx_call {
public:
    /// A call of the operation of that name, which may be unknown.
    explicit mvx_call(std::string_view operation);

    /// A batch that was loaded.
    mvx_call() = default;

    int option(std::string_view name, std::string_view value);

    /// The argument of a name; a stand-in of no kind for an unknown one, which run() refuses by its name.
    [[nodiscard]] const miravex::Argument& argument(std::string_view name) const;

    /// Sets an argument, which becomes absent by an absent value.
    int set(std::string_view name, miravex::Value value);

    /// An image that may lie in somebody else's memory.
    int setImage(std::string_view name, miravex::ImagePointer image, bool isBorrowed);

    int run();

    /// True when what was given is so little that most operations are over in a moment, and for calls that
    /// write into the caller's memory, which no other thread may go on doing.
    [[nodiscard]] bool isBrief() const;

    /// Copies samples that lie in somebody else's memory.
    void ownSamples();

    /// The run was given up.
    int stopped();

    /// Loads files and keeps the report as this call's result.
    int load(const mvx_batch& batch, const std::vector<std::string>& paths, float* slots);

    /// Ends the function that is running with this status and message.
    int end(int status, std::string message);
    int endWithoutMemory() noexcept;

    [[nodiscard]] const char* error() const noexcept;
    [[nodiscard]] const std::string& refused() const { return refused_; }
    [[nodiscard]] const std::string& notes() const { return notes_; }
    [[nodiscard]] const miravex::Value& result() const { return result_; }
    [[nodiscard]] std::string_view layout() const { return layout_; }
    [[nodiscard]] const std::vector<miravex::Part>& parts() const { return parts_; }

private:
    int perform();
    void convertImages();
    int refuse(const std::vector<miravex::Refusal>& refusals);
    void keep(const miravex::Result& result, miravex::Value value, int64_t rows);

    const miravex::Operation* operation_ = nullptr;
    miravex::NamedValues arguments_;
    std::set<std::string, std::less<>> borrowed_; ///< images in somebody else's memory
    bool convertsTypes_ = false;
    bool matrixPositions_ = false;
    std::vector<std::string> objections_; ///< of functions before the run
    bool lacksMemory_ = false;
    bool hasRun_ = false;
    int status_ = MVX_DONE; ///< of the run

    std::string error_, notes_;
    std::string refused_; ///< the first argument that was
    miravex::Value result_;
    std::string_view layout_;
    std::vector<miravex::Part> parts_;
};
