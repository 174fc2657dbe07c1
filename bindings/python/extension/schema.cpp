#include "bindings/python/extension/schema.h"

#include "catalog/arguments.h"
#include "catalog/catalog.h"

#include <pybind11/stl.h>

namespace py = pybind11;

namespace miravex::python {

namespace {

/// References to the elements of a record's list, which live as long as the process.
template <typename Element> py::tuple tupleOf(std::span<const Element> elements)
{
    py::tuple result(elements.size());
    for (std::size_t i = 0; i < elements.size(); ++i)
        result[i] = py::cast(&elements[i], py::return_value_policy::reference);
    return result;
}

py::tuple tupleOf(std::span<const std::string_view> words)
{
    py::tuple result(words.size());
    for (std::size_t i = 0; i < words.size(); ++i) result[i] = py::cast(words[i]);
    return result;
}

py::tuple records()
{
    py::list operations;
    for (const Operation* operation : catalog())
        operations.append(py::cast(operation, py::return_value_policy::reference));
    return py::tuple(operations);
}

template <typename Name> py::tuple namesIn(std::uint32_t mask, Name name)
{
    py::list names;
    for (int i = 0; i < 32; ++i)
        if ((mask >> i) & 1U) names.append(name(i));
    return py::tuple(names);
}

py::object boundOf(const Bound& bound)
{
    if (!bound.present) return py::none();
    return py::make_tuple(bound.value, bound.inclusive);
}

py::object conditionOf(const Condition& condition)
{
    if (condition.argument.empty()) return py::none();
    return py::make_tuple(condition.argument, condition.value);
}

py::object defaultOf(const Argument& argument)
{
    if (const auto* number = std::get_if<int64_t>(&argument.defaultValue)) {
        if (argument.kind == Kind::Real) return py::float_(static_cast<double>(*number));
        return py::int_(*number);
    }
    if (const auto* number = std::get_if<double>(&argument.defaultValue)) return py::float_(*number);
    if (const auto* flag = std::get_if<bool>(&argument.defaultValue)) return py::bool_(*flag);
    if (const auto* word = std::get_if<std::string_view>(&argument.defaultValue)) return py::cast(*word);
    if (std::holds_alternative<Zeros>(argument.defaultValue))
        return py::tuple(py::cast(std::vector<double>(argument.tensor.fixedLength())));
    return py::none();
}

std::string_view derivedText(const Argument& argument)
{
    const auto* derived = std::get_if<DerivedDefault>(&argument.defaultValue);
    return derived ? derived->text : std::string_view();
}

/// One size of a tensor as (what it follows, number, argument): ("exactly", 7, ""), ("rowsOf", 0, "image").
py::tuple extentOf(const Extent& extent)
{
    return py::make_tuple(nameOf(extent.of), extent.count, extent.argument);
}

py::tuple shapeOf(const Argument& argument)
{
    py::tuple shape(argument.tensor.rank);
    for (std::size_t i = 0; i < argument.tensor.rank; ++i) shape[i] = extentOf(argument.tensor.shape[i]);
    return shape;
}

void addArgument(py::module_& module)
{
    py::class_<Argument>(module, "Argument", "One argument of an operation.")
        .def_readonly("name", &Argument::name)
        .def_property_readonly("kind", [](const Argument& a) { return nameOf(a.kind); })
        .def_readonly("summary", &Argument::summary)
        .def_readonly("unit", &Argument::unit)
        .def_property_readonly("default", defaultOf)
        .def_property_readonly("derived_default", derivedText)
        .def_property_readonly("accepted", [](const Argument& a) { return accepted(a); })
        .def_property_readonly("minimum", [](const Argument& a) { return boundOf(a.minimum); })
        .def_property_readonly("maximum", [](const Argument& a) { return boundOf(a.maximum); })
        .def_readonly("odd", &Argument::mustBeOdd)
        .def_property_readonly("choices", [](const Argument& a) { return tupleOf(a.choices); })
        .def_readonly("is_path", &Argument::isPath)
        .def_readonly("rewritten", &Argument::rewritten)
        .def_readonly("implied_by", &Argument::impliedBy)
        .def_property_readonly("used_when", [](const Argument& a) { return conditionOf(a.usedWhen); })
        .def_readonly("optional", &Argument::optional)
        .def_property_readonly("rank", [](const Argument& a) { return a.image.rank; })
        .def_property_readonly(
            "channels",
            [](const Argument& a) { return namesIn(a.image.channels, [](int count) { return count; }); })
        .def_property_readonly("pixel_types",
                               [](const Argument& a) { return namesIn(a.image.pixelTypes, pixelTypeName); })
        .def_property_readonly("color_spaces",
                               [](const Argument& a) { return namesIn(a.image.colorSpaces, colorSpaceName); })
        .def_property_readonly("minimum_sizes",
                               [](const Argument& a) {
                                   return py::make_tuple(a.image.minimumSlices, a.image.minimumRows,
                                                         a.image.minimumColumns);
                               })
        .def_property_readonly("same_as", [](const Argument& a) { return a.image.sameAs; })
        .def_property_readonly("shape", shapeOf)
        .def_property_readonly("or_empty", [](const Argument& a) { return a.tensor.orEmpty; })
        .def_property_readonly("minimum_element",
                               [](const Argument& a) { return boundOf(a.tensor.minimumElement); })
        .def_property_readonly("maximum_element",
                               [](const Argument& a) { return boundOf(a.tensor.maximumElement); });
}

void addOperation(py::module_& module)
{
    py::class_<Operation>(module, "Operation", "Everything that the catalogue says about an operation.")
        .def_readonly("name", &Operation::name)
        .def_property_readonly("function", [](const Operation& o) { return snakeCase(o.name); })
        .def_property_readonly("command", [](const Operation& o) { return kebabCase(o.name); })
        .def_property_readonly("room", [](const Operation& o) { return o.room->name; })
        .def_property_readonly("room_title", [](const Operation& o) { return o.room->title; })
        .def_readonly("summary", &Operation::summary)
        .def_property_readonly("arguments", [](const Operation& o) { return tupleOf(o.arguments); })
        .def_property_readonly("results", [](const Operation& o) { return tupleOf(o.results); })
        .def_readonly("source", &Operation::source)
        .def_property_readonly("constraints",
                               [](const Operation& o) {
                                   py::list texts;
                                   for (const Constraint& c : o.constraints)
                                       texts.append(py::make_tuple(c.argument, c.text.str()));
                                   return py::tuple(texts);
                               })
        .def_property_readonly("limits",
                               [](const Operation& o) {
                                   py::list texts;
                                   for (const Text& limit : o.limits) texts.append(limit.str());
                                   return py::tuple(texts);
                               })
        .def_property_readonly("reach",
                               [](const Operation& o) -> py::object {
                                   if (!takesPictures(o)) return py::none();
                                   return py::cast(o.reach.text);
                               })
        .def_property_readonly(
            "is_bounded", [](const Operation& o) { return takesPictures(o) && o.reach.compute != nullptr; })
        .def_property_readonly("looks_up", [](const Operation& o) { return o.reach.fromLookedUp; })
        .def_property_readonly("examples",
                               [](const Operation& o) {
                                   py::list examples;
                                   for (const Example& e : o.examples)
                                       examples.append(py::make_tuple(e.title, tupleOf(e.words)));
                                   return py::tuple(examples);
                               })
        .def("__repr__", [](const Operation& o) { return "<operation " + std::string(o.name) + ">"; });
}

} // namespace

void addSchema(py::module_& module)
{
    addArgument(module);
    py::class_<Result>(module, "Result", "What an operation gives back, in one of its modes.")
        .def_property_readonly("kind", [](const Result& r) { return nameOf(r.kind); })
        .def_readonly("summary", &Result::summary)
        .def_property_readonly("layout", [](const Result& r) { return nameOf(r.layout); })
        .def_property_readonly("when", [](const Result& r) { return conditionOf(r.when); })
        .def_property_readonly("is_foreseen", [](const Result& r) { return r.facts != nullptr; });
    addOperation(module);
    module.def("catalog", records, "Every operation's record, by name.");
    module.def(
        "closest",
        [](std::string_view word, const std::vector<std::string>& candidates) {
            return closest(word, candidates);
        },
        "Candidates that a word may have been meant for, best first.");
}

} // namespace miravex::python
