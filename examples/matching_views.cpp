// Which parts of a wall seen from the front are which parts of it seen from the side: keypoints of both views
// are found and described, matched in both directions, drawn, and checked against the known homography.

#include "draw/draw.h"
#include "examples/example.h"
#include "host/results.h"

#include <set>

using namespace miravex;
using namespace miravex::example;

namespace {

constexpr int64_t keypointColumns = 7;

/// One view: its picture, and keypoints with their descriptors in the same order.
struct View {
    cv::Mat picture;
    TensorPointer keypoints;
    TensorPointer descriptors;
};

/// Columns `first` to `last` of a table.
TensorPointer columnsOf(const Tensor& table, int64_t first, int64_t last)
{
    TensorPointer part = makeRealTensor({ table.dimensions[0], last - first });
    auto target = part->reals().begin();
    for (int64_t row = 0; row < table.dimensions[0]; ++row) {
        const auto begin = table.reals().begin() + row * table.dimensions[1];
        target = std::copy(begin + first, begin + last, target);
    }
    return part;
}

View look(const std::string& name)
{
    View view { photo(name, true), {}, {} };
    const Outcome found = run("Kaze",
                              { { "image", imageOfMatrix(view.picture) },
                                { "mode", std::string("detectAndCompute") },
                                { "threshold", 0.003 } });
    view.keypoints = columnsOf(found.tensor(), 0, keypointColumns);
    view.descriptors = columnsOf(found.tensor(), keypointColumns, found.tensor().dimensions[1]);
    fmt::print("{}: {} keypoints, described by {} numbers each\n", name, view.keypoints->dimensions[0],
               view.descriptors->dimensions[1]);
    return view;
}

std::vector<MatchedPair> nearest(const View& query, const View& train)
{
    return matchesOf(
        run("DescriptorMatcher", { { "query", query.descriptors }, { "train", train.descriptors } })
            .tensor());
}

/// Pairs in which each is the nearest of the other, one list entry per keypoint of the first view.
std::vector<MatchedPair> mutual(const View& first, const View& second)
{
    std::set<std::pair<int64_t, int64_t>> back;
    for (const MatchedPair& pair : nearest(second, first)) back.emplace(pair.train, pair.query);
    std::vector<MatchedPair> both = nearest(first, second);
    std::erase_if(both, [&](const MatchedPair& pair) { return !back.contains({ pair.query, pair.train }); });
    return both;
}

/// The pairs in the form in which the matcher gives them.
TensorPointer asMatches(const std::vector<MatchedPair>& pairs, int64_t queries)
{
    std::vector<int64_t> list { queries };
    list.resize(static_cast<std::size_t>(1 + queries), 0);
    for (const MatchedPair& pair : pairs) list[static_cast<std::size_t>(pair.query)] = 1;
    for (const MatchedPair& pair : pairs) list.push_back(pair.train);
    return makeIntegerTensor({ static_cast<int64_t>(list.size()) }, std::span<const int64_t>(list));
}

/// A keypoint in the frame of matrices, in which the homography is given.
cv::Point2d positionOf(const View& view, int64_t number)
{
    const auto row =
        view.keypoints->reals().subspan(static_cast<std::size_t>((number - 1) * keypointColumns));
    return { row[0] - 0.5, view.picture.rows - row[1] - 0.5 };
}

cv::Matx33d knownHomography()
{
    const std::string path = "/usr/share/doc/opencv-doc/examples/data/H1to3p.xml";
    cv::Mat matrix;
    cv::FileStorage(path, cv::FileStorage::READ)["H13"] >> matrix;
    if (matrix.size() != cv::Size(3, 3)) throw Skipped(path + " is not there; it comes with opencv-doc");
    return matrix;
}

} // namespace

int main(int argc, char** argv)
{
    return runExample(argc, argv, [](const Output& output) {
        const View front = look("graf1.png");
        const View side = look("graf3.png");
        const std::vector<MatchedPair> pairs = mutual(front, side);

        const cv::Matx33d homography = knownHomography();
        constexpr double near = 5;
        std::vector<MatchedPair> right;
        for (const MatchedPair& pair : pairs) {
            const cv::Point2d from = positionOf(front, pair.query);
            const cv::Vec3d to = homography * cv::Vec3d(from.x, from.y, 1);
            const cv::Point2d expected(to[0] / to[2], to[1] / to[2]);
            if (cv::norm(positionOf(side, pair.train) - expected) < near) right.push_back(pair);
        }
        const double share = static_cast<double>(right.size()) / static_cast<double>(pairs.size());
        fmt::print("{} mutual matches, {} of them ({:.0f} %) within {} pixels of the known homography\n",
                   pairs.size(), right.size(), 100 * share, near);

        const auto drawn = [&](const std::vector<MatchedPair>& some) {
            return matrixOf(*drawMatches(*imageOfMatrix(front.picture), *front.keypoints,
                                         *imageOfMatrix(side.picture), *side.keypoints,
                                         *asMatches(some, front.keypoints->dimensions[0])));
        };
        output.write("keypoints.png",
                     matrixOf(*draw(*imageOfMatrix(front.picture), Layout::Keypoints, *front.keypoints)));
        output.write("matches.png", drawn(pairs));
        output.write("right_matches.png", drawn(right));
        require(pairs.size() >= 100, "at least 100 matches");
        require(share > 0.5, "most matches agree with the homography");
    });
}
