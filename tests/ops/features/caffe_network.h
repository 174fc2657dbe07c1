#pragma once

#include "tests/support/temporary_folder.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace miravex::test {

/// Two Caffe files of a tiny network that answers the same rows of 7 for every picture: the picture's mean
/// colours, multiplied by weights of 0, plus the rows as biases. The files go with this object.
class CaffeNetwork {
public:
    /// The output has `shape`, or {1, 1, rows, 7} when that is empty, and comes from the layer `output`.
    explicit CaffeNetwork(const std::vector<std::array<float, 7>>& rows, std::vector<int> shape = {},
                          const std::string& output = "detection_out");

    [[nodiscard]] std::filesystem::path description() const { return folder_.file("network.prototxt"); }
    [[nodiscard]] std::filesystem::path weights() const { return folder_.file("network.caffemodel"); }

private:
    TemporaryFolder folder_;
};

} // namespace miravex::test
