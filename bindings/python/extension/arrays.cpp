#include "bindings/python/extension/arrays.h"

#include "catalog/catalog.h"
#include "host/arguments.h"
#include "host/matrices.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <optional>

namespace py = pybind11;

namespace miravex::python {

namespace {

/// Keeps a Python object alive from places that don't hold the interpreter's lock.
std::shared_ptr<const void> keeper(py::object object)
{
    return { object.release().ptr(), [](PyObject* held) {
                if (!Py_IsInitialized()) return;
                const py::gil_scoped_acquire locked;
                Py_DECREF(held);
            } };
}

std::string typeName(const py::handle& object)
{
    return py::str(py::type::handle_of(object).attr("__name__"));
}

/// True for what an object says against being read; interrupts and want of memory are not its own fault.
bool isObjection(const py::error_already_set& error)
{
    return error.matches(PyExc_Exception) && !error.matches(PyExc_MemoryError);
}

/// Drops the error that is set, if it is an objection.
void dropObjection()
{
    const py::error_already_set error;
    if (!isObjection(error)) throw error;
}

std::string wordsFor(const py::handle& object)
{
    constexpr std::size_t longest = 60;
    std::string text;
    try {
        text = py::repr(object);
    } catch (const py::error_already_set& error) {
        if (!isObjection(error)) throw;
        text = typeName(object);
    }
    if (text.size() > longest) text = fmt::format("an object of type {}", typeName(object));
    return text;
}

std::string describeArray(const py::array& array)
{
    std::vector<std::string> sizes;
    for (py::ssize_t i = 0; i < array.ndim(); ++i) sizes.push_back(std::to_string(array.shape(i)));
    return fmt::format("an array of shape ({}{}) and type {}", fmt::join(sizes, ", "),
                       sizes.size() == 1 ? "," : "", std::string(py::str(array.dtype())));
}

[[noreturn]] void refuse(std::string_view name, const std::string& given, const std::string& expected,
                         const std::string& suggestion = "")
{
    throw Refused(Refusal { std::string(name), given, expected, suggestion }.message());
}

/// The array that an object is or can be seen as; whatever NumPy says against it becomes a refusal.
py::array anyArray(std::string_view name, const py::object& object, const std::string& expected)
{
    try {
        return py::module_::import("numpy").attr("asarray")(object);
    } catch (const py::error_already_set& error) {
        if (!isObjection(error)) throw;
        refuse(name, wordsFor(object), expected);
    }
}

bool isPlain(const py::array& array)
{
    constexpr int wanted =
        py::detail::npy_api::NPY_ARRAY_C_CONTIGUOUS_ | py::detail::npy_api::NPY_ARRAY_ALIGNED_;
    return (array.flags() & wanted) == wanted && array.dtype().attr("isnative").cast<bool>();
}

/// The same elements, aligned, in C order and in the machine's own byte order; a copy only where needed.
py::array plain(const py::array& array)
{
    if (isPlain(array)) return array;
    const py::object native = array.dtype().attr("newbyteorder")("=");
    return py::module_::import("numpy").attr("require")(array, native,
                                                        py::make_tuple("C_CONTIGUOUS", "ALIGNED"));
}

// --- images ---------------------------------------------------------------------------------------------

std::optional<PixelType> pixelTypeOf(const py::dtype& type)
{
    const char kind = type.kind();
    const py::ssize_t size = type.itemsize();
    if (kind == 'b') return PixelTypeBit;
    if (kind == 'u' && size == 1) return PixelTypeByte;
    if (kind == 'u' && size == 2) return PixelTypeBit16;
    if (kind == 'f' && size == 4) return PixelTypeReal32;
    if (kind == 'f' && size == 8) return PixelTypeReal;
    return {};
}

/// Up to this many samples per pixel, the last of three axes is taken for channels where an image may be a
/// picture or a sequence.
constexpr py::ssize_t mostChannels = 4;

/// The sizes that an array has as an image. Refuses what has no place in one: a sequence of no frames would
/// otherwise pass for a picture.
ImageShape shapeOf(std::string_view name, const ImageRule& rule, const py::array& array,
                   const std::string& expected)
{
    const auto axes = array.ndim();
    const bool framesFirst =
        axes == 4 || (axes == 3 && (rule.rank == 3 || (rule.rank == 0 && array.shape(2) > mostChannels)));
    const py::ssize_t own = framesFirst ? 1 : 0;
    if (axes < 2 || axes > 4) refuse(name, describeArray(array), expected);
    if (framesFirst && array.shape(0) == 0) refuse(name, describeArray(array), expected);
    ImageShape shape;
    shape.slices = framesFirst ? array.shape(0) : 0;
    shape.rows = array.shape(own);
    shape.columns = array.shape(own + 1);
    shape.channels = axes == own + 3 ? array.shape(own + 2) : 1;
    if (shape.channels == 0) refuse(name, describeArray(array), expected);
    return shape;
}

std::optional<std::string> encoded(const py::object& text, const char* errors)
{
    const auto bytes =
        py::reinterpret_steal<py::bytes>(PyUnicode_AsEncodedString(text.ptr(), "utf-8", errors));
    if (bytes) return std::string(bytes);
    dropObjection();
    return {};
}

ColorSpace colorSpaceOf(const py::object& given, int64_t channels)
{
    if (given.is_none()) return usualColorSpace(channels);
    std::vector<std::string> near;
    if (py::isinstance<py::str>(given)) {
        const std::string wanted = encoded(given, "replace").value_or("");
        std::vector<std::string> names;
        for (const int space : { ColorSpaceGray, ColorSpaceRGB, ColorSpaceUnspecified }) {
            names.push_back(colorSpaceName(space));
            if (names.back() == wanted) return space;
        }
        near = closest(wanted, names);
    } else if (py::isinstance<py::int_>(given) && !py::isinstance<py::bool_>(given)) {
        int overflow = 0;
        const long code = PyLong_AsLongAndOverflow(given.ptr(), &overflow);
        if (overflow == 0 && code >= 0 && code <= INT32_MAX) return static_cast<ColorSpace>(code);
    }
    refuse("colorspace", wordsFor(given), "one of gray, RGB, unspecified, or a code",
           near.empty() ? "" : near.front());
}

/// The entry of a dictionary by argument names, or what was given for all.
py::object colorSpaceFor(const std::string& name, const py::object& given)
{
    if (!py::isinstance<py::dict>(given)) return given;
    const py::dict byName = given;
    if (!byName.contains(name)) return py::none();
    return byName[py::str(name)];
}

// --- numbers and words ----------------------------------------------------------------------------------

/// The 64-bit integer that an object is, or nothing.
std::optional<int64_t> wholeNumberOf(const py::handle& object)
{
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
    if (!index) {
        dropObjection();
        return {};
    }
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    if (overflow != 0) return {};
    return number;
}

/// The real number that an object stands for, or nothing; words that read as numbers do not.
std::optional<double> realNumberOf(const py::handle& object)
{
    if (py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object)) return {};
    const double number = PyFloat_AsDouble(object.ptr());
    if (number != -1.0 || !PyErr_Occurred()) return number;
    dropObjection();
    return {};
}

/// An array of objects, with its first entry that is no number, such as one with a free symbol.
std::string describeObjects(const py::array& objects)
{
    const std::string whole = describeArray(objects);
    py::ssize_t position = 0;
    for (const py::handle object : objects.attr("flat")) {
        if (!realNumberOf(object)) {
            const py::object place = py::module_::import("numpy").attr("unravel_index")(
                position, py::make_tuple(objects.attr("shape"))[0]);
            std::vector<std::string> indices;
            for (const py::handle index : place) indices.push_back(std::to_string(index.cast<int64_t>()));
            return fmt::format("{}, whose entry [{}] is {}", whole, fmt::join(indices, ", "),
                               wordsFor(object));
        }
        ++position;
    }
    return whole;
}

Value integerOf(const Argument& argument, const py::object& object)
{
    if (py::isinstance<py::bool_>(object)) return object.cast<bool>();
    if (const auto number = wholeNumberOf(object)) return *number;
    const std::string bounds = accepted(argument);
    refuse(argument.name, wordsFor(object), "an integer " + (bounds.empty() ? "of 64 bits" : bounds));
}

Value realOf(const Argument& argument, const py::object& object)
{
    if (const auto number = realNumberOf(object)) return *number;
    const std::string bounds = accepted(argument);
    refuse(argument.name, wordsFor(object), "a real number" + (bounds.empty() ? "" : " " + bounds));
}

Value booleanOf(const Argument& argument, const py::object& object)
{
    const py::object numPyBool = py::module_::import("numpy").attr("bool_");
    if (!py::isinstance(object, numPyBool) && !py::isinstance<py::bool_>(object))
        refuse(argument.name, wordsFor(object), "True or False");
    return py::bool_(object).cast<bool>();
}

Value textOf(const Argument& argument, py::object object)
{
    const std::string expected = argument.isPath ? "a path" : accepted(argument);
    if (argument.isPath && py::hasattr(object, "__fspath__")) object = object.attr("__fspath__")();
    if (!py::isinstance<py::str>(object)) {
        if (!argument.isPath || !py::isinstance<py::bytes>(object))
            refuse(argument.name, wordsFor(object), expected);
        object = py::module_::import("os").attr("fsdecode")(object);
    }
    // Names of files may hold bytes that are not UTF-8; Python keeps them as lone surrogates.
    auto text = encoded(object, argument.isPath ? "surrogateescape" : "strict");
    if (!text || text->find('\0') != std::string::npos) refuse(argument.name, wordsFor(object), expected);
    return std::move(*text);
}

// --- tensors and arrays ---------------------------------------------------------------------------------

std::vector<int64_t> dimensionsOf(const py::array& array)
{
    return { array.shape(), array.shape() + array.ndim() };
}

/// An array of objects as one of numbers, which those of a computer-algebra system are to NumPy; nothing
/// when one of them is none.
template <typename Number>
std::optional<py::array> numbersOf(const py::array& objects, std::optional<Number> (*read)(const py::handle&))
{
    py::array_t<Number> numbers(std::vector<py::ssize_t>(objects.shape(), objects.shape() + objects.ndim()));
    Number* next = numbers.mutable_data();
    for (const py::handle object : objects.attr("flat")) {
        const auto number = read(object);
        if (!number) return {};
        *next++ = *number;
    }
    return numbers;
}

/// The array of reals or integers that an object stands for; exact conversions only.
py::array elementsOf(std::string_view name, Kind kind, const py::object& object)
{
    const bool reals = kind == Kind::RealTensor;
    const std::string expected = reals ? "an array of real numbers" : "an array of integers";
    py::array given = anyArray(name, object, expected);
    if (given.dtype().kind() == 'O')
        given = (reals ? numbersOf(given, realNumberOf) : numbersOf(given, wholeNumberOf)).value_or(given);
    const char type = given.dtype().kind();
    const bool isNumber = type == 'b' || type == 'i' || type == 'u' || type == 'f';
    if (!isNumber) {
        const auto describe = type == 'O' ? describeObjects : describeArray;
        refuse(name, given.ndim() == 0 ? wordsFor(object) : describe(given), expected);
    }
    if (given.ndim() == 0) given = given.attr("reshape")(1);
    const py::module_ numpy = py::module_::import("numpy");
    const py::dtype wanted = reals ? py::dtype::of<double>() : py::dtype::of<int64_t>();
    if (reals) return plain(given.attr("astype")(wanted, py::arg("copy") = false));
    // Casting a real that no integer can hold is only warned of, so it is looked at first.
    if (type == 'f') {
        const py::object whole = numpy.attr("isfinite")(given).attr("all")();
        constexpr double beyond = 9223372036854775808.0;
        const bool inside = whole.cast<bool>()
            && numpy.attr("less")(numpy.attr("abs")(given), beyond).attr("all")().cast<bool>();
        if (!inside || !numpy.attr("equal")(given, numpy.attr("floor")(given)).attr("all")().cast<bool>())
            refuse(name, describeArray(given), expected);
    }
    if (type == 'u' && given.itemsize() == 8
        && numpy.attr("greater")(given, py::int_(INT64_MAX)).attr("any")().cast<bool>())
        refuse(name, describeArray(given), "an array of 64-bit integers");
    return plain(given.attr("astype")(wanted, py::arg("copy") = false));
}

template <typename Element> std::span<const Element> elements(const py::array& array)
{
    return { static_cast<const Element*>(array.data()), static_cast<std::size_t>(array.size()) };
}

/// A tensor over the caller's own elements, which the library will rewrite.
TensorPointer wrappedTensor(const Argument& argument, const py::object& object)
{
    const bool reals = argument.kind == Kind::RealTensor;
    const std::string expected = fmt::format("a writeable C-contiguous {} array, as it is rewritten in place",
                                             reals ? "float64" : "int64");
    if (!py::isinstance<py::array>(object)) refuse(argument.name, wordsFor(object), expected);
    py::array array = object;
    const bool fits = array.dtype().kind() == (reals ? 'f' : 'i') && array.itemsize() == 8 && isPlain(array)
        && array.writeable() && array.ndim() > 0;
    if (!fits) refuse(argument.name, describeArray(array), expected);
    auto tensor = std::make_shared<Tensor>();
    tensor->elementType = reals ? TensorTypeReal : TensorTypeInteger;
    tensor->dimensions = dimensionsOf(array);
    tensor->block =
        Block::wrapping(array.mutable_data(), static_cast<std::size_t>(array.nbytes()), keeper(array));
    return tensor;
}

/// A table with one number for each pixel, of which records look at the sizes alone.
bool isPerPixel(const Argument& argument)
{
    const TensorRule& rule = argument.tensor;
    return rule.rank == 2 && rule.shape[0].of == Extent::Of::Rows && rule.shape[1].of == Extent::Of::Columns
        && !rule.minimumElement.present && !rule.maximumElement.present;
}

/// A tensor of an array's sizes over no elements.
TensorPointer outlineOf(const Argument& argument, const py::object& object)
{
    const py::array array = anyArray(argument.name, object, "an array of real numbers");
    auto tensor = std::make_shared<Tensor>();
    tensor->elementType = argument.kind == Kind::RealTensor ? TensorTypeReal : TensorTypeInteger;
    tensor->dimensions = dimensionsOf(array);
    tensor->block = Block::wrapping(nullptr, static_cast<std::size_t>(array.size()) * sizeof(double), {});
    return tensor;
}

/// Numeric arrays that are rewritten are results of the call, so they are never copied.
ArrayPointer numericArrayOf(const Argument& argument, const py::object& object)
{
    const std::string expected = argument.rewritten
        ? "a writeable C-contiguous float32 array, as it receives the result"
        : "an array of real numbers";
    py::array array;
    if (argument.rewritten) {
        if (!py::isinstance<py::array>(object)) refuse(argument.name, wordsFor(object), expected);
        array = object;
        const bool fits = array.dtype().kind() == 'f' && array.itemsize() == 4 && isPlain(array)
            && array.writeable() && array.ndim() > 0;
        if (!fits) refuse(argument.name, describeArray(array), expected);
    } else {
        array = elementsOf(argument.name, Kind::RealTensor, object)
                    .attr("astype")(py::dtype::of<float>(), py::arg("copy") = false);
    }
    return wrapFloatArray(dimensionsOf(array), static_cast<float*>(const_cast<void*>(array.data())),
                          keeper(array));
}

/// Frees a result's memory when the last array over it is gone.
template <typename Object> py::capsule capsuleOf(std::shared_ptr<Object> object)
{
    return { new std::shared_ptr<Object>(std::move(object)),
             [](void* held) { delete static_cast<std::shared_ptr<Object>*>(held); } };
}

} // namespace

