/* The door between R and libmiravex_host: functions of the package stand on C_call and C_load_images, which
 * no user calls. Plain C, as errors of R jump: whatever a call holds is freed by finish(), which R runs in
 * any case. */

#define R_NO_REMAP
#include <R.h>
#include <R_ext/Rdynload.h>
#include <R_ext/Utils.h>
#include <Rinternals.h>

#include <miravex/miravex_host.h>

#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Everything of one call. */
struct task {
    const char* operation;
    SEXP arguments, convert, positions, colorspace, pixels;
    int color;
    SEXP first; /* the first image that was given, whose form results take; NULL before one is */
    mvx_call* call;
    int stopped; /* a batch, by the user */
    SEXP unwinding; /* how R goes on with what interrupted the call */
    float* slots; /* of a batch */
};

/* --- what R is told ----------------------------------------------------------------------------------- */

static SEXP text(const char* words) { return Rf_ScalarString(Rf_mkCharCE(words, CE_UTF8)); }

/* A condition of this kind, by a function of R/conditions.R; errors do not return. */
static void tell(const char* function, const struct task* task, const char* argument, const char* message)
{
    SEXP words = PROTECT(Rf_allocVector(VECSXP, 3));
    SET_VECTOR_ELT(words, 0, text(task->operation));
    SET_VECTOR_ELT(words, 1, text(argument));
    SET_VECTOR_ELT(words, 2, text(message));
    SEXP name = PROTECT(text("miravex"));
    SEXP namespace = PROTECT(R_FindNamespace(name));
    SEXP call = PROTECT(
        Rf_lang4(Rf_install(function), VECTOR_ELT(words, 0), VECTOR_ELT(words, 1), VECTOR_ELT(words, 2)));
    Rf_eval(call, namespace);
    UNPROTECT(4);
}

static void fail(int status, const struct task* task)
{
    if (status == MVX_DONE) return;
    if (status == MVX_STOPPED) R_ContinueUnwind(task->unwinding);
    tell(status == MVX_REFUSED ? "refused" : "failed", task, mvx_refused(task->call), mvx_error(task->call));
}

static void refuse(const struct task* task, const char* name, const char* is, const char* expected)
{
    char message[512];
    snprintf(message, sizeof message, "%s %s, expected %s", name, is, expected);
    tell("refused", task, name, message);
}

static SEXP check(void* unused)
{
    (void)unused;
    R_CheckUserInterrupt();
    return R_NilValue;
}

static void leave(void* place, Rboolean jumps)
{
    if (jumps) longjmp(*(jmp_buf*)place, 1);
}

/* True when the user, or a limit of time, interrupts R. The jump that R makes then ends here, since the
 * library is beneath, and is taken up by fail(). */
static int interrupted(void* data)
{
    struct task* task = data;
    jmp_buf here;
    if (setjmp(here)) return 1;
    R_UnwindProtect(check, NULL, leave, &here, task->unwinding);
    return 0;
}

static int batch_interrupted(void* data, int64_t done, int64_t files)
{
    (void)done;
    (void)files;
    struct task* task = data;
    return task->stopped = interrupted(task);
}

/* --- arguments -------------------------------------------------------------------------------------- */

/* Sizes and steps of an array that keeps its first index together. */
struct shape {
    int rank;
    int64_t size[4], stride[4]; /* in elements */
};

static struct shape shape_of(const struct task* task, const char* name, SEXP array)
{
    struct shape shape = { 1, { 1, 1, 1, 1 }, { 0 } };
    SEXP sizes = Rf_getAttrib(array, R_DimSymbol);
    if (sizes == R_NilValue) {
        shape.size[0] = Rf_xlength(array);
    } else {
        if (LENGTH(sizes) > 4) refuse(task, name, "has more than four dimensions", "at most four");
        shape.rank = LENGTH(sizes);
        for (int i = 0; i < shape.rank; ++i) shape.size[i] = INTEGER(sizes)[i];
    }
    int64_t stride = 1;
    for (int i = 0; i < 4; ++i) {
        shape.stride[i] = stride;
        stride *= shape.size[i];
    }
    return shape;
}

