#pragma once

#include "miravex/host_interface.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <variant>

/// The catalogue's vocabulary. One constexpr record per operation says everything that a host or a person
/// needs to call it; help, argument checks, documentation, bindings, bounds tests and fuzzers all read it.
/// A record stands beside its operation (ops/<room>/<operation>.record.cpp) and is compiled into the embedded
/// host, not into the library.
namespace miravex {

class CallView;
struct ImageFacts;

enum class Kind { Integer, Real, Boolean, String, Image, RealTensor, IntegerTensor, NumericArray };

/// A family of operations, as ops/rooms.def lists it.
struct Room {
    std::string_view name; ///< its folder in ops/
    std::string_view title; ///< "Filters and geometric transforms"
};

/// A sentence with numbers: each {} in it stands for the next of them, so that prose follows the constants
/// that the library goes by.
///
///     { "Kernels of more than {} elements are refused.", bounds::kernelTaps }
class Text {
public:
    template <std::convertible_to<double>... Numbers>
    constexpr Text(const char* words, Numbers... numbers)
        : words_(words)
        , numbers_ { static_cast<double>(numbers)... }
    {
    }

    /// With its numbers: integers in full, powers of two from 2^20 on as such, and likewise 2^31 - 1.
    [[nodiscard]] std::string str() const;

private:
    std::string_view words_;
    std::array<double, 4> numbers_;
};

/// One end of a range of accepted values; an absent end is infinite.
struct Bound {
    double value = 0;
    bool inclusive = true;
    bool present = false;
};

/// A default that depends on the other arguments, with the words that explain it.
struct DerivedDefault {
    std::string_view text;
    double (*compute)(const CallView& call) = nullptr;
};

/// Zeros for a list, as many as the argument's shape says.
struct Zeros { };

using Default = std::variant<std::monostate, int64_t, double, bool, std::string_view, Zeros, DerivedDefault>;

/// What an image argument accepts. Empty masks accept everything.
struct ImageRule {
    int rank = 2; ///< 2, 3 (a sequence), or 0 for either
    std::uint32_t channels = 0; ///< bit n set: n channels are accepted
    std::uint32_t pixelTypes = 0; ///< bit per PixelType
    std::uint32_t colorSpaces = 0; ///< bit per ColorSpace
    int64_t minimumRows = 1;
    int64_t minimumColumns = 1;
    int64_t minimumSlices = 1;
    std::string_view sameAs = {}; ///< image argument whose rows, columns (and slices) it must share

    constexpr bool acceptsChannels(int64_t count) const { return accepts(channels, count); }
    constexpr bool acceptsPixelType(int type) const { return accepts(pixelTypes, type); }
    constexpr bool acceptsColorSpace(int space) const { return accepts(colorSpaces, space); }

private:
    static constexpr bool accepts(std::uint32_t mask, int64_t value)
    {
        return mask == 0 || (value >= 0 && value < 32 && ((mask >> value) & 1U) != 0);
    }
};

/// One dimension of a tensor: a fixed number, any number from `count` up, or a size of another argument.
struct Extent {
    enum class Of { Exactly, AtLeast, Rows, Columns, Channels, Slices, Length, First, Second };
    Of of = Of::AtLeast;
    int64_t count = 0;
    std::string_view argument = {};
};

constexpr Extent exactly(int64_t count) { return { Extent::Of::Exactly, count, {} }; }
constexpr Extent atLeast(int64_t count) { return { Extent::Of::AtLeast, count, {} }; }
constexpr Extent rowsOf(std::string_view image) { return { Extent::Of::Rows, 0, image }; }
constexpr Extent columnsOf(std::string_view image) { return { Extent::Of::Columns, 0, image }; }
constexpr Extent channelsOf(std::string_view image) { return { Extent::Of::Channels, 0, image }; }
constexpr Extent slicesOf(std::string_view image) { return { Extent::Of::Slices, 0, image }; }
constexpr Extent lengthOf(std::string_view tensor) { return { Extent::Of::Length, 0, tensor }; }
constexpr Extent firstOf(std::string_view tensor) { return { Extent::Of::First, 0, tensor }; }
constexpr Extent secondOf(std::string_view tensor) { return { Extent::Of::Second, 0, tensor }; }

/// What a tensor argument accepts.
struct TensorRule {
    static constexpr std::size_t maximumRank = 4;
    std::array<Extent, maximumRank> shape {};
    std::size_t rank = 0; ///< dimensions in `shape`; 0 with `flat`: any shape, read as a flat list
    bool orEmpty = false; ///< the empty list, of length 0, is accepted too

