#include "bindings/python/extension/arrays.h"
#include "bindings/python/extension/batches.h"
#include "bindings/python/extension/schema.h"

#include "catalog/catalog.h"
#include "draw/draw.h"
#include "host/arguments.h"
#include "host/failures.h"
#include "host/library.h"
#include "host/results.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <opencv2/core/utility.hpp>
#include <pybind11/stl.h>

#include <cstring>

namespace py = pybind11;

namespace miravex::python {

namespace {

/// Never unloaded: arrays and OpenCV's threads may outlive the interpreter's last look at this module.
const Library& library()
{
    static const Library* const loaded = new Library(Library::defaultPath(MIRAVEX_LIBRARY_FROM_PACKAGE));
    return *loaded;
}

const Operation& operationOf(std::string_view name)
{
    const Operation* found = findOperation(name);
    if (!found) throw Refused(fmt::format("there is no operation \"{}\"", name));
    return *found;
}

Layout layoutOf(std::string_view name)
{
    const auto layout = layoutNamed(name);
    if (!layout) throw Refused(fmt::format("there is no layout \"{}\"", name));
    return *layout;
}

void refuseAny(const Operation& operation, const std::vector<Refusal>& refusals)
{
    if (refusals.empty()) return;
    std::vector<std::string> messages;
    for (const Refusal& refusal : refusals) messages.push_back(refusal.message());
    throw Refused(fmt::format("{}: {}", snakeCase(operation.name), fmt::join(messages, "; ")));
}

/// Values in the library's order, complete and, when `checked`, acceptable.
std::vector<Value> valuesOf(const Operation& operation, const py::dict& arguments, const Reading& reading,
                            bool checked = true)
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
    Completed completed =
        checked ? acceptable(operation, std::move(named)) : complete(operation, std::move(named));
    refuseAny(operation, completed.refusals);
    return std::move(completed.values);
}

PyObject* failure = nullptr; ///< MiravexError, as long as the process lives

/// Texts may quote names of files, which need not be UTF-8.
void setError(PyObject* type, const char* text)
{
    const auto length = static_cast<Py_ssize_t>(std::strlen(text));
    const auto message =
        py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(text, length, "backslashreplace"));
    if (message) PyErr_SetObject(type, message.ptr());
}

void addErrors(py::module_& module)
{
    failure = py::exception<Failed>(module, "MiravexError", PyExc_RuntimeError).release().ptr();
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const Refused& refused) {
            setError(PyExc_ValueError, refused.what());
        } catch (const Failed& failed) {
            setError(failure, failed.what());
        }
    });
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
    const std::string failure = failureOf(operation, values, outcome);
    if (!failure.empty()) throw Failed(fmt::format("{}: {}", snakeCase(operation.name), failure));
    return py::make_tuple(objectOf(outcome.result), nameOf(resultOf(operation, values).layout));
}

py::object reachInto(int64_t pixels)
{
    if (pixels == Reach::toTheEdge) return py::none();
    return py::int_(pixels);
}

/// Checks a call of which no sample is looked at, and says what it will give: the values of its numbers,
/// flags and texts with their defaults, the reach on each side (None: to the edge), the result's kind and
/// layout, and shape and type of a picture, where they are known. Unchecked, only what is missing is refused.
py::dict examine(std::string_view name, const py::dict& arguments, const py::object& colorSpace, bool checked)
{
    const Operation& operation = operationOf(name);
    const std::vector<Value> values = valuesOf(
        operation, arguments, { .colorSpace = colorSpace, .inPlace = false, .factsOnly = true }, checked);
    const CallView view = viewOf(operation, values);
    py::dict scalars;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const py::object scalar = scalarOf(values[i]);
        if (!scalar.is_none()) scalars[py::cast(operation.arguments[i].name)] = scalar;
    }
    const Result& result = resultOf(operation, values);
    py::object shape = py::none(), type = py::none();
    if (result.facts) {
        const ImageFacts facts = result.facts(view);
        py::list sizes;
        if (facts.slices > 0) sizes.append(facts.slices);
        sizes.append(facts.rows);
        sizes.append(facts.columns);
        if (facts.channels > 1) sizes.append(facts.channels);
        shape = py::tuple(sizes);
        type = dtypeOf(facts.pixelType);
    }
    const Reach reach = reachOf(view);
    using namespace py::literals;
    return py::dict("values"_a = scalars,
                    "reach"_a = py::make_tuple(reachInto(reach.above), reachInto(reach.below),
                                               reachInto(reach.left), reachInto(reach.right)),
                    "kind"_a = nameOf(result.kind), "layout"_a = nameOf(result.layout), "shape"_a = shape,
                    "dtype"_a = type);
}