py::dtype dtypeOf(PixelType type)
{
    switch (type) {
    case PixelTypeBit: return py::dtype::of<bool>();
    case PixelTypeByte: return py::dtype::of<std::uint8_t>();
    case PixelTypeBit16: return py::dtype::of<std::uint16_t>();
    case PixelTypeReal32: return py::dtype::of<float>();
    default: return py::dtype::of<double>();
    }
}

ImagePointer imageOf(const std::string& name, const ImageRule& rule, const py::object& object,
                     const py::object& colorSpace, bool factsOnly)
{
    constexpr auto types = "an image of bool, uint8, uint16, float32 or float64";
    const std::string axes = rule.rank == 2 ? " with axes (rows, columns) or (rows, columns, channels)"
        : rule.rank == 3 ? " with axes (frames, rows, columns) or (frames, rows, columns, channels)"
                         : " with axes (rows, columns[, channels]) or (frames, rows, columns[, channels])";
    const std::string expected = types + axes;
    const py::array given = anyArray(name, object, expected);
    const auto type = pixelTypeOf(given.dtype());
    if (given.dtype().kind() == 'O') {
        const std::string found = describeObjects(given);
        const bool allNumbers = found == describeArray(given);
        refuse(name, found, expected, allNumbers ? "numpy.array(M, dtype=numpy.uint8)" : "");
    }
    if (!type) {
        const bool isInteger = given.dtype().kind() == 'i' || given.dtype().kind() == 'u';
        const char* target = isInteger ? "uint8" : given.dtype().kind() == 'f' ? "float32" : nullptr;
        refuse(name, describeArray(given), expected,
               target ? fmt::format("{}.astype(numpy.{})", name, target) : "");
    }
    const ImageShape shape = shapeOf(name, rule, given, expected);
    const py::array samples = factsOnly ? given : plain(given);
    return wrapImage(shape, *type, colorSpaceOf(colorSpaceFor(name, colorSpace), shape.channels),
                     shape.channels > 1, const_cast<void*>(samples.data()), keeper(samples));
}

