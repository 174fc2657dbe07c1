// The door between GNU Octave and libmiravex_host: the functions of the package stand on __miravex__, which
// no user calls.

#include <miravex/miravex_host.h>

#include <octave/oct-map.h>
#include <octave/oct.h>
#include <octave/ov-struct.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct End {
    void operator()(mvx_call* call) const { mvx_end(call); }
};
using Call = std::unique_ptr<mvx_call, End>;

/// Raises Octave's error for a call that did not end well.
void expectDone(int status, const mvx_call* call, const std::string& function)
{
    if (status == MVX_DONE) return;
    const std::string text = mvx_error(call);
    if (status == MVX_REFUSED) error_with_id("miravex:argument", "%s: %s", function.c_str(), text.c_str());
    error_with_id("miravex:failed", "%s", text.c_str());
}

/// Steps of an array that keeps its first index together, in bytes; index i is array dimension order[i].
template <typename Description>
void describe(Description& description, const dim_vector& sizes, int64_t bytes, const std::vector<int>& order)
{
    for (std::size_t i = 0; i < order.size(); ++i) {
        int64_t step = bytes;
        for (int j = 0; j < order[i]; ++j) step *= sizes.xelem(j);
        description.size[i] = order[i] < sizes.ndims() ? sizes.xelem(order[i]) : 1;
        description.step[i] = step;
    }
}

struct Elements {
    const void* data;
    int32_t type;
    int64_t bytes;
};

/// Where a value's elements lie; data is null for classes that have no type of the door's. `keeper` keeps
/// them alive.
Elements elementsOf(const octave_value& value, octave_value& keeper)
{
    keeper = value.full_value(); // ranges and sparse matrices hold no elements of their own
    if (keeper.is_bool_scalar() || keeper.is_bool_matrix()) {
        keeper = octave_value(keeper.bool_array_value());
        return { keeper.mex_get_data(), MVX_BIT, 1 };
    }
    if (keeper.is_uint8_type()) return { keeper.mex_get_data(), MVX_BYTE, 1 };
    if (keeper.is_uint16_type()) return { keeper.mex_get_data(), MVX_BIT16, 2 };
    if (keeper.is_int32_type()) return { keeper.mex_get_data(), MVX_INT32, 4 };
    if (keeper.is_int64_type()) return { keeper.mex_get_data(), MVX_INT64, 8 };
    if (!keeper.isreal()) return { nullptr, 0, 0 };
    if (keeper.is_single_type()) return { keeper.mex_get_data(), MVX_REAL32, 4 };
    if (!keeper.isnumeric()) return { nullptr, 0, 0 };
    if (!keeper.is_double_type() || keeper.is_diag_matrix() || keeper.is_perm_matrix())
        keeper = octave_value(keeper.array_value());
    return { keeper.mex_get_data(), MVX_REAL64, 8 };
}

/// The columns of a table that a result was given as, side by side.
octave_value rowsOf(const octave_scalar_map& table)
{
    Matrix rows;
    for (octave_idx_type i = 0; i < table.nfields(); ++i) {
        const ColumnVector column(table.contents(table.fieldnames().xelem(i)).column_vector_value());
        rows = i == 0 ? Matrix(column) : rows.append(column);
    }
    return rows;
}

[[noreturn]] void refuse(const std::string& function, const std::string& name, const octave_value& value,
                         const char* expected)
{
    error_with_id("miravex:argument", "%s: %s is of class %s, expected %s", function.c_str(), name.c_str(),
                  value.class_name().c_str(), expected);
    throw; // not reached
}

