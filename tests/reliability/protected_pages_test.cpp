#include "tests/support/protected_pages.h"

#include "tests/reliability/accepted_calls.h"
#include "tests/reliability/altered_host.h"
#include "tests/reliability/raw_call.h"
#include "tests/support/call_check.h"
#include "tests/support/temporary_folder.h"

#include <fmt/format.h>

#include <cstdlib>

/// OpenCV reads the host's samples where they are and writes into the result's: no operation may write into
/// an input, nor touch anything beyond either end of an input, a converted copy or a result. Every object of
/// a call lies on pages of its own that allow no more than that.
namespace miravex::test {

namespace {

/// What the services below make new objects with.
Edge currentEdge = Edge::Behind;

std::span<const std::byte> bytesOf(const Block& block) { return { block.data(), block.size() }; }

void protect(Block& block, Access access, std::string name)
{
    block = onProtectedPages(bytesOf(block), currentEdge, access, std::move(name));
}

/// New objects hold what nobody would expect.
void protectResult(Block& block)
{
    std::memset(block.data(), 0xA5, block.size());
    protect(block, Access::ReadAndWrite, "the result");
}

/// The values in objects of their own on protected pages; colour images with their channels apart if asked.
Values protectedCopy(const Operation& operation, const Values& values, bool planar)
{
    Values copies = values;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        const Argument& argument = operation.arguments[i];
        const Access access = argument.rewritten ? Access::ReadAndWrite : Access::Read;
        const auto place = [&](auto& object) {
            if (!object) return;
            object = std::make_shared<std::decay_t<decltype(*object)>>(*object);
            protect(object->block, access, std::string(argument.name));
        };
        if (auto* image = std::get_if<ImagePointer>(&copies[i])) {
            if (*image && planar && (*image)->shape.channels > 1)
                *image = convertImage(**image, (*image)->pixelType, false);
            place(*image);
        }
        if (auto* tensor = std::get_if<TensorPointer>(&copies[i])) place(*tensor);
        if (auto* array = std::get_if<ArrayPointer>(&copies[i])) place(*array);
    }
    return copies;
}

/// The bytes that a call gives when everything lies on protected pages; empty after a refusal.
std::string answerOnProtectedPages(const Operation& operation, const Values& values)
{
    AlteredHost host({
        .newImage = [](KImage image) { protectResult(image->block); },
        .newTensor = [](KTensor tensor) { protect(tensor->block, Access::ReadAndWrite, "the result"); },
        .convertedCopy = [](KImage copy) { protect(copy->block, Access::Read, "the host's converted copy"); },
    });
    RawCall call(operation, values);
    Ledger ledger;
    std::srand(7); // OpenCV's random samples
    if (call.make(host.table(), ledger) != StatusOk) return {};
    return bytesOfResult(call.take(ledger));
}

/// In the child: ends with 0 when no call touched what it must not and every result is the usual one.
[[noreturn]] void exitAfterProtectedCalls(const Operation& operation)
{
    const std::size_t count = isSlow(operation) ? 1 : 6;
    std::vector<Values> calls = acceptedCalls(operation, count, { .side = 48, .elements = 256 });
    if (!isSlow(operation))
        for (const auto& [rows, columns] : { std::pair { 1, 17 }, { 17, 1 }, { 33, 64 }, { 100, 101 } })
            for (Values& values :
                 acceptedCalls(operation, 2, { .rows = rows, .columns = columns, .elements = 64 }))
                calls.push_back(std::move(values));
    bool sound = !calls.empty();
    for (const Values& values : calls) {
        std::srand(7);
        const std::string expected = bytesOfResult(call(library(), operation, ownCopy(values)).result);
        for (const Edge edge : { Edge::Behind, Edge::Before }) {
            for (const bool planar : { false, true }) {
                currentEdge = edge;
                const Values copies = protectedCopy(operation, values, planar);
                const std::string text = describeCall(operation, copies);
                reportFaultsOf(text);
                if (answerOnProtectedPages(operation, copies) == expected) continue;
                fmt::print(stderr, "{}: another result\n", text);
                sound = false;
            }
        }
    }
    TemporaryFolder::removeAll();
    std::_Exit(sound ? 0 : 1);
}

class ProtectedPages : public ::testing::TestWithParam<const Operation*> { };

} // namespace

TEST_P(ProtectedPages, AreTouchedWhereTheyMayBe)
{
    EXPECT_EXIT(exitAfterProtectedCalls(*GetParam()), ::testing::ExitedWithCode(0), "");
}

INSTANTIATE_TEST_SUITE_P(Catalogue, ProtectedPages, ::testing::ValuesIn(catalog()), nameOfParameter);

TEST(ProtectedPagesThemselves, ReportWhatTheyForbid)
{
    const std::vector<std::byte> four(4);
    const auto touch = [&](Edge edge, Access access, std::ptrdiff_t at, bool write) {
        const Block block = onProtectedPages(four, edge, access, "four bytes");
        reportFaultsOf("a call");
        volatile std::byte* const place = block.data() + at;
        if (write)
            *place = std::byte { 1 };
        else
            static_cast<void>(*place);
        std::_Exit(0);
    };
    const auto fine = ::testing::ExitedWithCode(0), fault = ::testing::ExitedWithCode(3);
    EXPECT_EXIT(touch(Edge::Behind, Access::Read, 3, false), fine, "");
    EXPECT_EXIT(touch(Edge::Behind, Access::ReadAndWrite, 3, true), fine, "");
    EXPECT_EXIT(touch(Edge::Behind, Access::Read, 4, false), fault, "read 0 bytes behind the end of four");
    EXPECT_EXIT(touch(Edge::Before, Access::Read, -1, false), fault, "read 1 bytes before four bytes");
    EXPECT_EXIT(touch(Edge::Behind, Access::Read, 2, true), fault, "a call: wrote to byte 2 of four bytes");
    EXPECT_EXIT(touch(Edge::Behind, Access::ReadAndWrite, 4, true), fault, "wrote to 0 bytes behind");
}

} // namespace miravex::test
