#include "catalog/explain.h"

#include "catalog/picture_file.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

namespace miravex {

namespace fs = std::filesystem;

std::string fileTrouble(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return "there is no such file";
    if (fs::is_directory(status)) return "it is a folder";
    if (access(path.c_str(), R_OK) != 0) return "it may not be read";
    if (!fs::is_regular_file(status)) return "";
    if (fs::file_size(path, error) == 0) return "it is empty";
    return inspectPictureFile(path.string()) == FileState::Truncated ? "it is truncated" : "";
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

Explanation explain(const CallView& call, std::string openCvError)
{
    Explanation explanation { check(call), std::move(openCvError), {} };
    for (const Argument& argument : call.operation().arguments) {
        const auto* path = std::get_if<std::string_view>(&call.value(argument.name));
        if (!argument.isPath || !path) continue;
        const std::string trouble = fileTrouble(*path);
        if (!trouble.empty())
            explanation.files.push_back(fmt::format("{} \"{}\": {}", argument.name, *path, trouble));
    }
    return explanation;
}

} // namespace miravex
