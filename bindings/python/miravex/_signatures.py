"""Signatures, annotations and docstrings of the operations, from their records."""

from __future__ import annotations

import inspect
import keyword
import textwrap
from collections.abc import Iterable

from ._miravex import Argument, Operation, Result
from .results import TYPES

_WIDTH = 96

_ANNOTATIONS = {
    "integer": "int",
    "real": "float",
    "boolean": "bool",
    "text": "str",
    "image": "Image",
    "reals": "ArrayLike",
    "integers": "ArrayLike",
    "array": "ArrayLike",
}

_RESULT_ANNOTATIONS = {
    "image": "Image",
    "sequence": "Image",
    "reals": "Array",
    "integers": "Array",
    "real": "float",
}

COLORSPACE = inspect.Parameter(
    "colorspace",
    inspect.Parameter.KEYWORD_ONLY,
    default=None,
    annotation="ColorSpace | Mapping[str, ColorSpace] | None",
)
INPLACE = inspect.Parameter("inplace", inspect.Parameter.KEYWORD_ONLY, default=False, annotation="bool")


def shown(record: Operation) -> list[Argument]:
    """The arguments that a caller gives; flags that follow from another argument are not among them."""
    return [argument for argument in record.arguments if not argument.implied_by]


def is_required(argument: Argument) -> bool:
    return argument.default is None and not argument.derived_default and not argument.optional


def parameter_name(argument: Argument) -> str:
    """The argument's name, with an underscore behind words that Python keeps for itself."""
    return parameter_of(argument.name)


def parameter_of(name: str) -> str:
    return name + "_" if keyword.iskeyword(name) else name


def rewrites(record: Operation) -> bool:
    """True when the library writes into an argument of which a copy could be handed over instead."""
    return any(argument.rewritten and argument.kind != "array" for argument in record.arguments)


def takes_images(record: Operation) -> bool:
    return any(argument.kind == "image" for argument in record.arguments)


def annotation(argument: Argument) -> str:
    if argument.choices:
        text = f"Literal[{', '.join(_quoted(choice) for choice in argument.choices)}]"
    elif argument.is_path:
        text = "Path"
    elif argument.kind == "array" and argument.rewritten:
        text = "Array"
    else:
        text = _ANNOTATIONS[argument.kind]
    may_be_absent = not is_required(argument) and argument.default is None
    return f"{text} | None" if may_be_absent else text


def result_type(result: Result) -> str:
    return TYPES.get(result.layout, _RESULT_ANNOTATIONS[result.kind])


def result_annotation(record: Operation) -> str:
    return " | ".join(dict.fromkeys(result_type(result) for result in record.results))


def signature(record: Operation) -> inspect.Signature:
    """Required arguments first, each group in the library's order."""
    arguments = sorted(shown(record), key=lambda argument: not is_required(argument))
    parameters = [
        inspect.Parameter(
            parameter_name(argument),
            inspect.Parameter.POSITIONAL_OR_KEYWORD,
            default=inspect.Parameter.empty if is_required(argument) else argument.default,
            annotation=annotation(argument),
        )
        for argument in arguments
    ]
    if takes_images(record):
        parameters.append(COLORSPACE)
    if rewrites(record):
        parameters.append(INPLACE)
    return inspect.Signature(parameters, return_annotation=result_annotation(record))


# --- docstrings -----------------------------------------------------------------------------------------


def sentence(text: str) -> str:
    """A phrase with a capital and a full stop."""
    text = text.strip()
    return (text[:1].upper() + text[1:]).rstrip(".") + "." if text else ""


def argument_texts(argument: Argument) -> list[str]:
    """What there is to know about an argument, in sentences."""
    texts = [sentence(argument.summary)]
    if argument.kind == "image":
        texts.append(sentence(f"accepts {argument.accepted}; axes {_axes(argument)}"))
    elif argument.accepted and argument.kind != "boolean":
        unit = f", in {argument.unit}" if argument.unit else ""
        texts.append(sentence(f"accepts {argument.accepted}{unit}"))
    elif argument.unit:
        texts.append(sentence(f"in {argument.unit}"))
    if argument.used_when:
        texts.append(f"Used when {argument.used_when[0]} is {_condition(argument.used_when[1])}.")
    elif argument.optional:
        texts.append("May be left out.")
    if argument.derived_default:
        texts.append(sentence(f"by default {argument.derived_default}"))
    if argument.rewritten and argument.kind == "array":
        texts.append("Receives the result: a writeable C-contiguous float32 array.")
    elif argument.rewritten:
        texts.append("The library rewrites it; a copy is handed over unless ``inplace`` is true.")
    return texts


def docstring(record: Operation) -> str:
    lines = [sentence(record.summary), "", "Parameters", "----------"]
    parameters = signature(record).parameters
    by_name = {parameter_name(argument): argument for argument in record.arguments}
    for name, parameter in parameters.items():
        default = parameter.default
        suffix = "" if default is inspect.Parameter.empty else f", default {default!r}"
        lines.append(f"{name} : {parameter.annotation}{suffix}")
        lines += _indented(_parameter_texts(name, by_name.get(name)))
    lines += ["", "Returns", "-------"]
    for result in record.results:
        lines.append(result_type(result))
        condition = f"when {result.when[0]} is {_condition(result.when[1])}: " if result.when else ""
        lines += _indented([sentence(condition + result.summary)])
    lines += ["", "Raises", "------", "ValueError"]
    lines += _indented(["An argument is not acceptable; the message says which, and what is."])
    for name, text in record.constraints:
        lines += _indented([f"{name} must be: {text}."])
    lines += ["MiravexError", *_indented(["The operation failed; the message says why, as far as OpenCV or the files tell."])]
    if record.reach or record.limits:
        lines += ["", "Notes", "-----"]
        if record.reach:
            lines += textwrap.wrap(f"How far from its place a pixel of the result looks: {record.reach}.", _WIDTH)
        for text in record.limits:
            lines += textwrap.wrap(sentence(text), _WIDTH)
    if record.source:
        lines += ["", "References", "----------", *textwrap.wrap(record.source, _WIDTH)]
    return "\n".join(lines)


def _parameter_texts(name: str, argument: Argument | None) -> list[str]:
    if argument:
        return argument_texts(argument)
    if name == "colorspace":
        return [
            "What the channels mean: gray, RGB, unspecified or a code, for all images or by argument name.",
            "By default gray for one channel, RGB for three and unspecified otherwise.",
        ]
    return ["Let the library write into the caller's own arrays."]


def _axes(argument: Argument) -> str:
    picture = "(rows, columns[, channels])"
    sequence = "(frames, rows, columns[, channels])"
    return {2: picture, 3: sequence}.get(argument.rank, f"{picture} or {sequence}")


def _condition(value: str) -> str:
    return {"true": "true", "false": "false"}.get(value, _quoted(value))


def _quoted(word: str) -> str:
    escaped = word.replace("\\", "\\\\").replace('"', '\\"')
    return f'"{escaped}"'


def _indented(texts: Iterable[str]) -> list[str]:
    text = " ".join(text for text in texts if text)
    return textwrap.wrap(text, _WIDTH, initial_indent="    ", subsequent_indent="    ")
