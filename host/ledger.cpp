#include "host/ledger.h"

#include <utility>

namespace miravex {

namespace {

thread_local Ledger* currentLedger = nullptr;

/// Removes an object from those that the library holds.
template <typename Objects, typename Handle> auto take(Objects& objects, Handle handle)
{
    auto node = objects.extract(handle);
    return node.empty() ? nullptr : std::move(node.mapped());
}

} // namespace

Ledger::Ledger(Faults faults)
    : faults_(faults)
    , outer_(std::exchange(currentLedger, this))
{
}

Ledger::~Ledger() { currentLedger = outer_; }

Ledger* Ledger::current() noexcept { return currentLedger; }

bool Ledger::refusesAllocation() noexcept { return faults_.failingAllocation == accounting_.allocations++; }

void Ledger::created(ImagePointer image)
{
    const KImage handle = image.get();
    images_.emplace(handle, std::move(image));
}

void Ledger::created(TensorPointer tensor)
{
    const KTensor handle = tensor.get();
    tensors_.emplace(handle, std::move(tensor));
}

void Ledger::freed(KImage image)
{
    const ImagePointer taken = take(images_, image);
    if (!taken)
        violation("an image was freed that the library did not own");
    else if (!taken->block.intact())
        violation("samples were written outside an image");
}

void Ledger::freed(KTensor tensor)
{
    const TensorPointer taken = take(tensors_, tensor);
    if (!taken)
        violation("a tensor was freed that the library did not own");
    else if (!taken->block.intact())
        violation("elements were written outside a tensor");
}

bool Ledger::givesData(const void* object) const
{
    if (!faults_.withholdData) return true;
    // The handles are only compared, never followed.
    return !images_.contains(static_cast<KImage>(const_cast<void*>(object)))
        && !tensors_.contains(static_cast<KTensor>(const_cast<void*>(object)));
}

void Ledger::gaveBack(const char* string)
{
    ++accounting_.stringsGivenBack;
    const auto lent = strings_.find(string);
    if (lent == strings_.end())
        violation("a string was given back that was not lent");
    else
        ++lent->second.given;
}

void Ledger::gaveBack(NumericArray array)
{
    ++accounting_.arraysGivenBack;
    const auto lent = arrays_.find(array);
    if (lent == arrays_.end())
        violation("an array was given back that was not lent");
    else
        ++lent->second.given;
}

ImagePointer Ledger::takeImage(KImage image)
{
    ImagePointer taken = take(images_, image);
    if (!taken)
        violation("the result is not an image that the library created");
    else if (!taken->block.intact())
        violation("samples were written outside the resulting image");
    return taken;
}

TensorPointer Ledger::takeTensor(KTensor tensor)
{
    TensorPointer taken = take(tensors_, tensor);
    if (!taken)
        violation("the result is not a tensor that the library created");
    else if (!taken->block.intact())
        violation("elements were written outside the resulting tensor");
    return taken;
}

Accounting Ledger::close()
{
    const auto check = [this](const std::string& what, const Returns& times) {
        if (times.given != times.expected)
            violation(what + " was given back " + std::to_string(times.given) + " times instead of "
                      + std::to_string(times.expected));
    };
    for (const auto& [string, times] : strings_) check("the string \"" + std::string(string) + "\"", times);
    for (const auto& [array, times] : arrays_) {
        check("an array", times);
        if (!array->block.intact()) violation("elements were written outside an array");
    }
    if (!images_.empty()) violation(std::to_string(images_.size()) + " images leaked");
    if (!tensors_.empty()) violation(std::to_string(tensors_.size()) + " tensors leaked");
    images_.clear();
    tensors_.clear();
    return std::exchange(accounting_, {});
}

} // namespace miravex
