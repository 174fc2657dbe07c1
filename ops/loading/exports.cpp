#include "abi/export.h"
#include "ops/loading/load_images.h"

#include <opencv2/core.hpp>

#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

// The batch loader has a frame of its own: it says on standard output what went wrong, and gives back what it
// was lent even when the count is wrong.

namespace miravex::importops {

namespace {

constexpr int64_t argumentCount = 10;

/// The slots of arguments that the host lends for the call.
constexpr int64_t destinationSlot = 0;
constexpr int64_t pathsSlot = 1;
constexpr int64_t colorSpaceSlot = 3;

/// In one piece: other threads of the host may be printing too.
void say(const char* kind, const char* message) noexcept
try {
    const std::string line = std::string(kind) + message + '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
} catch (const std::bad_alloc&) { // nothing can be said then
}

LoadRequest readSlots(LibraryData data, int64_t argc, ArgumentSlot* args, ArgumentSlot result)
{
    // The text says 9 and the check 10: hosts know it so.
    if (argc != argumentCount)
        throw std::runtime_error("Invalid arg number: gave " + std::to_string(argc) + " expected 9");
    if (!data || !args || !result) throw std::runtime_error("The service table or a slot is missing");
    for (int64_t i = 0; i < argumentCount; ++i)
        if (!args[i]) throw std::runtime_error("The slot of argument " + std::to_string(i) + " is missing");
    if (!args[pathsSlot]->string || !args[colorSpaceSlot]->string)
        throw std::runtime_error("A string argument is missing");
    return { .destination = args[destinationSlot]->numericArray,
             .paths = args[pathsSlot]->string,
             .lengths = args[2]->tensor,
             .colorSpace = args[colorSpaceSlot]->string,
             .hasMean = args[4]->integer != 0,
             .mean = args[5]->numericArray,
             .hasReciprocalDeviation = args[6]->integer != 0,
             .reciprocalDeviation = args[7]->numericArray,
             .stripes = args[8]->integer,
             .channelsLast = args[9]->integer != 0 };
}

void giveBackArray(LibraryData data, ArgumentSlot slot) noexcept
{
    if (slot && slot->numericArray && data->numericArrayServices)
        data->numericArrayServices->numericArrayDisown(slot->numericArray);
}

void giveBackString(LibraryData data, ArgumentSlot slot) noexcept
{
    if (slot && slot->string) data->stringDisown(slot->string);
}

void giveBack(LibraryData data, int64_t argc, ArgumentSlot* args) noexcept
{
    if (!data || !args) return;
    if (argc > destinationSlot) giveBackArray(data, args[destinationSlot]);
    if (argc > pathsSlot) giveBackString(data, args[pathsSlot]);
    if (argc > colorSpaceSlot) giveBackString(data, args[colorSpaceSlot]);
}

HostErrorCode run(LibraryData data, int64_t argc, ArgumentSlot* args, ArgumentSlot result) noexcept
{
    try {
        result->tensor = loadImagesFromPathInto(data, readSlots(data, argc, args, result));
        return StatusOk;
    } catch (const cv::Exception& error) {
        say("Exception: ", error.what());
    } catch (const std::runtime_error& error) {
        say("Runtime Error: ", error.what());
    } catch (...) { // nothing is said of other failures, and nothing may cross into the host
    }
    return StatusFunctionError;
}

} // namespace

} // namespace miravex::importops

extern "C" MIRAVEX_PUBLIC HostErrorCode opencv_LoadImagesFromPathInto(LibraryData data, int64_t argc,
                                                                      ArgumentSlot* args,
                                                                      ArgumentSlot result) noexcept
{
    const HostErrorCode status = miravex::importops::run(data, argc, args, result);
    miravex::importops::giveBack(data, argc, args);
    return status;
}
static_assert(std::is_convertible_v<decltype(&opencv_LoadImagesFromPathInto), MiravexOperation>);