/* What the samples of an image are: its `pixels`, or what its type suggests. */
static int pixels_of(const struct task* task, const char* name, SEXP image)
{
    static const char* const names[] = { "bit", "byte", "bit16", "real32", "real" };
    const char* wanted = NULL;
    if (task->pixels != R_NilValue) {
        if (TYPEOF(task->pixels) != STRSXP)
            refuse(task, "pixels", "is no text", "bit, byte, bit16, real32 or real");
        SEXP of = Rf_getAttrib(task->pixels, R_NamesSymbol);
        for (R_xlen_t i = 0; i < Rf_xlength(task->pixels); ++i)
            if (of == R_NilValue || !strcmp(CHAR(STRING_ELT(of, i)), name))
                wanted = CHAR(STRING_ELT(task->pixels, i));
    }
    if (!wanted) {
        switch (TYPEOF(image)) {
        case LGLSXP: return MVX_BIT;
        case REALSXP: return MVX_REAL64;
        default: return MVX_BYTE;
        }
    }
    for (int i = 0; i < 5; ++i)
        if (!strcmp(wanted, names[i])) return i;
    refuse(task, "pixels", "is something else", "bit, byte, bit16, real32 or real");
    return 0;
}

/* Whole numbers of 0 to `most` as bytes or 16-bit samples; false when there are others. */
#define NARROWED(from_type, to_type)                                                                         \
    static int narrowed_##from_type##_##to_type(const from_type* from, R_xlen_t count, from_type most,       \
                                                to_type* to)                                                 \
    {                                                                                                        \
        int others = 0;                                                                                      \
        for (R_xlen_t i = 0; i < count; ++i) {                                                               \
            const int fits = from[i] >= 0 && from[i] <= most;                                                \
            to[i] = (to_type)(fits ? from[i] : 0);                                                           \
            others |= !fits | (fits & ((from_type)to[i] != from[i]));                                        \
        }                                                                                                    \
        return !others;                                                                                      \
    }
NARROWED(int, uint8_t)
NARROWED(int, uint16_t)
NARROWED(double, uint8_t)
NARROWED(double, uint16_t)

/* The samples of an image as this type; those of another are copied until the call of R ends. */
static void* samples_as(const struct task* task, const char* name, SEXP image, int type)
{
    static const int most[] = { 1, 255, 65535 };
    const R_xlen_t count = Rf_xlength(image);
    const int from = TYPEOF(image);
    if (type == MVX_REAL64 || type == MVX_REAL32) {
        if (from != REALSXP) refuse(task, name, "has no doubles", "doubles for pixels of reals");
        if (type == MVX_REAL64) return REAL(image);
        float* floats = (float*)R_alloc((size_t)count, sizeof *floats);
        for (R_xlen_t i = 0; i < count; ++i) floats[i] = (float)REAL(image)[i];
        return floats;
    }
    if (from == RAWSXP && type == MVX_BYTE) return RAW(image);
    int fits = 0;
    void* samples = R_alloc((size_t)count, type == MVX_BIT16 ? 2 : 1);
    if (from == REALSXP)
        fits = type == MVX_BIT16 ? narrowed_double_uint16_t(REAL(image), count, most[type], samples)
                                 : narrowed_double_uint8_t(REAL(image), count, most[type], samples);
    else if (from == RAWSXP) {
        fits = 1;
        for (R_xlen_t i = 0; i < count; ++i) {
            fits &= RAW(image)[i] <= most[type];
            if (type == MVX_BIT16)
                ((uint16_t*)samples)[i] = RAW(image)[i];
            else
                ((uint8_t*)samples)[i] = RAW(image)[i];
        }
    } else {
        const int* integers = from == LGLSXP ? LOGICAL(image) : INTEGER(image);
        fits = type == MVX_BIT16 ? narrowed_int_uint16_t(integers, count, most[type], samples)
                                 : narrowed_int_uint8_t(integers, count, most[type], samples);
    }
    if (!fits)
        refuse(task, name, "holds others or NA",
               type == MVX_BIT         ? "TRUE and FALSE, or 0 and 1"
                   : type == MVX_BIT16 ? "whole numbers from 0 to 65535"
                                       : "whole numbers from 0 to 255 (16 bits with pixels = \"bit16\")");
    return samples;
}

