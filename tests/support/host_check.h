#pragma once

#include "catalog/catalog.h"
#include "host/arguments.h"
#include "host/library.h"
#include "host/matrices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <filesystem>
#include <optional>
#include <set>
#include <source_location>
#include <string>
#include <vector>

/// What every test of an operation uses: the library under test, calls whose ownership is checked, and
/// pictures to call it with.
namespace miravex::test {

using Values = std::vector<Value>;

/// The library that MIRAVEX_LIBRARY names, loaded once for the whole test program.
const Library& library();

/// The record of an operation; fails the test program when there is none.
const Operation& record(std::string_view name);

/// Calls an operation through its export and expects that ownership was respected: nothing leaked, nothing
/// freed twice, strings given back once, the result slot written on success alone, and inputs left as they
/// were (but for those that the record calls rewritten). Whatever fails here and below is reported at
/// `where`, the line of the test, with the call in words.
Outcome invoke(std::string_view operation, const Values& values, Faults faults = {},
               std::source_location where = std::source_location::current());

/// The same, and the call must succeed: a refusal ends the test, with what the record and OpenCV say of it.
Outcome succeed(std::string_view operation, const Values& values,
                std::source_location where = std::source_location::current());

/// The same, and the call must be refused with status 6.
void expectRefused(std::string_view operation, const Values& values,
                   std::source_location where = std::source_location::current());

/// Makes each allocation of a call fail in turn, then withholds the data of what was created: every such call
/// must be refused and leak nothing. The call itself must succeed and allocate at least once.
void expectSurvivesFaults(std::string_view operation, const Values& values,
                          std::source_location where = std::source_location::current());

/// Values by name, completed with the record's defaults; the test fails when something is missing.
Values arguments(std::string_view operation, NamedValues given,
                 std::source_location where = std::source_location::current());

/// Runs in the child process of EXPECT_REFUSED_IN_CHILD: limits time to 10 s and memory to 2 GiB (where no
/// sanitizer needs more), makes the call, and ends the process with 0 when it was refused cleanly.
[[noreturn]] void exitAfterRefusal(std::string_view operation, const Values& values);

/// The same for EXPECT_ACCEPTED_IN_CHILD: 0 when the call succeeded cleanly within those limits.
[[noreturn]] void exitAfterSuccess(std::string_view operation, const Values& values);

// --- pictures -------------------------------------------------------------------------------------------

/// A host image that holds the samples of a matrix: gray or RGB by its channels unless told otherwise.
ImagePointer imageOf(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace = {});

/// The same samples, channels apart.
ImagePointer planarImageOf(const cv::Mat& matrix, std::optional<ColorSpace> colorSpace = {});

/// A bit image: 1 where the one-channel byte matrix is nonzero.
ImagePointer bitImageOf(const cv::Mat& matrix);

/// A 3D image whose slices are the matrices.
ImagePointer sequenceOf(const std::vector<cv::Mat>& frames, std::optional<ColorSpace> colorSpace = {});

/// A matrix over a copy of an image's samples (bit images: bytes 0 and 1); channels interleaved.
cv::Mat matrixOf(const Image& image);

/// One slice of a 3D image, counted from 0.
cv::Mat sliceOf(const Image& image, int64_t slice);

/// A picture full of uniform noise, the same for the same seed.
cv::Mat noise(int rows, int columns, int type, uint64_t seed = 1);

/// A photo of Debian's opencv-doc, as stored: gray or RGB. Empty where the package is not installed.
cv::Mat photo(const std::string& name, bool gray = false);

/// The folder of further inputs named by MIRAVEX_TEST_DATA, or nothing.
std::optional<std::filesystem::path> testData();

/// A real tensor that holds the elements of a one-channel matrix, as doubles.
TensorPointer tensorOf(const cv::Mat& matrix);

// --- comparisons ----------------------------------------------------------------------------------------

/// Succeeds when both hold the same names; otherwise says which are missing and which unexpected.
::testing::AssertionResult sameNames(const std::set<std::string>& actual,
                                     const std::set<std::string>& expected);

/// Succeeds when both matrices have the same size, type and bits; otherwise says where they first differ.
::testing::AssertionResult sameBits(const cv::Mat& actual, const cv::Mat& expected);

/// Largest absolute difference; infinite when sizes or types differ.
double largestDifference(const cv::Mat& a, const cv::Mat& b);

} // namespace miravex::test

/// The call is refused with status 6, in a process of its own that may take 10 s and 2 GiB.
#define EXPECT_REFUSED_IN_CHILD(operation, ...)                                                              \
    EXPECT_EXIT(::miravex::test::exitAfterRefusal(operation, __VA_ARGS__), ::testing::ExitedWithCode(0), "") \
        << operation

/// The call succeeds, in a process of its own that may take 10 s and 2 GiB: for values that OpenCV alone
/// would never be done with, clipped where the result is the same.
#define EXPECT_ACCEPTED_IN_CHILD(operation, ...)                                                             \
    EXPECT_EXIT(::miravex::test::exitAfterSuccess(operation, __VA_ARGS__), ::testing::ExitedWithCode(0), "") \
        << operation

/// Ends the test, as skipped, when a picture of opencv-doc is missing.
#define SKIP_WITHOUT(picture)                                                                                \
    if ((picture).empty()) GTEST_SKIP() << "opencv-doc is not installed"