/// A picture to draw on.
ImagePointer canvasOf(const std::string& name, const py::object& object)
{
    ImagePointer picture = imageOf(name, { .rank = 2 }, object, py::none());
    if (picture->rank() == 2 && picture->shape.samples() > 0) return picture;
    throw Refused(
        Refusal { name, describe(Value(picture)), "a picture with at least one pixel", "" }.message());
}

/// Draws without the interpreter's lock. What OpenCV has against it is a failure, not a crash.
template <typename Draw> py::array drawn(Draw draw)
{
    ImagePointer picture;
    try {
        const py::gil_scoped_release unlocked;
        picture = draw();
    } catch (const cv::Exception& error) {
        throw Failed(error.what());
    }
    return arrayOf(picture);
}

py::array drawLayout(const py::object& image, std::string_view layout, const py::object& rows, bool integers)
{
    const ImagePointer picture = canvasOf("image", image);
    const TensorPointer tensor = tensorOf("rows", integers ? Kind::IntegerTensor : Kind::RealTensor, rows);
    return drawn([&] { return draw(*picture, layoutOf(layout), *tensor); });
}

py::array drawPairs(const py::object& first, const py::object& firstKeypoints, const py::object& second,
                    const py::object& secondKeypoints, const py::object& matches)
{
    const ImagePointer left = canvasOf("first", first);
    const ImagePointer right = canvasOf("second", second);
    const TensorPointer leftRows = tensorOf("first_keypoints", Kind::RealTensor, firstKeypoints);
    const TensorPointer rightRows = tensorOf("second_keypoints", Kind::RealTensor, secondKeypoints);
    const TensorPointer pairs = tensorOf("pairs", Kind::IntegerTensor, matches);
    return drawn([&] { return drawMatches(*left, *leftRows, *right, *rightRows, *pairs); });
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
    module.attr("version") = MIRAVEX_VERSION;
    addErrors(module);
    try {
        library();
    } catch (const std::exception& error) {
        throw py::import_error(error.what());
    }

    addSchema(module);
    addBatches(module, library());
    module.def("call", callByName, py::arg("name"), py::arg("arguments"), py::arg("colorspace") = py::none(),
               py::arg("inplace") = false);
    module.def("examine", examine, py::arg("name"), py::arg("arguments"), py::arg("colorspace") = py::none(),
               py::arg("checked") = true);
    module.def("can_draw", [](std::string_view layout) { return miravex::canDraw(layoutOf(layout)); });
    module.def("draw", drawLayout, py::arg("image"), py::arg("layout"), py::arg("rows"),
               py::arg("integers") = false);
    module.def("draw_matches", drawPairs, py::arg("first"), py::arg("first_keypoints"), py::arg("second"),
               py::arg("second_keypoints"), py::arg("matches"));
    module.def("table", tableByName, py::arg("layout"), py::arg("rows"), py::arg("integers") = false);
    module.def("address_of_image", [](const py::object& image) {
        return reinterpret_cast<std::uintptr_t>(
            imageOf("image", { .rank = 2 }, image, py::none())->block.data());
    });
    module.def("color_space_of_image", [](const py::object& image) {
        return imageOf("image", { .rank = 2 }, image, py::none())->colorSpace;
    });
    module.def(
        "get_threads", [] { return cv::getNumThreads(); }, "The number of threads that OpenCV works on.");
    module.def(
        "set_threads", [](int count) { cv::setNumThreads(count); }, py::arg("count"),
        "Sets the number of threads that OpenCV works on, in this process; -1 for as many as there are "
        "cores.");
    module.def("library_path", [] { return library().path().string(); });
}