    /// Elements of a list whose length is fixed.
    [[nodiscard]] constexpr std::size_t fixedLength() const
    {
        return rank == 1 && shape[0].of == Extent::Of::Exactly ? static_cast<std::size_t>(shape[0].count) : 0;
    }
    Bound minimumElement {}; ///< bound of every element
    Bound maximumElement {};
};

/// "Only when argument `argument` is `value`" (booleans: "true", "false"); always when `argument` is empty.
struct Condition {
    std::string_view argument = {};
    std::string_view value = {};
};

/// One argument, in the order in which the library takes them. Built by the functions below and refined by
/// its members, each of which returns the refined copy:
///
///     integer("radius", "half the side of the square").in("pixels").from(1).to(127).byDefault(2)
struct Argument {
    std::string_view name; ///< snake_case
    Kind kind = Kind::Integer;
    std::string_view summary;
    std::string_view unit = {};
    Default defaultValue = {};
    Bound minimum {};
    Bound maximum {};
    std::span<const std::string_view> choices {};
    bool isPath = false; ///< a string that names a file to read
    bool mustBeOdd = false;
    bool acceptsNan = false; ///< a bounded real that may be no number all the same
    bool low32 = false; ///< the library looks at the low 32 bits alone (convert/integers.h)
    bool rewritten = false; ///< the library writes into this object
    bool isShared = false; ///< an array that the library hands back after the call
    std::string_view impliedBy = {}; ///< a flag that is set exactly when that optional argument is given
    Condition usedWhen {};
    bool optional = false; ///< may be left out; a small placeholder is passed then
    ImageRule image {};
    TensorRule tensor {};

private:
    // Before their first use: clang evaluates no constexpr member template that is defined further down.
    template <typename Change> constexpr Argument with(Change change) const
    {
        Argument copy = *this;
        change(copy);
        return copy;
    }
    static constexpr std::uint32_t mask(std::initializer_list<int> values)
    {
        std::uint32_t bits = 0;
        for (const int value : values) bits |= std::uint32_t { 1 } << value;
        return bits;
    }

public:
    constexpr Argument in(std::string_view unitName) const
    {
        return with([&](Argument& a) { a.unit = unitName; });
    }
    constexpr Argument from(double value) const
    {
        return with([&](Argument& a) { a.minimum = { value, true, true }; });
    }
    constexpr Argument above(double value) const
    {
        return with([&](Argument& a) { a.minimum = { value, false, true }; });
    }
    constexpr Argument to(double value) const
    {
        return with([&](Argument& a) { a.maximum = { value, true, true }; });
    }
    constexpr Argument below(double value) const
    {
        return with([&](Argument& a) { a.maximum = { value, false, true }; });
    }
    constexpr Argument odd() const
    {
        return with([](Argument& a) { a.mustBeOdd = true; });
    }
    constexpr Argument orNan() const
    {
        return with([](Argument& a) { a.acceptsNan = true; });
    }
    constexpr Argument low32Bits() const
    {
        return with([](Argument& a) { a.low32 = true; });
    }
    constexpr Argument byDefault(Default value) const
    {
        return with([&](Argument& a) { a.defaultValue = value; });
    }
    constexpr Argument byDefault(Zeros zeros) const { return byDefault(Default { zeros }); }
    constexpr Argument byDefault(int value) const { return byDefault(Default { int64_t { value } }); }
    constexpr Argument byDefault(double value) const { return byDefault(Default { value }); }
    constexpr Argument byDefault(bool value) const { return byDefault(Default { value }); }
    constexpr Argument byDefault(const char* value) const
    {
        return byDefault(Default { std::string_view { value } });
    }
    constexpr Argument byDefault(std::string_view text, double (*compute)(const CallView&)) const
    {
        return byDefault(Default { DerivedDefault { text, compute } });
    }
    constexpr Argument oneOf(std::span<const std::string_view> words) const
    {
        return with([&](Argument& a) { a.choices = words; });
    }
    constexpr Argument path() const
    {
        return with([](Argument& a) { a.isPath = true; });
    }
    constexpr Argument rewrittenInPlace() const
    {
        return with([](Argument& a) { a.rewritten = true; });
    }
    constexpr Argument shared() const
    {
        return with([](Argument& a) { a.isShared = true; });
    }
    constexpr Argument setBy(std::string_view other) const
    {
        return with([&](Argument& a) { a.impliedBy = other; });
    }
    constexpr Argument when(std::string_view other, std::string_view value) const
    {
        return with([&](Argument& a) {
            a.usedWhen = { other, value };
            a.optional = true;
        });
    }
    constexpr Argument orAbsent() const
    {
        return with([](Argument& a) { a.optional = true; });
    }

