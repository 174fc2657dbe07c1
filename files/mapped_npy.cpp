#include "files/mapped_npy.h"

#include "files/npy_header.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <numeric>
#include <stdexcept>

namespace miravex::files {

namespace {

/// Room for any shape; a multiple of 64, as the format wants it.
constexpr std::size_t headerBytes = 256;

std::size_t dataBytes(const std::vector<int64_t>& shape)
{
    std::size_t bytes = sizeof(float);
    for (const int64_t extent : shape)
        if (extent < 0 || __builtin_mul_overflow(bytes, static_cast<std::size_t>(extent), &bytes))
            throw std::runtime_error("the array is too large");
    return bytes;
}

[[noreturn]] void refuse(const std::filesystem::path& path, int error)
{
    throw std::runtime_error(fmt::format("cannot write {}: {}", path.string(), std::strerror(error)));
}

} // namespace

MappedNpy::MappedNpy(std::filesystem::path path, std::vector<int64_t> shape)
    : path_(std::move(path))
    , unfinished_(path_.string() + fmt::format(".{}.part", getpid()))
    , shape_(std::move(shape))
    , bytes_(headerBytes + dataBytes(shape_))
{
    constexpr mode_t everybody = 0666; // less the umask
    number_ = open(unfinished_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, everybody);
    if (number_ < 0) refuse(path_, errno);
    // Reserved at once: a full disk would otherwise end the process at some later write to memory.
    int error = posix_fallocate(number_, 0, static_cast<off_t>(bytes_));
    if (error == 0) {
        void* memory = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, number_, 0);
        if (memory != MAP_FAILED) {
            memory_ = static_cast<char*>(memory);
            return;
        }
        error = errno;
    }
    discard();
    refuse(path_, error);
}

MappedNpy::~MappedNpy() { discard(); }

float* MappedNpy::data() const noexcept { return reinterpret_cast<float*>(memory_ + headerBytes); }

void MappedNpy::settle(int64_t firstElement, int64_t count) noexcept
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    std::size_t first = headerBytes + static_cast<std::size_t>(firstElement) * sizeof(float);
    const std::size_t end = (first + static_cast<std::size_t>(count) * sizeof(float)) / page * page;
    first = first / page * page;
    if (end <= first) return;
    // Shared pages keep what was written when the mapping lets go of them.
    madvise(memory_ + first, end - first, MADV_DONTNEED);
    sync_file_range(number_, static_cast<off_t>(first), static_cast<off_t>(end - first),
                    SYNC_FILE_RANGE_WRITE);
}

void MappedNpy::finish(int64_t rows)
{
    shape_.front() = rows;
    const std::string head = npyHeader("<f4", shape_, headerBytes);
    std::memcpy(memory_, head.data(), head.size());
    const bool cut = ftruncate(number_, static_cast<off_t>(headerBytes + dataBytes(shape_))) == 0;
    if (!cut || rename(unfinished_.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        discard();
        refuse(path_, error);
    }
    unfinished_.clear();
    discard();
}

void MappedNpy::discard() noexcept
{
    if (memory_) munmap(memory_, bytes_);
    if (number_ >= 0) close(number_);
    if (!unfinished_.empty()) unlink(unfinished_.c_str());
    memory_ = nullptr;
    number_ = -1;
    unfinished_.clear();
}

} // namespace miravex::files