/// Sets one argument; `keeper` keeps what the call borrows until it has run.
void setArgument(mvx_call* call, const std::string& function, const std::string& name,
                 const octave_value& given, int color, octave_value& keeper)
{
    if (given.is_string()) {
        expectDone(mvx_set_text(call, name.c_str(), given.string_value().c_str()), call, function);
        return;
    }
    const int kind = mvx_kind(function.c_str(), name.c_str());
    const octave_value value = given.isstruct() ? rowsOf(given.scalar_map_value()) : given;
    if (value.is_zero_by_zero() && kind != MVX_IMAGE) return; // left out
    const Elements elements = elementsOf(value, keeper);
    const dim_vector sizes = keeper.dims();
    if (kind == MVX_IMAGE) {
        if (!elements.data || elements.type > MVX_REAL64)
            refuse(function, name, value, "logical, uint8, uint16, single or double");
        if (sizes.ndims() > 4) refuse(function, name, value, "at most rows x columns x channels x frames");
        mvx_samples samples { const_cast<void*>(elements.data), elements.type, color, {}, {} };
        describe(samples, sizes, elements.bytes, { 3, 0, 1, 2 });
        if (samples.size[0] == 1) samples.size[0] = 0;
        expectDone(mvx_set_image(call, name.c_str(), &samples), call, function);
        return;
    }
    if (!elements.data) refuse(function, name, value, "real numbers");
    if (sizes.ndims() > 4) refuse(function, name, value, "at most four dimensions");
    mvx_numbers numbers {
        const_cast<void*>(elements.data), elements.type, static_cast<int32_t>(sizes.ndims()), {}, {}
    };
    std::vector<int> order;
    for (int i = 0; i < sizes.ndims(); ++i) order.push_back(i);
    describe(numbers, sizes, elements.bytes, order);
    expectDone(mvx_set_numbers(call, name.c_str(), &numbers), call, function);
}

int colorOf(const std::string& name, const std::string& function)
{
    if (name == "gray") return MVX_GRAY;
    if (name == "RGB") return MVX_RGB;
    if (name == "unspecified") return MVX_UNSPECIFIED;
    error_with_id("miravex:argument", "%s: colorspace is \"%s\", expected one of gray, RGB, unspecified",
                  function.c_str(), name.c_str());
    return 0;
}

// --- results ----------------------------------------------------------------------------------------------

template <typename Array>
octave_value imageAs(const mvx_call* call, mvx_samples samples, const dim_vector& sizes)
{
    Array array(sizes);
    samples.data = array.fortran_vec();
    describe(samples, sizes, sizeof(*array.fortran_vec()), { 3, 0, 1, 2 });
    mvx_samples view;
    mvx_image(call, &view);
    samples.size[0] = view.size[0];
    mvx_copy(call, &samples);
    return array;
}

octave_value imageOf(const mvx_call* call)
{
    mvx_samples view;
    mvx_image(call, &view);
    const dim_vector sizes(view.size[1], view.size[2], view.size[3], std::max<int64_t>(view.size[0], 1));
    switch (view.type) {
    case MVX_BIT: return imageAs<boolNDArray>(call, view, sizes);
    case MVX_BYTE: return imageAs<uint8NDArray>(call, view, sizes);
    case MVX_BIT16: return imageAs<uint16NDArray>(call, view, sizes);
    case MVX_REAL32: return imageAs<FloatNDArray>(call, view, sizes);
    default: return imageAs<NDArray>(call, view, sizes);
    }
}

NDArray partOf(const mvx_call* call, int index, const mvx_numbers& numbers)
{
    dim_vector sizes(1, 1);
    if (numbers.rank > 2) sizes.resize(numbers.rank);
    for (int i = 0; i < numbers.rank; ++i) sizes(i) = numbers.size[i];
    NDArray array(sizes);
    mvx_copy_part(call, index, array.fortran_vec());
    return array;
}

std::string fieldOf(std::string name)
{
    for (char& letter : name)
        if (letter == '-') letter = '_';
    return name;
}

/// Rows of some columns as one cell per contour.
Cell cellsOf(const octave_scalar_map& table, const std::vector<std::string>& columns, const NDArray& lengths)
{
    Cell cells(lengths.numel(), 1);
    octave_idx_type first = 0;
    for (octave_idx_type i = 0; i < lengths.numel(); ++i) {
        const auto length = static_cast<octave_idx_type>(lengths(i));
        Matrix rows(length, static_cast<octave_idx_type>(columns.size()));
        for (std::size_t j = 0; j < columns.size(); ++j) {
            const NDArray column = table.contents(columns[j]).array_value();
            for (octave_idx_type k = 0; k < length; ++k)
                rows(k, static_cast<octave_idx_type>(j)) = column(first + k);
        }
        cells(i) = rows;
        first += length;
    }
    return cells;
}