    // Images
    constexpr Argument rank(int value) const
    {
        return with([&](Argument& a) { a.image.rank = value; });
    }
    constexpr Argument channels(std::initializer_list<int> counts) const
    {
        return with([&](Argument& a) { a.image.channels = mask(counts); });
    }
    constexpr Argument pixels(std::initializer_list<int> types) const
    {
        return with([&](Argument& a) { a.image.pixelTypes = mask(types); });
    }
    constexpr Argument colors(std::initializer_list<int> spaces) const
    {
        return with([&](Argument& a) { a.image.colorSpaces = mask(spaces); });
    }
    constexpr Argument sides(int64_t rows, int64_t columns) const
    {
        return with([&](Argument& a) {
            a.image.minimumRows = rows;
            a.image.minimumColumns = columns;
        });
    }
    constexpr Argument slices(int64_t count) const
    {
        return with([&](Argument& a) { a.image.minimumSlices = count; });
    }
    constexpr Argument sizeOf(std::string_view other) const
    {
        return with([&](Argument& a) { a.image.sameAs = other; });
    }

    // Tensors
    constexpr Argument shaped(std::initializer_list<Extent> extents) const
    {
        return with([&](Argument& a) {
            a.tensor.rank = 0;
            for (const Extent& extent : extents) a.tensor.shape[a.tensor.rank++] = extent;
        });
    }
    constexpr Argument orEmpty() const
    {
        return with([](Argument& a) { a.tensor.orEmpty = true; });
    }
    constexpr Argument elementsFrom(double value) const
    {
        return with([&](Argument& a) { a.tensor.minimumElement = { value, true, true }; });
    }
    constexpr Argument elementsAbove(double value) const
    {
        return with([&](Argument& a) { a.tensor.minimumElement = { value, false, true }; });
    }
    constexpr Argument elementsTo(double value) const
    {
        return with([&](Argument& a) { a.tensor.maximumElement = { value, true, true }; });
    }
};

/// How records say what an argument is.
namespace records {

constexpr Argument argumentOf(std::string_view name, Kind kind, std::string_view summary)
{
    Argument made;
    made.name = name;
    made.kind = kind;
    made.summary = summary;
    return made;
}
constexpr Argument integer(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::Integer, summary);
}
constexpr Argument real(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::Real, summary);
}
constexpr Argument boolean(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::Boolean, summary);
}
constexpr Argument text(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::String, summary);
}
constexpr Argument image(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::Image, summary);
}
/// A 3D image whose slices are the frames.
constexpr Argument sequence(std::string_view name, std::string_view summary)
{
    return image(name, summary).rank(3);
}
constexpr Argument reals(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::RealTensor, summary);
}
constexpr Argument integers(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::IntegerTensor, summary);
}
constexpr Argument array(std::string_view name, std::string_view summary)
{
    return argumentOf(name, Kind::NumericArray, summary);
}

} // namespace records

enum class ResultKind { Image, Sequence, RealTensor, IntegerTensor, Real };

constexpr bool isPicture(ResultKind kind)
{
    return kind == ResultKind::Image || kind == ResultKind::Sequence;
}