/* magick's pictures: raw, channels x columns x rows. */
static int is_bitmap(SEXP image) { return TYPEOF(image) == RAWSXP && Rf_inherits(image, "bitmap"); }

static void set_image(struct task* task, const char* name, SEXP image)
{
    if (!task->first) task->first = image;
    const struct shape shape = shape_of(task, name, image);
    if (shape.rank < 2) refuse(task, name, "is a vector", "rows x columns, x channels, x frames");
    mvx_samples samples;
    memset(&samples, 0, sizeof samples);
    samples.type = pixels_of(task, name, image);
    samples.color = task->color;
    samples.data = samples_as(task, name, image, samples.type);
    static const int plain[] = { 3, 0, 1, 2 }, bitmap[] = { 3, 2, 1, 0 };
    const int* order = is_bitmap(image) ? bitmap : plain;
    static const int bytes[] = { 1, 1, 2, 4, 8 };
    for (int i = 0; i < 4; ++i) {
        samples.size[i] = shape.size[order[i]];
        samples.step[i] = shape.stride[order[i]] * bytes[samples.type];
    }
    if (shape.rank < 4) samples.size[0] = 0;
    fail(mvx_set_image(task->call, name, &samples), task);
}

/* The columns of a data frame side by side. */
static SEXP bound(const struct task* task, const char* name, SEXP table)
{
    const int columns = LENGTH(table);
    const R_xlen_t rows = columns ? Rf_xlength(VECTOR_ELT(table, 0)) : 0;
    SEXP matrix = PROTECT(Rf_allocMatrix(REALSXP, (int)rows, columns));
    for (int j = 0; j < columns; ++j) {
        SEXP column = VECTOR_ELT(table, j);
        if (!Rf_isNumeric(column) || Rf_xlength(column) != rows)
            refuse(task, name, "is a list", "a data frame of numbers");
        column = PROTECT(Rf_coerceVector(column, REALSXP));
        memcpy(REAL(matrix) + j * rows, REAL(column), (size_t)rows * sizeof(double));
        UNPROTECT(1);
    }
    UNPROTECT(1);
    return matrix;
}

static void set_numbers(const struct task* task, const char* name, SEXP given)
{
    const int type = TYPEOF(given);
    const struct shape shape = shape_of(task, name, given);
    mvx_numbers numbers;
    memset(&numbers, 0, sizeof numbers);
    numbers.rank = shape.rank;
    int bytes = 4;
    numbers.type = MVX_INT32;
    if (type == REALSXP) {
        numbers.data = REAL(given);
        numbers.type = MVX_REAL64;
        bytes = 8;
        if (shape.size[0] == 1 && shape.rank == 1 && R_IsNA(REAL(given)[0]))
            refuse(task, name, "is NA", "a number");
    } else if (type == RAWSXP) {
        numbers.data = RAW(given);
        numbers.type = MVX_BYTE;
        bytes = 1;
    } else {
        int* integers = type == LGLSXP ? LOGICAL(given) : INTEGER(given);
        for (R_xlen_t i = 0; i < Rf_xlength(given); ++i)
            if (integers[i] == NA_INTEGER)
                refuse(task, name, Rf_xlength(given) == 1 ? "is NA" : "holds NA", "numbers");
        numbers.data = integers;
    }
    for (int i = 0; i < shape.rank; ++i) {
        numbers.size[i] = shape.size[i];
        numbers.step[i] = shape.stride[i] * bytes;
    }
    fail(mvx_set_numbers(task->call, name, &numbers), task);
}

