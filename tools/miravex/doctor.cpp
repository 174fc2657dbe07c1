#include "catalog/catalog.h"
#include "files/codecs.h"
#include "host/exports.h"
#include "host/json_text.h"
#include "host/library.h"
#include "readers/second_part.h"
#include "tools/gallery/samples.h"
#include "tools/miravex/commands.h"
#include "tools/miravex/text.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>

#include <dlfcn.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace miravex::tool {

namespace {

enum class Verdict { Good, Missing, Broken };

struct Finding {
    std::string what;
    Verdict verdict;
    std::string details;
};

std::string_view markOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Good: return "ok";
    case Verdict::Missing: return "missing";
    case Verdict::Broken: return "BROKEN";
    }
    return "";
}

/// What a report of a problem begins with.
Finding examineTool()
{
    std::string system = "unknown system";
    std::ifstream release("/etc/os-release");
    constexpr std::string_view key = "PRETTY_NAME=\"";
    for (std::string line; std::getline(release, line);)
        if (line.starts_with(key) && line.ends_with('"')) {
            line.pop_back();
            system = line.substr(key.size());
        }
    utsname machine {};
    uname(&machine);
    return { "miravex", Verdict::Good,
             fmt::format("{}, {}, {}, {} cores", MIRAVEX_VERSION, system, machine.machine,
                         std::thread::hardware_concurrency()) };
}

Finding examineLibrary()
{
    const std::filesystem::path path = Library::defaultPath();
    try {
        const Library library(path);
        return { "library", Verdict::Good,
                 fmt::format("{}, host interface {}", library.path().string(), MIRAVEX_INTERFACE_VERSION) };
    } catch (const std::exception& error) {
        return { "library", Verdict::Broken, error.what() };
    }
}

/// The library's second part, loaded as the library would.
Finding examineReaders()
{
    std::filesystem::path path;
    try {
        path = Library().readersPath();
    } catch (const std::exception&) { // told of the library itself
        return { "readers", Verdict::Broken, "there is no library to load them" };
    }
    if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) return { "readers", Verdict::Good, path.string() };
    const char* reason = dlerror();
    std::vector<std::string> operations;
    for (const std::string_view name : readersOperations) operations.push_back(kebabCase(name));
    return { "readers", Verdict::Broken,
             fmt::format("cannot load {}: {}; without it {} fail", path.string(),
                         reason ? reason : "unknown reason", fmt::join(operations, ", ")) };
}

std::vector<std::string> without(const std::set<std::string>& all, const std::set<std::string>& known)
{
    std::vector<std::string> rest;
    std::ranges::set_difference(all, known, std::back_inserter(rest));
    return rest;
}

Finding examineExports()
{
    constexpr std::string_view prefix = "opencv_";
    std::set<std::string> exported, recorded;
    try {
        for (const std::string& name : exportedFunctions(Library::defaultPath()))
            if (name.starts_with(prefix)) exported.insert(name.substr(prefix.size()));
    } catch (const std::exception& error) {
        return { "operations", Verdict::Broken, error.what() };
    }
    for (const Operation* operation : catalog()) recorded.emplace(operation->name);
    if (exported == recorded)
        return { "operations", Verdict::Good,
                 fmt::format("{} exported, all in the catalogue", exported.size()) };
    return { "operations", Verdict::Broken,
             fmt::format("exported but not in the catalogue: {}; in the catalogue but not exported: {}",
                         fmt::join(without(exported, recorded), ", "),
                         fmt::join(without(recorded, exported), ", ")) };
}

/// A line of OpenCV's build information, such as "CPU/HW features" or "PNG".
std::string buildLine(const std::string& key)
{
    std::istringstream lines(cv::getBuildInformation());
    for (std::string line; std::getline(lines, line);) {
        const auto start = line.find_first_not_of(' ');
        if (start == std::string::npos || !line.substr(start).starts_with(key + ":")) continue;
        const auto value = line.find_first_not_of(' ', start + key.size() + 1);
        return value == std::string::npos ? "" : line.substr(value);
    }
    return "";
}

