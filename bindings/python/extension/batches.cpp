#include "bindings/python/extension/batches.h"

#include "bindings/python/extension/arrays.h"
#include "host/batch.h"

#include <pybind11/functional.h>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <stdexcept>

namespace py = pybind11;

namespace miravex::python {

namespace {

using Floats = py::array_t<float, py::array::c_style>;

BatchOptions optionsOf(int64_t height, int64_t width, bool channelsLast, std::string colour,
                       std::vector<float> mean, std::vector<float> deviation, int64_t filesPerChunk)
{
    BatchOptions options;
    options.height = height;
    options.width = width;
    options.channelsLast = channelsLast;
    options.colorSpace = std::move(colour);
    options.mean = std::move(mean);
    options.deviation = std::move(deviation);
    const auto refusals = check(options);
    if (!refusals.empty()) throw std::invalid_argument(refusals.front().message());
    options.chunkBytes = options.samples() * static_cast<int64_t>(sizeof(float)) * filesPerChunk;
    return options;
}

/// Loads files into an array and gives (position, reason) of those that failed. After each chunk pending
/// signals are looked at, so that an interrupt ends the batch, and `progress` hears of it.
py::list load(const Library& library, const std::vector<std::string>& paths, const BatchOptions& options,
              py::array slots, const std::function<void(int64_t)>& progress)
{
    const auto files = static_cast<int64_t>(paths.size());
    const bool fits =
        py::isinstance<Floats>(slots) && slots.writeable() && slots.size() == files * options.samples();
    if (!fits) throw std::invalid_argument("the array does not hold one float32 slot per file");
    auto* const memory = static_cast<float*>(slots.mutable_data());
    bool raised = false;
    BatchReport report;
    try {
        const py::gil_scoped_release unlocked;
        report = loadBatch(library, paths, options, memory, [&](const BatchProgress& now) {
            const py::gil_scoped_acquire locked;
            raised = PyErr_CheckSignals() != 0;
            if (!raised && progress) progress(now.done);
            return !raised;
        });
    } catch (const std::runtime_error& error) {
        throw Failed(error.what());
    }
    if (raised) throw py::error_already_set();
    py::list failed;
    for (const FailedFile& file : report.failed) failed.append(py::make_tuple(file.position, file.reason()));
    return failed;
}

} // namespace

void addBatches(py::module_& module, const Library& library)
{
    py::class_<BatchOptions>(module, "BatchOptions", "How a batch of files becomes an array.")
        .def(py::init(&optionsOf), py::arg("height"), py::arg("width"), py::arg("channels_last"),
             py::arg("colour"), py::arg("mean"), py::arg("std"), py::arg("files_per_chunk"))
        .def_property_readonly("channels", &BatchOptions::channels);
    module.def(
        "load_batch",
        [&library](const std::vector<std::string>& paths, const BatchOptions& options, const py::array& slots,
                   const std::function<void(int64_t)>& progress) {
            return load(library, paths, options, slots, progress);
        },
        py::arg("paths"), py::arg("options"), py::arg("slots"), py::arg("progress") = py::none());
}

} // namespace miravex::python