static void set_text(const struct task* task, const char* name, SEXP given)
{
    if (LENGTH(given) != 1 || STRING_ELT(given, 0) == NA_STRING)
        refuse(task, name, "is no single text", "one text");
    const char* words = Rf_translateChar(STRING_ELT(given, 0));
    fail(mvx_set_text(task->call, name, words[0] == '~' ? R_ExpandFileName(words) : words), task);
}

static void set_argument(struct task* task, const char* name, SEXP given)
{
    switch (TYPEOF(given)) {
    case NILSXP: return; /* left out */
    case STRSXP: set_text(task, name, given); return;
    case VECSXP: {
        SEXP matrix = PROTECT(bound(task, name, given));
        set_numbers(task, name, matrix); /* which copies */
        UNPROTECT(1);
        return;
    }
    case LGLSXP:
    case INTSXP:
    case REALSXP:
    case RAWSXP: break;
    default: refuse(task, name, "has another type", "logical, raw, integer or double");
    }
    if (Rf_isFactor(given)) refuse(task, name, "is a factor", "numbers");
    if (mvx_kind(task->operation, name) == MVX_IMAGE)
        set_image(task, name, given);
    else
        set_numbers(task, name, given);
}

/* --- results ---------------------------------------------------------------------------------------- */

static SEXP image_of(const struct task* task)
{
    mvx_samples view;
    mvx_image(task->call, &view);
    const int as_raw = view.type == MVX_BYTE && task->first && TYPEOF(task->first) == RAWSXP;
    const int as_bitmap = as_raw && is_bitmap(task->first) && view.size[0] == 0;
    const int rank = view.size[0] > 0 ? 4 : as_bitmap || view.size[3] > 1 ? 3 : 2;
    static const int plain[] = { 1, 2, 3, 0 }, bitmap[] = { 3, 2, 1, 0 };
    const int* order = as_bitmap ? bitmap : plain;
    R_xlen_t count = 1;
    SEXP sizes = PROTECT(Rf_allocVector(INTSXP, rank));
    for (int i = 0; i < rank; ++i) {
        INTEGER(sizes)[i] = (int)view.size[order[i]];
        count *= view.size[order[i]];
    }

    static const int types[] = { LGLSXP, INTSXP, INTSXP, REALSXP, REALSXP };
    SEXP array = PROTECT(Rf_allocVector(as_raw ? RAWSXP : (SEXPTYPE)types[view.type], count));
    const int narrow = !as_raw && view.type <= MVX_BIT16;
    const int64_t bytes = view.type >= MVX_REAL32 ? 8 : view.type == MVX_BIT16 ? 2 : 1;
    int* integers = NULL;
    mvx_samples to = view;
    if (narrow) {
        integers = view.type == MVX_BIT ? LOGICAL(array) : INTEGER(array);
        /* in the last part of the array, from which they are spread over all of it */
        to.data = (char*)integers + count * (4 - bytes);
    } else {
        to.data = as_raw ? (void*)RAW(array) : (void*)REAL(array);
        if (view.type == MVX_REAL32) to.type = MVX_REAL64;
    }
    int64_t step = bytes;
    for (int i = 0; i < 4; ++i) {
        to.step[order[i]] = step;
        step *= order[i] == 0 ? 1 : view.size[order[i]];
    }
    fail(mvx_copy(task->call, &to), task);
    if (narrow && view.type == MVX_BIT16)
        for (R_xlen_t i = 0; i < count; ++i) {
            uint16_t sample;
            memcpy(&sample, (const char*)to.data + 2 * i, 2);
            integers[i] = sample;
        }
    else if (narrow)
        for (R_xlen_t i = 0; i < count; ++i) integers[i] = ((const unsigned char*)to.data)[i];
    Rf_setAttrib(array, R_DimSymbol, sizes);
    if (as_bitmap) Rf_setAttrib(array, R_ClassSymbol, Rf_getAttrib(task->first, R_ClassSymbol));
    UNPROTECT(2);
    return array;
}

