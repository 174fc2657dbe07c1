#include "bindings/c/call.h"
#include "bindings/c/numbers.h"
#include "bindings/c/watched.h"

#include "catalog/catalog.h"
#include "catalog/schema.h"
#include "host/json_text.h"
#include "host/matrices.h"
#include "host/samples.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <optional>

using namespace miravex;

namespace {

/// Runs one function of a call; nothing that it throws gets past here.
template <typename Function> int guarded(mvx_call* call, Function function) noexcept
{
    if (!call) return MVX_NO_MEMORY;
    try {
        try {
            return function();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            return call->end(MVX_FAILED, error.what());
        }
    } catch (...) {
        return call->endWithoutMemory();
    }
}

int unreadable(mvx_call& call, const char* name, const char* what)
{
    return call.end(MVX_REFUSED, std::string(name ? name : "an argument without a name") + " is " + what);
}

/// The image that a description is of; nothing when it can't be one.
std::optional<Samples> samplesOf(const mvx_samples& given)
{
    Samples samples { static_cast<std::byte*>(given.data),
                      { given.size[1], given.size[2], given.size[3], given.size[0] },
                      given.type,
                      { given.step[0], given.step[1], given.step[2], given.step[3] } };
    int64_t count = 8;
    for (const int64_t size : given.size)
        if (size < 0 || __builtin_mul_overflow(count, std::max<int64_t>(size, 1), &count)) return {};
    if (given.type < MVX_BIT || given.type > MVX_REAL64 || given.size[3] < 1) return {};
    if (!given.data && samples.shape.samples() > 0) return {};
    return samples;
}

/// A picture is a sequence of one frame where a sequence is wanted, and the other way round.
void fitSlices(const Argument& argument, ImageShape& shape)
{
    if (argument.kind != Kind::Image) return;
    if (argument.image.rank == 3 && shape.slices == 0) shape.slices = 1;
    if (argument.image.rank == 2 && shape.slices == 1) shape.slices = 0;
}

const Image* imageOf(const mvx_call* call)
{
    const auto* image = call ? std::get_if<ImagePointer>(&call->result()) : nullptr;
    return image ? image->get() : nullptr;
}

const Part* partOf(const mvx_call* call, int index)
{
    if (!call || index < 0 || static_cast<std::size_t>(index) >= call->parts().size()) return nullptr;
    return &call->parts()[static_cast<std::size_t>(index)];
}

mvx_numbers numbersOf(const Part& part)
{
    constexpr int64_t bytes = 8;
    mvx_numbers numbers {};
    // reals and integers have the same place
    numbers.data = part.tensor->block.data() + part.first * static_cast<std::size_t>(bytes);
    numbers.type = part.tensor->elementType == TensorTypeReal ? MVX_REAL64 : MVX_INT64;
    numbers.rank = static_cast<int32_t>(part.sizes.size());
    for (std::size_t i = 0; i < part.sizes.size(); ++i) {
        numbers.size[i] = part.sizes[i];
        numbers.step[i] = part.steps[i] * bytes;
    }
    return numbers;
}

/// A part's numbers, the first index running fastest.
template <typename Number> void copyColumns(const Part& part, const Number* from, double* to)
{
    std::array<int64_t, 4> sizes { 1, 1, 1, 1 }, steps {};
    std::ranges::copy(part.sizes, sizes.begin());
    std::ranges::copy(part.steps, steps.begin());
    // By rows of a few columns, so that neither side is left before its line of cache is used up.
    constexpr int64_t band = 64;
    const int64_t plane = sizes[0] * sizes[1];
    for (int64_t l = 0; l < sizes[3]; ++l)
        for (int64_t k = 0; k < sizes[2]; ++k)
            for (int64_t start = 0; start < sizes[0]; start += band)
                for (int64_t j = 0; j < sizes[1]; ++j)
                    for (int64_t i = start; i < std::min(start + band, sizes[0]); ++i)
                        to[(l * sizes[2] + k) * plane + j * sizes[0] + i] = static_cast<double>(
                            from[i * steps[0] + j * steps[1] + k * steps[2] + l * steps[3]]);
}

bool isComplete(const mvx_batch& batch, int64_t files, const char* const* paths, const float* slots)
{
    return (batch.mean_count <= 0 || batch.mean) && (batch.deviation_count <= 0 || batch.deviation)
        && files >= 0 && (files == 0 || (paths && slots));
}

} // namespace

