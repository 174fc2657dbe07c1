#pragma once

#include "host/objects.h"

#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace miravex {

/// What the library did with the host's objects during one call.
struct Accounting {
    int64_t allocations = 0; ///< images, tensors and conversions asked for, those that failed included
    int64_t stringsGivenBack = 0;
    int64_t arraysGivenBack = 0;
    std::vector<std::string> violations; ///< every breach of the ownership rules, in words

    [[nodiscard]] bool clean() const { return violations.empty(); }
};

/// What goes wrong on purpose during one call.
struct Faults {
    std::optional<int64_t> failingAllocation; ///< counted from 0: this one is refused
    bool withholdData = false; ///< data of objects made during the call is null
};

/// Follows every object of one call on one thread: what the library creates, frees, gives back and leaves.
/// Services find the current thread's ledger by themselves, so calls on several threads do not meet.
class Ledger {
public:
    explicit Ledger(Faults faults = {});
    ~Ledger();
    Ledger(const Ledger&) = delete;
    Ledger& operator=(const Ledger&) = delete;

    /// The ledger of the call that this thread is in, or null.
    static Ledger* current() noexcept;

    /// True when the next allocation is to fail.
    bool refusesAllocation() noexcept;

    void created(ImagePointer image);
    void created(TensorPointer tensor);
    void freed(KImage image);
    void freed(KTensor tensor);

    /// False when the samples or elements of this object are withheld.
    [[nodiscard]] bool givesData(const void* object) const;

    /// Hands an object to the library, which has to give it back `expected` times before the call ends.
    void lend(const char* string, int expected) { strings_[string].expected += expected; }
    void lend(NumericArray array, int expected) { arrays_[array].expected += expected; }
    void gaveBack(const char* string);
    void gaveBack(NumericArray array);

    /// Takes an object that the library returned; null, and a violation, when it did not create it.
    ImagePointer takeImage(KImage image);
    TensorPointer takeTensor(KTensor tensor);

    void violation(std::string text) { accounting_.violations.push_back(std::move(text)); }

    /// Ends the call: what was lent must have come back as often as expected, everything created must have
    /// been freed or taken, and no guard may be touched.
    Accounting close();

    [[nodiscard]] int timesGivenBack(const char* string) const { return strings_.at(string).given; }
    [[nodiscard]] int timesGivenBack(NumericArray array) const { return arrays_.at(array).given; }

private:
    struct Returns {
        int expected = 0;
        int given = 0;
    };

    Faults faults_;
    Ledger* outer_;
    Accounting accounting_;
    std::unordered_map<KImage, ImagePointer> images_;
    std::unordered_map<KTensor, TensorPointer> tensors_;
    std::unordered_map<const char*, Returns> strings_;
    std::unordered_map<NumericArray, Returns> arrays_;
};

} // namespace miravex
