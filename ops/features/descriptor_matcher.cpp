#include "ops/features/operations.h"

#include "convert/flat_result.h"
#include "convert/tensors.h"
#include "ops/features/bounds.h"
#include "ops/features/option_names.h"

#include <opencv2/features2d.hpp>

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

namespace miravex {

namespace {

struct Descriptors {
    int64_t count = 0;
    int64_t length = 0;
};

/// A set of descriptors as floats; false when its elements can't be had or no matrix holds them.
bool copyDescriptors(LibraryData data, KTensor tensor, Descriptors size, cv::Mat& out)
{
    constexpr int64_t most = std::numeric_limits<int>::max();
    const auto elements = realElements(data, tensor);
    if (!elements || size.count > most || size.length > most) return false;
    out.create(static_cast<int>(size.count), static_cast<int>(size.length), CV_32F);
    if (out.total() != elements->size()) return false;
    std::ranges::transform(*elements, out.begin<float>(),
                           [](double element) { return static_cast<float>(element); });
    return true;
}

/// The allowed pairs: the lowest byte of each integer, so that 256 forbids and 257 allows.
bool copyMask(LibraryData data, KTensor tensor, const cv::Mat& query, const cv::Mat& train, cv::Mat& out)
{
    if (!hasDimensions(data, tensor, { query.rows, train.rows })) return false;
    const auto elements = integerElements(data, tensor);
    if (!elements) return false;
    out.create(query.rows, train.rows, CV_8U);
    if (out.total() != elements->size()) return false;
    std::ranges::transform(*elements, out.begin<uchar>(),
                           [](int64_t element) { return static_cast<uchar>(element & 0xFF); });
    return true;
}

using Matches = std::vector<std::vector<cv::DMatch>>;

/// All train descriptors within a radius of each query, some queries at a time; a matcher is trained once.
Matches matchesWithin(cv::DescriptorMatcher& matcher, const cv::Mat& queries, const cv::Mat& trained,
                      const cv::Mat& allowed, float radius)
{
    Matches matches, found;
    const auto step =
        static_cast<int>(std::max<int64_t>(1, bounds::comparedPairs / std::max(1, trained.rows)));
    int64_t kept = 0;
    matcher.add(std::vector<cv::Mat> { trained });
    for (int first = 0; first < queries.rows; first += step) {
        const cv::Range some(first, std::min(queries.rows, first + step));
        const std::vector<cv::Mat> mask { allowed.empty() ? allowed : allowed.rowRange(some) };
        matcher.radiusMatch(queries.rowRange(some), found, radius, mask, false);
        for (const auto& list : found) kept += countOf(list);
        // Only the comparison tells how many there are, so that this alone is told as OpenCV tells its
        // errors.
        if (!bounds::matchesFit(kept, 1))
            CV_Error(cv::Error::StsOutOfRange, "too many descriptors lie within the radius");
        std::ranges::move(found, std::back_inserter(matches));
    }
    return matches;
}

/// q, the number of matches of each query, then their train indices from 1.
HostErrorCode writeMatches(LibraryData data, const Matches& matches, KTensor* result)
{
    int64_t total = 0;
    for (const auto& found : matches) total += countOf(found);
    FlatResult<int64_t> list(data, { 1 + countOf(matches) + total });
    list.add({ countOf(matches) });
    for (const auto& found : matches) list.add({ countOf(found) });
    for (const auto& found : matches)
        for (const cv::DMatch& match : found) list.add({ match.trainIdx + 1 });
    return list.finish(result);
}

} // namespace

/// Matches descriptors of one set with those of another: the k nearest ("Best Match") or all within a radius
/// ("Radius Match").
///
/// Query: q x d, train: t x d, reals, compared as floats (which the Hamming matchers refuse). Parameter: k,
/// from 1 to t, cut to an integer; or the largest distance. Mask, when used: q x t integers whose lowest byte
/// is nonzero for allowed pairs. Result: q, the number of matches of each query, then the train indices from
/// 1, best first. Descriptors without elements are refused, and so are more than bounds::matchedPairs pairs
/// to keep (k q, or those within the radius).
HostErrorCode descriptorMatcher(LibraryData data, KTensor query, HostBoolean useMask, KTensor mask,
                                KTensor train, const char* matcherName, const char* modeName,
                                double parameter, KTensor* result)
{
    if (!data || !query || !train || (useMask && !mask)) return StatusFunctionError;
    if (!valueOf(matcherNames, matcherName, false)) return StatusFunctionError;
    const MatchMode mode = valueOf(matchModes, modeName, MatchMode::Unknown);
    if (mode == MatchMode::Unknown) return StatusFunctionError;
    const auto queryShape = dimensionsOf(data, query);
    const auto trainShape = dimensionsOf(data, train);
    if (queryShape.size() != 2 || trainShape.size() != 2) return StatusFunctionError;
    const Descriptors asked { queryShape[0], queryShape[1] };
    const Descriptors known { trainShape[0], trainShape[1] };
    if (asked.length != known.length) return StatusFunctionError;
    const bool best = mode == MatchMode::Best;
    if (best && !(parameter >= 1.0 && parameter <= static_cast<double>(known.count)))
        return StatusFunctionError;
    const int64_t perQuery = best ? static_cast<int64_t>(parameter) : 0;
    if (!bounds::matchesFit(asked.count, perQuery)) return StatusFunctionError;
    if (!bounds::comparisonFits(asked.count, known.count, asked.length)) return StatusFunctionError;

    cv::Mat queries, trained, allowed;
    if (!copyDescriptors(data, query, asked, queries)) return StatusFunctionError;
    if (!copyDescriptors(data, train, known, trained)) return StatusFunctionError;
    if (useMask && !copyMask(data, mask, queries, trained, allowed)) return StatusFunctionError;
    const auto matcher = cv::DescriptorMatcher::create(matcherName);
    Matches matches;
    if (best)
        matcher->knnMatch(queries, trained, matches, static_cast<int>(perQuery), allowed, false);
    else
        matches = matchesWithin(*matcher, queries, trained, allowed, static_cast<float>(parameter));
    // OpenCV gives no lists at all when nothing was trained: every query then has no match. Descriptors
    // without elements can't be compared.
    if (known.count == 0) matches.resize(static_cast<std::size_t>(asked.count));
    if (static_cast<int64_t>(matches.size()) != asked.count) return StatusFunctionError;
    return writeMatches(data, matches, result);
}

} // namespace miravex