TensorPointer tensorOf(const std::string& name, Kind kind, const py::object& object)
{
    const py::array array = elementsOf(name, kind, object);
    if (kind == Kind::RealTensor) return makeRealTensor(dimensionsOf(array), elements<double>(array));
    return makeIntegerTensor(dimensionsOf(array), elements<int64_t>(array));
}

Value valueOf(const Argument& argument, const py::object& object, const Reading& reading)
{
    if (object.is_none()) return {};
    switch (argument.kind) {
    case Kind::Integer: return integerOf(argument, object);
    case Kind::Real: return realOf(argument, object);
    case Kind::Boolean: return booleanOf(argument, object);
    case Kind::String: return textOf(argument, object);
    case Kind::Image: {
        ImagePointer image = imageOf(std::string(argument.name), argument.image, object, reading.colorSpace,
                                     reading.factsOnly);
        if (argument.rewritten && !reading.inPlace && !reading.factsOnly)
            image = convertImage(*image, image->pixelType, image->interleaved);
        return image;
    }
    case Kind::RealTensor:
    case Kind::IntegerTensor:
        if (reading.factsOnly && isPerPixel(argument)) return outlineOf(argument, object);
        if (argument.rewritten && reading.inPlace) return wrappedTensor(argument, object);
        return tensorOf(std::string(argument.name), argument.kind, object);
    case Kind::NumericArray: return numericArrayOf(argument, object);
    }
    return {};
}