/// Contours with their points or codes as cells, and the columns of the hierarchy.
octave_value contoursOf(const octave_scalar_map& groups)
{
    const octave_scalar_map contours = groups.contents("contours").isstruct()
        ? groups.contents("contours").scalar_map_value()
        : octave_scalar_map();
    const NDArray lengths = contours.contents("length").array_value();
    octave_scalar_map result;
    if (groups.isfield("points"))
        result.assign("points", cellsOf(groups.contents("points").scalar_map_value(), { "x", "y" }, lengths));
    if (groups.isfield("codes"))
        result.assign("codes", cellsOf(groups.contents("codes").scalar_map_value(), { "code" }, lengths));
    for (const char* name : { "next", "previous", "first_child", "parent" })
        if (contours.isfield(name)) result.assign(name, contours.contents(name));
    return result;
}

/// Parts as a struct of columns, as a struct of groups when there are several, or as the only array.
octave_value partsOf(const mvx_call* call)
{
    octave_scalar_map groups;
    mvx_part part;
    for (int i = 0; mvx_part_at(call, i, &part) == MVX_DONE; ++i) {
        const std::string group = fieldOf(part.group), name = fieldOf(part.name);
        const NDArray array = partOf(call, i, part.numbers);
        if (group == name) {
            groups.assign(group, array);
            continue;
        }
        octave_scalar_map table;
        if (groups.isfield(group)) table = groups.contents(group).scalar_map_value();
        table.assign(name, array);
        groups.assign(group, table);
    }
    if (groups.isfield("contours")) return contoursOf(groups);
    return groups.nfields() == 1 ? groups.contents(0) : octave_value(groups);
}

octave_value resultOf(const mvx_call* call)
{
    switch (mvx_result(call, nullptr)) {
    case MVX_IS_IMAGE: return imageOf(call);
    case MVX_IS_REAL: return mvx_real(call);
    default: return partsOf(call);
    }
}

// --- arguments --------------------------------------------------------------------------------------------

bool isName(const std::string& text, const string_vector& names)
{
    for (const char* option : { "convert", "positions", "colorspace" })
        if (text == option) return true;
    for (octave_idx_type i = 0; i < names.numel(); ++i)
        if (text == names[i]) return true;
    return false;
}

/// True where arguments by name begin: at a text that can't be the value of the argument whose turn it is, or
/// is a name where no value is required any more.
bool beginsNames(const octave_value& given, const std::string& function, const string_vector& names,
                 octave_idx_type next, int required)
{
    if (!given.is_string()) return false;
    if (mvx_kind(function.c_str(), names[next].c_str()) != MVX_TEXT) return true;
    const std::string text = given.string_value();
    return text == names[next] || (next >= required && isName(text, names));
}

