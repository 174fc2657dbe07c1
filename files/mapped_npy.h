#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace miravex::files {

/// A .npy file of 32-bit floats under construction, as memory: what is written to data() goes to disk as the
/// system sees fit. The file appears under its name only when it is finished; otherwise nothing is left.
class MappedNpy {
public:
    /// Reserves the whole file. Throws std::runtime_error when there is no room or no permission.
    MappedNpy(std::filesystem::path path, std::vector<int64_t> shape);
    ~MappedNpy();
    MappedNpy(const MappedNpy&) = delete;
    MappedNpy& operator=(const MappedNpy&) = delete;

    [[nodiscard]] float* data() const noexcept;

    /// Where the file is until it is finished.
    [[nodiscard]] const std::filesystem::path& unfinishedPath() const noexcept { return unfinished_; }

    /// Lets go of memory for elements that won't be touched again soon; they stay in the file.
    void settle(int64_t firstElement, int64_t count) noexcept;

    /// Completes the file with the first `rows` entries of its first dimension. Throws like the constructor.
    void finish(int64_t rows);

private:
    void discard() noexcept;

    std::filesystem::path path_;
    std::filesystem::path unfinished_;
    std::vector<int64_t> shape_;
    int number_ = -1;
    char* memory_ = nullptr;
    std::size_t bytes_ = 0;
};

} // namespace miravex::files