static SEXP part_of(const struct task* task, int index, const mvx_numbers* numbers)
{
    R_xlen_t count = 1;
    for (int i = 0; i < numbers->rank; ++i) count *= numbers->size[i];
    SEXP array = PROTECT(Rf_allocVector(REALSXP, count));
    fail(mvx_copy_part(task->call, index, REAL(array)), task);
    if (numbers->rank > 1) {
        SEXP sizes = PROTECT(Rf_allocVector(INTSXP, numbers->rank));
        for (int i = 0; i < numbers->rank; ++i) INTEGER(sizes)[i] = (int)numbers->size[i];
        Rf_setAttrib(array, R_DimSymbol, sizes);
        UNPROTECT(1);
    }
    UNPROTECT(1);
    return array;
}

/* A name with underscores. */
static SEXP name_of(const char* name)
{
    char letters[64];
    snprintf(letters, sizeof letters, "%s", name);
    for (char* letter = letters; *letter; ++letter)
        if (*letter == '-') *letter = '_';
    return Rf_mkChar(letters);
}

/* The parts from `first` to before `end`, which share a group: a data frame of columns or a list of arrays,
 * and the array itself where it stands for the group. */
static SEXP group_of(const struct task* task, int first, int end)
{
    mvx_part part;
    mvx_part_at(task->call, first, &part);
    if (!strcmp(part.group, part.name)) return part_of(task, first, &part.numbers);
    SEXP table = PROTECT(Rf_allocVector(VECSXP, end - first));
    SEXP names = PROTECT(Rf_allocVector(STRSXP, end - first));
    const int64_t rows = part.numbers.size[0];
    int is_table = 1;
    for (int i = first; i < end; ++i) {
        mvx_part_at(task->call, i, &part);
        SET_VECTOR_ELT(table, i - first, part_of(task, i, &part.numbers));
        SET_STRING_ELT(names, i - first, name_of(part.name));
        is_table &= part.numbers.rank == 1 && part.numbers.size[0] == rows;
    }
    Rf_setAttrib(table, R_NamesSymbol, names);
    if (is_table) {
        SEXP numbered = PROTECT(Rf_allocVector(INTSXP, 2)); /* how R writes row names 1 to n */
        INTEGER(numbered)[0] = NA_INTEGER;
        INTEGER(numbered)[1] = -(int)rows;
        Rf_setAttrib(table, R_RowNamesSymbol, numbered);
        SEXP class = PROTECT(text("data.frame"));
        Rf_setAttrib(table, R_ClassSymbol, class);
        UNPROTECT(2);
    }
    UNPROTECT(2);
    return table;
}

/* Groups by their names; the only one stands for itself. */
static SEXP parts_of(const struct task* task)
{
    const int count = mvx_parts(task->call);
    SEXP groups = PROTECT(Rf_allocVector(VECSXP, count));
    SEXP names = PROTECT(Rf_allocVector(STRSXP, count));
    int found = 0, has_contours = 0;
    for (int first = 0; first < count;) {
        mvx_part part, next;
        mvx_part_at(task->call, first, &part);
        int end = first + 1;
        while (mvx_part_at(task->call, end, &next) == MVX_DONE && !strcmp(next.group, part.group)) ++end;
        SET_VECTOR_ELT(groups, found, group_of(task, first, end));
        SET_STRING_ELT(names, found, name_of(part.group));
        has_contours |= !strcmp(part.group, "contours");
        ++found;
        first = end;
    }
    SEXP result = PROTECT(found == 1 ? VECTOR_ELT(groups, 0) : Rf_lengthgets(groups, found));
    if (found != 1) {
        SEXP kept = PROTECT(Rf_lengthgets(names, found));
        Rf_setAttrib(result, R_NamesSymbol, kept);
        UNPROTECT(1);
    }
    if (has_contours) {
        SEXP package = PROTECT(text("miravex"));
        SEXP namespace = PROTECT(R_FindNamespace(package));
        SEXP call = PROTECT(Rf_lang2(Rf_install("as_contours"), result));
        result = Rf_eval(call, namespace);
        UNPROTECT(3);
    }
    UNPROTECT(3);
    return result;
}

