#include "python/extension/arrays.h"
#include "python/extension/batches.h"
#include "python/extension/schema.h"

#include "host/arguments.h"
#include "host/catalog.h"
#include "host/draw.h"
#include "host/library.h"
#include "host/results.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <opencv2/core/utility.hpp>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace miravex::python {

namespace {

/// Never unloaded: arrays and OpenCV's threads may outlive the interpreter's last look at this module.
const Library& library()
{
    static const Library* const loaded = new Library;
    return *loaded;
}

const Operation& operationOf(std::string_view name)
{
    const Operation* found = findOperation(name);
    if (!found) throw Refused(fmt::format("there is no operation \"{}\"", name));
    return *found;
}

void refuseAny(const Operation& operation, const std::vector<Refusal>& refusals)
{
    if (refusals.empty()) return;
    std::vector<std::string> messages;
    for (const Refusal& refusal : refusals) messages.push_back(refusal.message());
    throw Refused(fmt::format("{}: {}", snakeCase(operation.name), fmt::join(messages, "; ")));
}

/// Values in the library's order, complete and acceptable.
std::vector<Value> valuesOf(const Operation& operation, const py::dict& arguments, const Reading& reading)
{
    NamedValues named;
    for (const auto& [key, object] : arguments) {
        const auto name = key.cast<std::string>();
        const int index = argumentIndex(operation, name);
        Value& value = named[name];
        if (index < 0) continue;
        try {
            value = valueOf(operation.arguments[static_cast<std::size_t>(index)],
                            py::reinterpret_borrow<py::object>(object), reading);
        } catch (const Refused& refused) {
            throw Refused(fmt::format("{}: {}", snakeCase(operation.name), refused.what()));
        }
    }
    Completed completed = complete(operation, std::move(named));
    refuseAny(operation, completed.refusals);
    refuseAny(operation, check(operation, completed.values));
    return std::move(completed.values);
}

[[noreturn]] void fail(const Operation& operation, const Outcome& outcome)
{
    const std::string reason =
        outcome.openCvError.empty() ? "the library refused the call" : outcome.openCvError;
    throw Failed(fmt::format("{}: {}", snakeCase(operation.name), reason));
}

/// Calls an operation by name: its result as an array or float, and the name of its layout.
py::tuple callByName(std::string_view name, const py::dict& arguments, const py::object& colorSpace,
                     bool inPlace)
{
    const Operation& operation = operationOf(name);
    std::vector<Value> values = valuesOf(operation, arguments, { colorSpace, inPlace });
    Outcome outcome;
    {
        const py::gil_scoped_release unlocked;
        outcome = call(library(), operation, values);
    }
    if (!outcome.ok()) fail(operation, outcome);
    if (!outcome.accounting.clean())
        throw Failed(fmt::format("{}: {}", snakeCase(operation.name),
                                 fmt::join(outcome.accounting.violations, "; ")));
    return py::make_tuple(objectOf(outcome.result), layoutName(resultOf(operation, values).layout));
}

py::array drawLayout(const py::object& image, std::string_view layout, const py::object& rows, bool integers)
{
    const ImagePointer picture = imageOf("image", { .rank = 2 }, image, py::none());
    const TensorPointer tensor = tensorOf("rows", integers ? Kind::IntegerTensor : Kind::RealTensor, rows);
    ImagePointer drawn;
    {
        const py::gil_scoped_release unlocked;
        drawn = draw(*picture, layoutOf(layout), *tensor);
    }
    return arrayOf(drawn);
}

py::tuple tableByName(std::string_view layout, const py::object& rows, bool integers)
{
    const Table table =
        tableOf(layoutOf(layout), *tensorOf("rows", integers ? Kind::IntegerTensor : Kind::RealTensor, rows));
    return py::make_tuple(table.columns, table.rows);
}

} // namespace

} // namespace miravex::python

PYBIND11_MODULE(_miravex, module)
{
    using namespace miravex::python;

    module.doc() = "The embedded host of the Miravex library, for the package miravex.";
    py::register_exception<Failed>(module, "MiravexError", PyExc_RuntimeError);
    try {
        library();
    } catch (const std::exception& error) {
        throw py::import_error(error.what());
    }

    addSchema(module);
    addBatches(module, library());
    module.def("call", callByName, py::arg("name"), py::arg("arguments"), py::arg("colorspace") = py::none(),
               py::arg("inplace") = false);
    module.def("can_draw", [](std::string_view layout) { return miravex::canDraw(layoutOf(layout)); });
    module.def("draw", drawLayout, py::arg("image"), py::arg("layout"), py::arg("rows"),
               py::arg("integers") = false);
    module.def("table", tableByName, py::arg("layout"), py::arg("rows"), py::arg("integers") = false);
    module.def("address_of_image", [](const py::object& image) {
        return reinterpret_cast<std::uintptr_t>(
            imageOf("image", { .rank = 2 }, image, py::none())->block.data());
    });
    module.def("color_space_of_image", [](const py::object& image) {
        return imageOf("image", { .rank = 2 }, image, py::none())->colorSpace;
    });
    module.def("get_threads", [] { return cv::getNumThreads(); });
    module.def("set_threads", [](int count) { cv::setNumThreads(count); });
    module.def("library_path", [] { return library().path().string(); });
}