Finding examineOpenCv()
{
    return { "OpenCV", Verdict::Good,
             fmt::format("{}, {} threads, {} (built for {})", cv::getVersionString(), cv::getNumThreads(),
                         buildLine("Configuration").empty() ? "unknown build" : buildLine("Configuration"),
                         buildLine("CPU/HW features").empty() ? buildLine("Host")
                                                              : buildLine("CPU/HW features")) };
}

/// Codecs are tried, not believed: a small picture goes through memory and back.
Finding examineCodec(const std::string& extension, int type)
{
    const cv::Mat picture(8, 8, type, cv::Scalar::all(0.5));
    try {
        if (files::codecs().throughMemory(extension, picture).size() == picture.size())
            return { extension, Verdict::Good, "reads and writes" };
    } catch (const cv::Exception& error) {
        return { extension, Verdict::Missing, error.err };
    }
    return { extension, Verdict::Missing, "OpenCV was built without it" };
}

/// What the tool itself reads and writes picture files and films with.
std::vector<Finding> examineCodecs()
{
    try {
        static_cast<void>(files::codecs());
    } catch (const std::exception& error) {
        return { { "codecs", Verdict::Broken, error.what() } };
    }
    std::vector<Finding> findings { { "codecs", Verdict::Good, files::codecsPath().string() } };
    for (const auto& [extension, type] :
         std::initializer_list<std::pair<const char*, int>> { { ".png", CV_16UC3 },
                                                              { ".jpg", CV_8UC3 },
                                                              { ".tiff", CV_32FC3 },
                                                              { ".exr", CV_32FC3 },
                                                              { ".webp", CV_8UC3 } })
        findings.push_back(examineCodec(extension, type));
    const std::vector<std::string> readers = files::codecs().filmReaders();
    findings.push_back({ "video", readers.empty() ? Verdict::Missing : Verdict::Good,
                         fmt::format("{}", fmt::join(readers, ", ")) });
    return findings;
}

Finding examineFolder(const std::string& what, const std::filesystem::path& folder, const std::string& advice)
{
    const bool found = std::filesystem::is_directory(folder);
    return { what, found ? Verdict::Good : Verdict::Missing,
             found ? folder.string() : fmt::format("no {}; {}", folder.string(), advice) };
}

Finding examineTestData()
{
    const auto folder = furtherDataFolder();
    return { "further data", folder ? Verdict::Good : Verdict::Missing,
             folder ? folder->string() : "MIRAVEX_TEST_DATA names no folder; a few examples are skipped" };
}

std::vector<Finding> examineAll()
{
    std::vector<Finding> findings { examineTool(), examineLibrary(), examineReaders(), examineExports(),
                                    examineOpenCv() };
    std::ranges::move(examineCodecs(), std::back_inserter(findings));
    findings.push_back(examineFolder("sample pictures", samplePictureFolder(), "apt install opencv-doc"));
    findings.push_back(examineFolder("cascades", cascadeFolder(), "apt install opencv-data"));
    findings.push_back(examineTestData());
    return findings;
}

} // namespace

ExitStatus runDoctor(const Session& session)
{
    const std::vector<Finding> findings = examineAll();
    auto json = nlohmann::ordered_json::array();
    for (const Finding& finding : findings) {
        if (session.settings.json)
            json.push_back({ { "what", finding.what },
                             { "verdict", markOf(finding.verdict) },
                             { "details", finding.details } });
        else
            fmt::print("{:<8}{:<16}{}\n", markOf(finding.verdict), finding.what, finding.details);
    }
    if (session.settings.json) fmt::print("{}\n", jsonText(json, 2));
    const bool broken = std::ranges::any_of(
        findings, [](const Finding& finding) { return finding.verdict == Verdict::Broken; });
    return broken ? ExitStatus::OperationFailed : ExitStatus::Done;
}

} // namespace miravex::tool