octave_value_list called(const octave_value_list& args)
{
    const std::string function = args(0).string_value();
    const string_vector names = args(1).cellstr_value();
    const int required = args(2).int_value();
    const Cell given = args(3).cell_value();
    const octave_idx_type count = given.numel();

    const Call call(mvx_begin(function.c_str()));
    mvx_option(call.get(), "positions", "matrix");
    std::vector<std::pair<std::string, octave_value>> arguments;
    octave_idx_type next = 0;
    for (; next < count && next < names.numel(); ++next) {
        if (beginsNames(given(next), function, names, next, required)) break;
        arguments.emplace_back(names[next], given(next));
    }
    int color = MVX_USUAL;
    for (; next < count; next += 2) {
        if (!given(next).is_string() || next + 1 >= count)
            error_with_id("miravex:argument", "%s: expected arguments by name and value after the first %d",
                          function.c_str(), static_cast<int>(arguments.size()));
        const std::string name = given(next).string_value();
        const octave_value& value = given(next + 1);
        if (name == "colorspace")
            color = colorOf(value.xstring_value("%s: colorspace must be a text", function.c_str()), function);
        else if (name == "convert" || name == "positions")
            expectDone(
                mvx_option(
                    call.get(), name.c_str(),
                    value.xstring_value("%s: %s must be a text", function.c_str(), name.c_str()).c_str()),
                call.get(), function);
        else
            arguments.emplace_back(name, value);
    }
    std::vector<octave_value> keepers(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i)
        setArgument(call.get(), function, arguments[i].first, arguments[i].second, color, keepers[i]);
    const auto isInterrupted = [](void*) { return octave_interrupt_state > 0 ? 1 : 0; };
    const int status = mvx_run_watched(call.get(), isInterrupted, nullptr);
    OCTAVE_QUIT; // raises an interrupt that came during the call
    expectDone(status, call.get(), function);
    if (*mvx_notes(call.get()))
        warning_with_id("miravex:converted", "%s: %s", function.c_str(), mvx_notes(call.get()));
    return ovl(resultOf(call.get()));
}

octave_value_list loaded(const octave_value_list& args)
{
    const string_vector paths = args(0).cellstr_value();
    const octave_scalar_map options = args(1).scalar_map_value();
    const std::string color = options.contents("color").string_value();
    const std::string onError = options.contents("on_error").string_value();
    const FloatNDArray mean = options.contents("mean").float_array_value();
    const FloatNDArray deviation = options.contents("std").float_array_value();
    mvx_batch batch {};
    batch.height = options.contents("height").int64_value();
    batch.width = options.contents("width").int64_value();
    batch.color_space = color.c_str();
    batch.on_error = onError == "skip" ? MVX_SKIP : onError == "stop" ? MVX_STOP : MVX_FILL;
    batch.mean_count = mean.numel();
    batch.mean = mean.data();
    batch.deviation_count = deviation.numel();
    batch.deviation = deviation.data();
    batch.progress = [](void*, int64_t, int64_t) { return octave_interrupt_state > 0 ? 1 : 0; };
    const int64_t channels = color == "Grayscale" ? 1 : 3;
    if (batch.height < 1 || batch.width < 1)
        error_with_id("miravex:argument", "load_images: height and width must be at least 1");

    std::vector<std::string> texts;
    std::vector<const char*> names;
    for (octave_idx_type i = 0; i < paths.numel(); ++i) texts.push_back(paths[i]);
    for (const std::string& text : texts) names.push_back(text.c_str());
    FloatNDArray slots(dim_vector(batch.width, batch.height, channels, paths.numel()));
    const Call call(mvx_load_images(&batch, paths.numel(), names.data(), slots.fortran_vec()));
    expectDone(mvx_run(call.get()), call.get(), "load_images");
    OCTAVE_QUIT;
    octave_scalar_map report = partsOf(call.get()).scalar_map_value();
    report.assign("reasons", std::string(mvx_notes(call.get())));
    return ovl(slots, report);
}

} // namespace

DEFUN_DLD(__miravex__, args, , "-*- texinfo -*-\n\
@deftypefn {} {@var{result} =} __miravex__ (@var{operation}, @var{names}, @var{required}, @var{arguments})\n\
@deftypefnx {} {[@var{batch}, @var{report}] =} __miravex__ (@var{paths}, @var{options})\n\
@deftypefnx {} {@var{json} =} __miravex__ ()\n\
Calls an operation: the first @var{required} of the cell @var{arguments} are values in the order of \
@var{names}, those that follow too until one of them is a name, then names and values.  Names may begin earlier \
where no text is wanted.\n\
\n\
Or loads files into a single array of columns x rows x channels x files, as @code{miravex.load_images} does; or \
gives all records as JSON.\n\
@end deftypefn")
{
    if (args.length() == 4) return called(args);
    if (args.length() == 2) return loaded(args);
    if (args.length() != 0) print_usage();
    const char* text = mvx_catalogue();
    return ovl(text ? text : "");
}
