#pragma once

#include "catalog/record.h"
#include "host/arguments.h"
#include "host/library.h"
#include "tests/support/bytes.h"

#include <string>
#include <vector>

/// Calls drawn from bytes, by the catalogue's records alone: what the fuzzers, the long runs and the tests of
/// threads and bounds have in common.
namespace miravex::fuzz {

/// How large drawn objects may be, and how far a drawing may leave what the record accepts.
struct Caps {
    int64_t side = 64; ///< rows and columns of an image
    int64_t elements = 4096; ///< elements of a tensor
    bool ordinary = false; ///< never leave the record on purpose
};

/// Files that path arguments may name. Drawing chooses among them; any may be missing or broken.
using Paths = std::vector<std::string>;

/// Values for a call, in the library's order. No bytes at all give the defaults and small plain pictures; the
/// first byte says how often an argument leaves what its record accepts: at, just outside or far outside its
/// bounds, another rank, type or shape, a name that is nearly right, a null handle, a wrong count.
std::vector<Value> drawValues(const Operation& operation, Bytes& bytes, const Paths& paths, Caps caps = {});

/// True when the record foretells a refusal. Where the record objects only because it sees all 64 bits of an
/// integer, of which the library reads 32, digits of a real that it narrows to a float, or the shape of a
/// list that it reads flat, nothing is foretold.
bool foretellsRefusal(const Operation& operation, const std::vector<Value>& values);

/// Makes the call and returns what broke a promise, in words, or nothing: a status other than 0 and 6, 0
/// where the record foretells 6, an ownership rule, the result slot of a failed call, the host's own objects.
/// Gives the outcome back through `outcome` when that is not null.
std::string brokenPromise(const Library& library, const Operation& operation,
                          const std::vector<Value>& values, Outcome* outcome = nullptr);

/// "MedianFilter(64 x 48 byte image ..., 3)".
std::string describeCall(const Operation& operation, const std::vector<Value>& values);

} // namespace miravex::fuzz
