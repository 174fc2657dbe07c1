#include "catalog/catalog.h"
#include "host/library.h"
#include "tests/support/drawn_call.h"

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

/// Peak memory of a call beyond what the host had before it, as a multiple of the images that it is given:
/// the result and whatever OpenCV and the library need besides. Each call has a process of its own, an image
/// of 4 megapixels and otherwise the record's defaults. Usage: bench_memory [OPERATION...]
namespace miravex::bench {

namespace {

constexpr int64_t side = 2000;

/// A line of /proc/self/status, in bytes.
double statusBytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    double kilobytes = 0;
    while (status >> word)
        if (word == key) status >> kilobytes;
    return kilobytes * 1024;
}

double bytesOfImages(const std::vector<Value>& values)
{
    double bytes = 0;
    for (const Value& value : values)
        if (const auto* image = std::get_if<ImagePointer>(&value))
            bytes += *image ? static_cast<double>((*image)->block.size()) : 0;
    return bytes;
}

/// In a process of its own: loads the library, makes a small call for what stays, and measures a large one.
[[noreturn]] void measure(const Operation& operation)
{
    const Library library;
    const auto values = test::validValues(operation, 0, { .rows = side, .columns = side });
    const auto small = test::validValues(operation, 0, { .rows = 64, .columns = 64 });
    if (!values || !small) {
        fmt::print("| {} | needs files that are not here |\n", operation.name);
        std::_Exit(0);
    }
    static_cast<void>(call(library, operation, *small));
    const double before = statusBytes("VmRSS:");
    std::ofstream("/proc/self/clear_refs") << 5;
    const Outcome outcome = call(library, operation, *values);
    const double peak = statusBytes("VmHWM:") - before, input = bytesOfImages(*values);
    const auto* made = std::get_if<ImagePointer>(&outcome.result);
    const double result = made && *made ? static_cast<double>((*made)->block.size()) : 0;
    if (outcome.ok())
        fmt::print("| {} | {:.1f} | {:.1f} | {:.1f} |\n", operation.name, input / 1e6, result / input,
                   peak / input);
    else
        fmt::print("| {} | refused: {} |\n", operation.name, outcome.openCvError);
    std::fflush(stdout);
    std::_Exit(0);
}

bool takesImages(const Operation& operation)
{
    return std::ranges::find(operation.arguments, Kind::Image, &Argument::kind) != operation.arguments.end();
}

} // namespace

} // namespace miravex::bench

int main(int argc, char** argv)
{
    using namespace miravex;
    fmt::print("| operation | images given, MB | result / images | peak beyond them / images "
               "|\n|---|---|---|---|\n");
    std::fflush(stdout);
    for (const Operation* operation : catalog()) {
        const bool named =
            std::any_of(argv + 1, argv + argc, [&](const char* n) { return n == operation->name; });
        if (!bench::takesImages(*operation) || (argc > 1 && !named)) continue;
        const pid_t child = fork();
        if (child == 0) bench::measure(*operation);
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) fmt::print("| {} | ended with status {} |\n", operation->name, status);
        std::fflush(stdout);
    }
    return 0;
}
