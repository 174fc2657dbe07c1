#include "host/explain.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace miravex {

namespace {

using namespace std::string_view_literals;
namespace fs = std::filesystem;

std::string contents(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

/// True when the end of the image follows the start of its first scan. Markers before it may hold a whole
/// other JPEG, a thumbnail, with an end of its own.
bool jpegEnds(std::string_view bytes)
{
    constexpr char startOfScan = '\xDA';
    std::size_t at = 2;
    while (at + 4 <= bytes.size() && bytes[at] == '\xFF' && bytes[at + 1] != startOfScan)
        at += 2U
            + (static_cast<unsigned char>(bytes[at + 2]) << 8U | static_cast<unsigned char>(bytes[at + 3]));
    return bytes.find("\xFF\xD9"sv, at) != std::string_view::npos;
}

std::string truncation(const fs::path& path)
{
    const std::string bytes = contents(path);
    if (bytes.starts_with("\xFF\xD8\xFF"sv) && !jpegEnds(bytes)) return "it is a truncated JPEG";
    if (bytes.starts_with("\x89PNG\r\n\x1A\n"sv) && bytes.find("IEND"sv) == std::string::npos)
        return "it is a truncated PNG";
    return "";
}

} // namespace

std::string fileTrouble(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return "there is no such file";
    if (fs::is_directory(status)) return "it is a folder";
    if (access(path.c_str(), R_OK) != 0) return "it may not be read";
    if (!fs::is_regular_file(status)) return "";
    if (fs::file_size(path, error) == 0) return "it is empty";
    return truncation(path);
}

std::string Explanation::message() const
{
    std::vector<std::string> reasons;
    for (const Refusal& refusal : refusals) reasons.push_back(refusal.message());
    reasons.insert(reasons.end(), files.begin(), files.end());
    if (!openCvError.empty()) reasons.push_back("OpenCV says: " + openCvError);
    if (reasons.empty()) return "the library refused the call and gave no reason";
    return fmt::format("{}", fmt::join(reasons, "\n"));
}

Explanation explain(const Operation& operation, std::span<const Value> values, const Outcome& outcome)
{
    Explanation explanation { check(operation, values), outcome.openCvError, {} };
    for (std::size_t i = 0; i < values.size() && i < operation.arguments.size(); ++i) {
        const auto* path = std::get_if<std::string>(&values[i]);
        if (!operation.arguments[i].isPath || !path) continue;
        const std::string trouble = fileTrouble(*path);
        if (!trouble.empty())
            explanation.files.push_back(
                fmt::format("{} \"{}\": {}", operation.arguments[i].name, *path, trouble));
    }
    return explanation;
}

} // namespace miravex