static SEXP result_of(const struct task* task)
{
    switch (mvx_result(task->call, NULL)) {
    case MVX_IS_IMAGE: return image_of(task);
    case MVX_IS_REAL: return Rf_ScalarReal(mvx_real(task->call));
    default: return parts_of(task);
    }
}

/* --- calls ------------------------------------------------------------------------------------------ */

static void finish(void* data)
{
    struct task* task = data;
    mvx_end(task->call);
    free(task->slots);
}

static void set_option(const struct task* task, const char* name, SEXP value)
{
    if (value == R_NilValue) return;
    if (TYPEOF(value) != STRSXP || LENGTH(value) != 1) refuse(task, name, "is no single text", "one text");
    fail(mvx_option(task->call, name, CHAR(STRING_ELT(value, 0))), task);
}

static int color_of(const struct task* task)
{
    if (task->colorspace == R_NilValue) return MVX_USUAL;
    const char* name = TYPEOF(task->colorspace) == STRSXP && LENGTH(task->colorspace) == 1
        ? CHAR(STRING_ELT(task->colorspace, 0))
        : "";
    if (!strcmp(name, "gray")) return MVX_GRAY;
    if (!strcmp(name, "RGB")) return MVX_RGB;
    if (!strcmp(name, "unspecified")) return MVX_UNSPECIFIED;
    refuse(task, "colorspace", "is something else", "one of gray, RGB, unspecified");
    return 0;
}

static SEXP perform(void* data)
{
    struct task* task = data;
    task->call = mvx_begin(task->operation);
    set_option(task, "positions", task->positions);
    set_option(task, "convert", task->convert);
    task->color = color_of(task);
    SEXP names = Rf_getAttrib(task->arguments, R_NamesSymbol);
    for (int i = 0; i < LENGTH(task->arguments); ++i)
        set_argument(task, CHAR(STRING_ELT(names, i)), VECTOR_ELT(task->arguments, i));
    task->unwinding = PROTECT(R_MakeUnwindCont());
    fail(mvx_run_watched(task->call, interrupted, task), task);
    SEXP result = PROTECT(result_of(task));
    if (*mvx_notes(task->call)) tell("converted", task, "", mvx_notes(task->call));
    UNPROTECT(2);
    return result;
}

/* Runs an operation on a named list of arguments, of which those that are NULL are left out. */
static SEXP call(SEXP operation, SEXP arguments, SEXP convert, SEXP positions, SEXP colorspace, SEXP pixels)
{
    struct task task;
    memset(&task, 0, sizeof task);
    task.operation = CHAR(STRING_ELT(operation, 0));
    task.arguments = arguments;
    task.convert = convert;
    task.positions = positions;
    task.colorspace = colorspace;
    task.pixels = pixels;
    return R_ExecWithCleanup(perform, &task, finish, &task);
}

struct batch_task {
    struct task task;
    SEXP paths, mean, deviation;
    mvx_batch batch;
};

/* Numbers as floats, until the call of R ends. */
static float* floats_of(SEXP numbers)
{
    float* floats = (float*)R_alloc((size_t)Rf_xlength(numbers), sizeof *floats);
    for (R_xlen_t i = 0; i < Rf_xlength(numbers); ++i) floats[i] = (float)REAL(numbers)[i];
    return floats;
}

