#include "tests/reliability/accepted_calls.h"
#include "tests/support/opencv_threads.h"

#include <fmt/format.h>

#include <algorithm>
#include <barrier>
#include <thread>

/// Calls on several threads at once: each works on inputs of its own and answers as if it were alone.
namespace miravex::test {

namespace {

constexpr std::size_t threadCount = 8;

struct Case {
    const Operation* operation;
    Values values;
    std::string alone; ///< what the call answers when nothing else runs
};

template <typename Held> std::string bytesOf(const Held& held)
{
    return { reinterpret_cast<const char*>(held.block.data()), held.block.size() };
}

/// Everything that a call may change: its result, and the objects that it was given to write into.
std::string answerOf(const Operation& operation, const Values& values)
{
    const Outcome outcome = call(library(), operation, values);
    std::string answer = std::to_string(outcome.status);
    for (const std::string& violation : outcome.accounting.violations) answer += violation;
    if (!outcome.ok()) return answer;
    if (const auto* image = std::get_if<ImagePointer>(&outcome.result)) answer += bytesOf(**image);
    if (const auto* tensor = std::get_if<TensorPointer>(&outcome.result)) answer += bytesOf(**tensor);
    if (const auto* real = std::get_if<double>(&outcome.result)) answer += fmt::format("{}", *real);
    for (const Value& value : values)
        if (const auto* array = std::get_if<ArrayPointer>(&value); array && *array)
            answer += bytesOf(**array);
    return answer;
}

/// Calls whose answer is the same each time; made once.
const std::vector<Case>& cases()
{
    static const std::vector<Case> all = [] {
        std::vector<Case> found;
        for (const Operation* operation : catalog()) {
            for (const Values& values : acceptedCalls(*operation, 1, { .side = 24, .elements = 256 })) {
                std::string first = answerOf(*operation, ownCopy(values));
                if (answerOf(*operation, ownCopy(values)) == first)
                    found.push_back({ operation, values, std::move(first) });
            }
        }
        return found;
    }();
    return all;
}

} // namespace

TEST(Threads, AnswerAsIfAlone)
{
    const std::vector<Case>& all = cases();
    std::vector<std::vector<std::string>> differences(threadCount);
    std::barrier start(threadCount);
    const auto work = [&](std::size_t index) {
        start.arrive_and_wait();
        for (std::size_t i = 0; i < all.size(); ++i) {
            // Half of the threads meet in the same operation, the others are elsewhere.
            const Case& next = all[index % 2 == 0 ? i : (i * 7 + index * 13) % all.size()];
            if (answerOf(*next.operation, ownCopy(next.values)) != next.alone)
                differences[index].push_back(describeCall(*next.operation, next.values));
        }
    };
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) threads.emplace_back(work, i);
    threads.clear();
    for (const auto& found : differences) EXPECT_THAT(found, ::testing::IsEmpty());
}

TEST(Threads, AnswerAlikeForAnySizeOfThePool) // a host that uses OpenCV itself may set it at any time
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "OpenCV's pool is not instrumented: what it hands to its workers passes for a race";
#endif
    for (const int size : { 1, 2, 5 }) {
        const Threads pool(size);
        for (const Case& next : cases())
            EXPECT_TRUE(answerOf(*next.operation, ownCopy(next.values)) == next.alone)
                << describeCall(*next.operation, next.values) << " with " << size << " threads";
        EXPECT_EQ(cv::getNumThreads(), size) << "the library changed the host's setting";
    }
}

TEST(Threads, CoverEveryOperation)
{
    std::vector<const Operation*> covered;
    for (const Case& one : cases()) covered.push_back(one.operation);
    for (const Operation* operation : catalog())
        EXPECT_THAT(covered, ::testing::Contains(operation))
            << operation->name << " answers differently each time";
}

} // namespace miravex::test
