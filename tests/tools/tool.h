#pragma once

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace miravex::test {

/// What a run of the tool left behind.
struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// The tool's file: MIRAVEX_TOOL, or what stands beside the test.
std::string tool();

/// A test with a folder of its own, in which the tool named by MIRAVEX_TOOL runs as a process.
class ToolTest : public ::testing::Test {
protected:
    ToolTest();

    ToolRun run(const std::vector<std::string>& words, const std::string& input = {}) const;

    /// Runs and expects status 0.
    ToolRun succeed(const std::vector<std::string>& words, const std::string& input = {}) const;

    /// Runs and expects a status, and each of these texts on standard error.
    void expectFailure(int status, const std::vector<std::string>& words,
                       const std::vector<std::string>& texts) const;

    /// A path in the test's folder.
    [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }

    /// Writes a picture there (OpenCV's order of colours) and returns its path.
    std::string picture(const std::string& name, const cv::Mat& matrix) const;

    [[nodiscard]] bool exists(const std::string& name) const
    {
        return std::filesystem::exists(folder_ / name);
    }

    /// Files and folders in the test's folder, sorted, without those of the runs themselves.
    [[nodiscard]] std::vector<std::string> listing() const;

private:
    TemporaryFolder temporary_;
    std::filesystem::path folder_ = temporary_.path();
};

std::string contentsOf(const std::filesystem::path& file);

} // namespace miravex::test