/// How the elements of a result are to be read; host/results.h turns tensors into named columns by it and
/// draw/draw.h pictures.
enum class Layout {
    Plain, ///< images, reals, and tensors without further structure
    Keypoints, ///< n x 7
    Descriptors, ///< n x d
    KeypointsAndDescriptors, ///< n x (7 + d)
    Regions, ///< n x 5: number, xmin, ytop, xmax, ybottom
    Labels, ///< rows x columns, 0 for background
    Matches, ///< q, q counts, then 1-based train indices
    PolarLines, ///< flat pairs rho, theta in the matrix frame
    BorderLines, ///< flat x1, y1, x2, y2, y counted from the bottom edge
    Segments, ///< flat x1, y1, x2, y2
    WideSegments, ///< flat x1, y1, x2, y2, width
    Circles, ///< flat x, y, radius
    Contours, ///< n, n counts, points, n hierarchy quadruples
    ChainCodes, ///< n, then -1 and the codes of each contour
    FaceBoxes, ///< n, n boxes, n scores
    Flow, ///< pairs x rows x columns x (u, v)
    FlowAndValidity, ///< pairs x rows x columns x (u, v, valid)
    ResponseCurve, ///< 256 levels x 3 channels
    Transport, ///< n1 x n2 flow of mass
    Shift, ///< x, y
    Positions, ///< 1-based positions
};

struct Result {
    ResultKind kind = ResultKind::Image;
    std::string_view summary;
    Layout layout = Layout::Plain;
    Condition when {};
    /// Sizes and pixel type of a picture that a call gives, before it is made; nothing where they are not
    /// known.
    ImageFacts (*facts)(const CallView& call) = nullptr;
};

/// How far from its own place one pixel of a result looks, at most: pixels to each side of it. A place beyond
/// the picture's edge stands for what the padding puts there; with "Periodic" padding that is the other edge.
///
/// The own place is the same row and column. It is that of the picture's pixels, where a result has margins,
/// twice or half of both, where it has half or twice the size, and the position looked up, where one is.
struct Reach {
    static constexpr int64_t toTheEdge = std::numeric_limits<int64_t>::max();
    int64_t above = toTheEdge;
    int64_t below = toTheEdge;
    int64_t left = toTheEdge;
    int64_t right = toTheEdge;

    static constexpr Reach around(int64_t pixels) { return { pixels, pixels, pixels, pixels }; }
    [[nodiscard]] constexpr bool isWhole() const
    {
        return above == toTheEdge && below == toTheEdge && left == toTheEdge && right == toTheEdge;
    }
};

/// What a record says of it: words for people, and the pixels as a function of the arguments, of which none
/// means the whole picture.
struct ReachRule {
    std::string_view text = "the whole picture";
    Reach (*compute)(const CallView& call) = nullptr;
    bool fromLookedUp = false; ///< counted from the position that is looked up
};

/// A rule that ties several arguments together, or one argument to facts of a picture.
struct Constraint {
    std::string_view argument; ///< the argument to blame
    Text text; ///< what is accepted, to be read after "expected"
    bool (*holds)(const CallView& call) = nullptr;
};

/// A call for the gallery and the reference pages, as words of the command line; "@name" stands for a sample
/// picture (tools/gallery/samples.h).
struct Example {
    std::string_view title;
    std::span<const std::string_view> words;
};

/// What is said of an operation beside its code.
struct Record {
    std::string_view summary;
    std::span<const Argument> arguments;
    std::span<const Result> results; ///< the first whose condition holds is meant
    std::string_view source; ///< paper or formula of the method
    std::span<const Constraint> constraints = {};
    std::span<const Text> limits = {}; ///< refusals and oddities that a user may meet
    std::span<const Example> examples = {};
    ReachRule reach = {}; ///< of operations on pictures
    bool returnsOnWrongCount = false; ///< strings and shared arrays come back even when the count is wrong
};

/// A record with what the room's list says.
struct Operation : Record {
    std::string_view name; ///< exported as opencv_<name>
    const Room* room = nullptr;
};

} // namespace miravex

/// Defines the record of a function that its room's operations.def lists, in namespace miravex:
///
///     MIRAVEX_RECORD(dilation) { .summary = "Replaces every pixel by ...", ... };
#define MIRAVEX_RECORD(function)                                                                             \
    extern const Record function##Record;                                                                    \
    constinit const Record function##Record
