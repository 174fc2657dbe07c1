#pragma once

#include "catalog/record.h"
#include "host/arguments.h"
#include "host/library.h"
#include "tests/support/bytes.h"
#include "tests/support/call_check.h"
#include "tests/support/sample_files.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Calls drawn from bytes, by the catalogue's records alone: what the fuzzers, the long runs and the tests of
/// threads and bounds have in common.
namespace miravex::test {

/// How large drawn objects may be, and how far a drawing may leave what the record accepts.
struct Caps {
    int64_t side = 64; ///< rows and columns of an image
    int64_t rows = 0, columns = 0; ///< of every image; drawn where 0
    int64_t elements = 4096; ///< elements of a tensor
    bool ordinary = false; ///< never leave the record on purpose
    std::string_view used = {}; ///< an argument that has to matter in the call
};

/// Values for a call, in the library's order. No bytes at all give the defaults and small plain pictures; the
/// first byte says how often an argument leaves what its record accepts: at, just outside or far outside its
/// bounds, another rank, type or shape, a name that is nearly right, a null handle, a wrong count.
std::vector<Value> drawValues(const Operation& operation, Bytes& bytes, const Paths& paths, Caps caps = {});

/// True when the record foretells a refusal. Where the record objects only because it sees all 64 bits of an
/// integer, of which the library reads 32, digits of a real that it narrows to a float, or the shape of a
/// list that it reads flat, nothing is foretold.
bool foretellsRefusal(const Operation& operation, const std::vector<Value>& values);

/// Values that the record accepts, the same for the same seed, drawn without leaving it on purpose. Seed 0
/// gives the defaults and small plain pictures wherever the record's constraints allow it. Nothing when none
/// were found, or when files that the operation reads are not installed.
std::optional<std::vector<Value>> validValues(const Operation& operation, uint64_t seed, Caps caps = {});

/// Samples and elements as they are drawn from no bytes at all.
void paintPlainly(Image& image);
TensorPointer plainTensor(const Argument& argument, std::vector<int64_t> dimensions);

/// The operation that a fuzzer's key stands for: the one whose name has this hash, otherwise any. A new
/// operation takes over a few keys that stood for no name, and none else.
const Operation& operationFor(uint32_t key);

/// Makes the call and returns what broke a promise, in words, or nothing: whatever breaches() finds, 0 where
/// the record foretells 6, and 6 where nobody says why. Gives the outcome back through `outcome` when that is
/// not null.
std::string brokenPromise(const Library& library, const Operation& operation,
                          const std::vector<Value>& values, Outcome* outcome = nullptr);

} // namespace miravex::test