extern "C" {

int mvx_version(void) { return MVX_VERSION; }

const char* mvx_load(const char* path)
{
    static thread_local std::string error;
    try {
        door::loadLibrary(path);
        return nullptr;
    } catch (const std::bad_alloc&) {
        return "there is not enough memory";
    } catch (const std::exception& thrown) {
        error = thrown.what();
        return error.c_str();
    }
}

const char* mvx_catalogue(void)
{
    try {
        static const std::string* const text = new std::string(jsonText(schema()));
        return text->c_str();
    } catch (const std::exception&) {
        return nullptr;
    }
}

int mvx_kind(const char* operation, const char* argument)
{
    constexpr std::array kinds { MVX_INTEGER, MVX_REAL,  MVX_FLAG,     MVX_TEXT,
                                 MVX_IMAGE,   MVX_REALS, MVX_INTEGERS, MVX_ARRAY };
    try {
        const Operation* found = operation ? findOperation(operation) : nullptr;
        const int index = found && argument ? argumentIndex(*found, argument) : -1;
        if (index < 0) return MVX_UNKNOWN;
        return kinds[static_cast<std::size_t>(found->arguments[static_cast<std::size_t>(index)].kind)];
    } catch (const std::exception&) {
        return MVX_UNKNOWN;
    }
}

mvx_call* mvx_begin(const char* operation)
{
    try {
        return new mvx_call(operation ? operation : "");
    } catch (const std::exception&) {
        return nullptr;
    }
}

void mvx_end(mvx_call* call) { delete call; }

int mvx_option(mvx_call* call, const char* name, const char* value)
{
    return guarded(call, [&] { return call->option(name ? name : "", value ? value : ""); });
}

int mvx_set_integer(mvx_call* call, const char* name, int64_t value)
{
    return guarded(call, [&] {
        if (!name) return unreadable(*call, name, "set");
        return call->set(name, door::valueOf(call->argument(name), value));
    });
}

int mvx_set_real(mvx_call* call, const char* name, double value)
{
    return guarded(call, [&] {
        if (!name) return unreadable(*call, name, "set");
        return call->set(name, door::valueOf(call->argument(name), value));
    });
}

int mvx_set_text(mvx_call* call, const char* name, const char* value)
{
    return guarded(call, [&] {
        if (!name) return unreadable(*call, name, "set");
        return call->set(name, value ? Value(std::string(value)) : Value());
    });
}

int mvx_set_image(mvx_call* call, const char* name, const mvx_samples* samples)
{
    return guarded(call, [&] {
        auto readable = name && samples ? samplesOf(*samples) : std::nullopt;
        if (!readable) return unreadable(*call, name, "no description of samples");
        const ColorSpace color =
            samples->color == MVX_USUAL ? usualColorSpace(samples->size[3]) : samples->color;
        fitSlices(call->argument(name), readable->shape);
        ImagePointer image = imageOver(*readable, color);
        const bool isBorrowed = image->block.data() == readable->data;
        return call->setImage(name, std::move(image), isBorrowed);
    });
}

int mvx_set_numbers(mvx_call* call, const char* name, const mvx_numbers* numbers)
{
    return guarded(call, [&] {
        if (!name || !numbers || !door::isReadable(*numbers))
            return unreadable(*call, name, "no description of numbers");
        return call->set(name, door::valueOf(call->argument(name), *numbers));
    });
}

int mvx_run(mvx_call* call)
{
    return guarded(call, [&] { return call->run(); });
}

int mvx_run_watched(mvx_call* call, int (*stop)(void*), void* context)
{
    return guarded(call, [&] { return door::runWatched(*call, stop, context); });
}

const char* mvx_error(const mvx_call* call) { return call ? call->error() : "there is not enough memory"; }

const char* mvx_refused(const mvx_call* call) { return call ? call->refused().c_str() : ""; }

const char* mvx_notes(const mvx_call* call) { return call ? call->notes().c_str() : ""; }

int mvx_result(const mvx_call* call, const char** layout)
{
    if (layout) *layout = call ? call->layout().data() : "";
    if (!call) return MVX_NOTHING;
    if (std::holds_alternative<ImagePointer>(call->result())) return MVX_IS_IMAGE;
    if (std::holds_alternative<double>(call->result())) return MVX_IS_REAL;
    return std::holds_alternative<TensorPointer>(call->result()) ? MVX_IS_PARTS : MVX_NOTHING;
}

double mvx_real(const mvx_call* call)
{
    const auto* real = call ? std::get_if<double>(&call->result()) : nullptr;
    return real ? *real : std::numeric_limits<double>::quiet_NaN();
}

int mvx_image(const mvx_call* call, mvx_samples* view)
{
    const Image* image = imageOf(call);
    if (!image || !view) return MVX_REFUSED;
    const Samples samples = Samples::of(*image);
    const ImageShape& shape = samples.shape;
    *view = { samples.data,
              image->pixelType,
              image->colorSpace,
              { shape.slices, shape.rows, shape.columns, shape.channels },
              { samples.steps[0], samples.steps[1], samples.steps[2], samples.steps[3] } };
    return MVX_DONE;
}

int mvx_copy(const mvx_call* call, const mvx_samples* to)
{
    const Image* image = imageOf(call);
    const auto target = image && to ? samplesOf(*to) : std::nullopt;
    if (!target || target->shape != image->shape) return MVX_REFUSED;
    try {
        if (target->pixelType == image->pixelType)
            copySamples(Samples::of(*image), *target);
        else
            copySamples(Samples::of(*convertImage(*image, target->pixelType, true)), *target);
        return MVX_DONE;
    } catch (const std::exception&) {
        return MVX_NO_MEMORY;
    }
}

int mvx_parts(const mvx_call* call) { return call ? static_cast<int>(call->parts().size()) : 0; }

int mvx_part_at(const mvx_call* call, int index, mvx_part* part)
{
    const Part* found = partOf(call, index);
    if (!found || !part) return MVX_REFUSED;
    *part = { found->group.c_str(), found->name.c_str(), numbersOf(*found) };
    return MVX_DONE;
}

int mvx_copy_part(const mvx_call* call, int index, double* to)
{
    const Part* part = partOf(call, index);
    if (!part || !to) return MVX_REFUSED;
    if (part->tensor->elementType == TensorTypeReal)
        copyColumns(*part, part->tensor->reals().data() + part->first, to);
    else
        copyColumns(*part, part->tensor->integers().data() + part->first, to);
    return MVX_DONE;
}

mvx_call* mvx_load_images(const mvx_batch* batch, int64_t files, const char* const* paths, float* slots)
{
    auto* call = new (std::nothrow) mvx_call;
    guarded(call, [&] {
        if (!batch || !isComplete(*batch, files, paths, slots))
            return unreadable(*call, "the batch", "incomplete");
        std::vector<std::string> names;
        for (int64_t i = 0; i < files; ++i) names.emplace_back(paths[i] ? paths[i] : "");
        return call->load(*batch, names, slots);
    });
    return call;
}

} // extern "C"