py::array arrayOf(const ImagePointer& image)
{
    const ImageShape& shape = image->shape;
    const auto sample = static_cast<py::ssize_t>(bytesPerSample(image->pixelType));
    const py::ssize_t pixel = image->interleaved ? shape.channels * sample : sample;
    const py::ssize_t channel = image->interleaved ? sample : shape.rows * shape.columns * sample;
    std::vector<py::ssize_t> sizes { shape.rows, shape.columns };
    std::vector<py::ssize_t> strides { shape.columns * pixel, pixel };
    if (shape.channels > 1) {
        sizes.push_back(shape.channels);
        strides.push_back(channel);
    }
    if (shape.slices > 0) {
        sizes.insert(sizes.begin(), shape.slices);
        strides.insert(strides.begin(), shape.rows * shape.columns * shape.channels * sample);
    }
    return { dtypeOf(image->pixelType), sizes, strides, image->block.data(), capsuleOf(image) };
}

py::array arrayOf(const TensorPointer& tensor)
{
    const py::dtype type =
        tensor->elementType == TensorTypeReal ? py::dtype::of<double>() : py::dtype::of<int64_t>();
    const std::vector<py::ssize_t> sizes(tensor->dimensions.begin(), tensor->dimensions.end());
    return { type, sizes, tensor->block.data(), capsuleOf(tensor) };
}

py::object scalarOf(const Value& value)
{
    if (const auto* integer = std::get_if<int64_t>(&value)) return py::int_(*integer);
    if (const auto* real = std::get_if<double>(&value)) return py::float_(*real);
    if (const auto* flag = std::get_if<bool>(&value)) return py::bool_(*flag);
    if (const auto* text = std::get_if<std::string>(&value)) return py::cast(*text);
    return py::none();
}

py::object objectOf(const Value& result)
{
    if (const auto* image = std::get_if<ImagePointer>(&result)) return arrayOf(*image);
    if (const auto* tensor = std::get_if<TensorPointer>(&result)) return arrayOf(*tensor);
    if (const auto* real = std::get_if<double>(&result)) return py::float_(*real);
    return py::none();
}

} // namespace miravex::python