static SEXP load(void* data)
{
    struct batch_task* all = data;
    struct task* task = &all->task;
    mvx_batch* batch = &all->batch;
    const int64_t files = Rf_xlength(all->paths);
    const int64_t channels = strcmp(batch->color_space, "Grayscale") ? 3 : 1;
    const int64_t plane = batch->height * batch->width;
    const char** names = (const char**)R_alloc((size_t)files, sizeof *names);
    for (int64_t i = 0; i < files; ++i) {
        const char* path = R_ExpandFileName(Rf_translateChar(STRING_ELT(all->paths, i)));
        names[i] = strcpy(R_alloc(strlen(path) + 1, 1), path);
    }
    batch->mean_count = Rf_xlength(all->mean);
    batch->mean = floats_of(all->mean);
    batch->deviation_count = Rf_xlength(all->deviation);
    batch->deviation = floats_of(all->deviation);
    batch->progress = batch_interrupted;
    batch->context = task;
    task->slots = calloc((size_t)(files * plane * channels) + 1, sizeof *task->slots);
    if (!task->slots) tell("failed", task, "", "there is not enough memory");
    task->unwinding = PROTECT(R_MakeUnwindCont());
    task->call = mvx_load_images(batch, files, names, task->slots);
    fail(task->stopped ? MVX_STOPPED : mvx_run(task->call), task);

    SEXP result = PROTECT(Rf_allocVector(VECSXP, 3));
    SEXP parts = PROTECT(parts_of(task));
    SEXP counts = VECTOR_ELT(parts, 1); /* failed, then batch: files, slots, stopped */
    const int64_t filled = (int64_t)REAL(VECTOR_ELT(counts, 1))[0];
    SEXP images = PROTECT(Rf_allocVector(REALSXP, filled * channels * plane));
    double* to = REAL(images);
    for (int64_t i = 0; i < filled * channels; ++i)
        for (int64_t column = 0; column < batch->width; ++column)
            for (int64_t row = 0; row < batch->height; ++row)
                *to++ = task->slots[i * plane + row * batch->width + column];
    SEXP sizes = PROTECT(Rf_allocVector(INTSXP, 4));
    INTEGER(sizes)[0] = (int)batch->height;
    INTEGER(sizes)[1] = (int)batch->width;
    INTEGER(sizes)[2] = (int)channels;
    INTEGER(sizes)[3] = (int)filled;
    Rf_setAttrib(images, R_DimSymbol, sizes);
    SET_VECTOR_ELT(result, 0, images);
    SET_VECTOR_ELT(result, 1, VECTOR_ELT(parts, 0));
    SET_VECTOR_ELT(result, 2, text(mvx_notes(task->call)));
    UNPROTECT(5);
    return result;
}

/* Loads files: a list of the images, the positions of files that failed, and why. */
static SEXP load_images(SEXP paths, SEXP size, SEXP color, SEXP mean, SEXP deviation, SEXP on_error)
{
    struct batch_task all;
    memset(&all, 0, sizeof all);
    all.task.operation = "load_images";
    all.paths = paths;
    all.mean = mean;
    all.deviation = deviation;
    all.batch.height = INTEGER(size)[0];
    all.batch.width = INTEGER(size)[1];
    all.batch.color_space = CHAR(STRING_ELT(color, 0));
    all.batch.on_error = INTEGER(on_error)[0];
    return R_ExecWithCleanup(load, &all, finish, &all.task);
}

static SEXP catalogue(void) { return text(mvx_catalogue()); }

void R_init_miravex(DllInfo* library)
{
    static const R_CallMethodDef functions[] = { { "call", (DL_FUNC)call, 6 },
                                                 { "load_images", (DL_FUNC)load_images, 6 },
                                                 { "catalogue", (DL_FUNC)catalogue, 0 },
                                                 { NULL, NULL, 0 } };
    R_registerRoutines(library, NULL, functions, NULL, NULL);
    R_useDynamicSymbols(library, FALSE);
    R_forceSymbols(library, TRUE);
}
