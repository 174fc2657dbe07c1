/* The door between PARI/GP and libmiravex_host, on which operations.c stands: the functions that are made
 * from the records, which include this file. Errors and interrupts of PARI jump: nothing of the door runs
 * where they may, and what a jump leaves behind is freed by the next call on the same thread. */

#include <math.h>
#include <miravex/miravex_host.h>
#include <pari/pari.h>
#include <stdlib.h>
#include <string.h>

/* What an argument that is an image takes for numbers of GP, as the door's types. */
struct picture {
    const char* name; /* NULL behind the last */
    int is_sequence;
    int integers, reals;
};

enum { most_buffers = 64 };

/* What the call on this thread holds. */
static __thread struct {
    mvx_call* call;
    void* buffers[most_buffers];
    int buffer_count;
    char columns[512]; /* of the last result, with commas */
} held;

/* One of the door's functions, which no interrupt may leave. */
#define DOOR(statement)                                                                                      \
    BLOCK_SIGINT_START                                                                                       \
    statement;                                                                                               \
    BLOCK_SIGINT_END

static void free_buffers(void)
{
    while (held.buffer_count > 0) free(held.buffers[--held.buffer_count]);
}

static void release(void) { DOOR(mvx_end(held.call); held.call = NULL; free_buffers()) }

/* Raises an error of these words, behind the name of the function. */
static void refuse(const char* name, const char* is, const char* expected)
{
    pari_err(e_MISC, "%s %s, expected %s", name, is, expected);
}

static void expect(int status)
{
    if (status == MVX_DONE) return;
    GEN words = strtoGENstr(mvx_error(held.call));
    release();
    pari_err(e_MISC, "%s", GSTR(words));
}

/* Memory until the run is over. */
static void* buffer(size_t bytes)
{
    void* memory = NULL;
    if (held.buffer_count == most_buffers) pari_err(e_MISC, "too many arguments");
    DOOR(memory = malloc(bytes > 0 ? bytes : 1); if (memory) held.buffers[held.buffer_count++] = memory)
    if (!memory) pari_err(e_MEM);
    return memory;
}

/* --- numbers ---------------------------------------------------------------------------------------- */

static int is_number(GEN x)
{
    const long type = typ(x);
    return type == t_INT || type == t_REAL || type == t_FRAC || type == t_INFINITY
        || (type == t_STR && !strcmp(GSTR(x), "NaN"));
}

static int is_small(GEN x) { return typ(x) == t_INT && !is_bigint(x); }

static double real_of(GEN x)
{
    switch (typ(x)) {
    case t_INFINITY: return inf_get_sign(x) * INFINITY;
    case t_STR: return NAN;
    case t_REAL:
    case t_INT:
        if (gexpo(x) >= 1024) return gsigne(x) * INFINITY;
        /* fall through */
    default: return gtodouble(x);
    }
}

/* Numbers of a GEN: its sizes, and where the next of them goes. */
struct cells {
    mvx_numbers numbers;
    int64_t next;
    int are_integers;
};

static int is_list(GEN x) { return typ(x) == t_VEC || typ(x) == t_COL; }

/* The sizes of numbers, vectors, matrices, vectors of equal vectors (rows), and vectors of equal matrices,
 * which lie along the last dimension. False for others. */
static int shape_of(GEN x, mvx_numbers* numbers)
{
    memset(numbers, 0, sizeof *numbers);
    if (typ(x) == t_MAT || typ(x) == t_VECSMALL) {
        const int rank = typ(x) == t_MAT ? 2 : 1;
        numbers->rank = rank;
        numbers->size[0] = rank == 2 ? nbrows(x) : lg(x) - 1;
        numbers->size[1] = lg(x) - 1;
        numbers->step[0] = 8;
        numbers->step[1] = 8 * numbers->size[0];
        return 1;
    }
    if (!is_list(x)) return is_number(x);
    const long count = lg(x) - 1;
    if (count == 0 || is_number(gel(x, 1))) {
        numbers->rank = 1;
        numbers->size[0] = count;
        numbers->step[0] = 8;
        return 1;
    }
    mvx_numbers first, other;
    if (!shape_of(gel(x, 1), &first) || first.rank == 3) return 0;
    for (long i = 2; i <= count; ++i)
        if (!shape_of(gel(x, i), &other) || memcmp(&first, &other, sizeof first)) return 0;
    *numbers = first;
    const int axis = first.rank == 1 ? 0 : 2;
    int64_t length = 1;
    for (int i = 0; i < first.rank; ++i) length *= first.size[i];
    if (axis == 0) {
        numbers->size[1] = first.size[0];
        numbers->step[1] = 8;
    }
    numbers->size[axis] = count;
    numbers->step[axis] = 8 * length;
    numbers->rank = first.rank + 1;
    return 1;
}

/* Writes all numbers in the order of GP; false where there is something else. */
static int fill(GEN x, struct cells* cells)
{
    int64_t* const integers = cells->numbers.data;
    double* const reals = cells->numbers.data;
    if (typ(x) == t_VECSMALL) {
        for (long i = 1; i < lg(x); ++i, ++cells->next)
            if (cells->are_integers)
                integers[cells->next] = x[i];
            else
                reals[cells->next] = (double)x[i];
        return 1;
    }
    if (typ(x) == t_MAT || is_list(x)) {
        for (long i = 1; i < lg(x); ++i)
            if (!fill(gel(x, i), cells)) return 0;
        return 1;
    }
    if (!is_number(x) || (cells->are_integers && !is_small(x))) return 0;
    if (cells->are_integers)
        integers[cells->next++] = itos(x);
    else
        reals[cells->next++] = real_of(x);
    return 1;
}

static void set_numbers(const char* name, GEN x)
{
    int status = MVX_DONE;
    if (is_small(x)) {
        DOOR(status = mvx_set_integer(held.call, name, itos(x)))
    } else if (is_number(x)) {
        const double real = real_of(x);
        DOOR(status = mvx_set_real(held.call, name, real))
    } else {
        struct cells cells;
        if (!shape_of(x, &cells.numbers))
            refuse(name, "is something else", "numbers, or vectors or matrices of them");
        size_t count = 1;
        for (int i = 0; i < cells.numbers.rank; ++i) count *= (size_t)cells.numbers.size[i];
        cells.numbers.data = buffer(count * sizeof(double));
        for (cells.are_integers = 1; cells.are_integers >= 0; --cells.are_integers) {
            cells.next = 0;
            cells.numbers.type = cells.are_integers ? MVX_INT64 : MVX_REAL64;
            if (fill(x, &cells)) break;
        }
        if (cells.are_integers < 0) refuse(name, "holds something else", "numbers");
        DOOR(status = mvx_set_numbers(held.call, name, &cells.numbers))
    }
    expect(status);
}

/* --- images ----------------------------------------------------------------------------------------- */

/* Writes the samples of a matrix column by column; 0 when one is not whole, -1 when it is beyond the type. */
static int fill_plane(GEN plane, int type, char* to)
{
    static const ulong most[] = { 1, 255, 65535 };
    for (long j = 1; j < lg(plane); ++j) {
        GEN column = gel(plane, j);
        for (long i = 1; i < lg(column); ++i) {
            if (type >= MVX_REAL32) {
                if (!is_number(gel(column, i))) return -1;
                const double real = real_of(gel(column, i));
                if (type == MVX_REAL64)
                    memcpy(to, &real, 8), to += 8;
                else {
                    const float narrow = (float)real;
                    memcpy(to, &narrow, 4), to += 4;
                }
                continue;
            }
            GEN x = gel(column, i);
            if (typ(x) != t_INT) return 0;
            if (signe(x) < 0 || lgefint(x) > 3) return -1;
            const ulong sample = signe(x) ? (ulong)x[2] : 0;
            if (sample > most[type]) return -1;
            if (type == MVX_BIT16) {
                const uint16_t wide = (uint16_t)sample;
                memcpy(to, &wide, 2), to += 2;
            } else {
                *to++ = (char)sample;
            }
        }
    }
    return 1;
}

/* The planes of a matrix, of a vector of them, or of a vector of such vectors, all of one size; frames and
 * channels are those of the vectors. */
static int planes_of(GEN x, int is_sequence, long* frames, long* channels, GEN* first)
{
    *frames = *channels = 1;
    if (typ(x) == t_MAT) {
        *first = x;
        return 1;
    }
    if (!is_list(x) || lg(x) == 1) return 0;
    const int nested = is_list(gel(x, 1));
    *(nested || is_sequence ? frames : channels) = lg(x) - 1;
    if (nested) *channels = lg(gel(x, 1)) - 1;
    *first = NULL;
    for (long i = 1; i < lg(x); ++i) {
        GEN part = gel(x, i);
        if (nested && (!is_list(part) || lg(part) - 1 != *channels)) return 0;
        for (long k = 1; k <= (nested ? *channels : 1); ++k) {
            GEN plane = nested ? gel(part, k) : part;
            if (typ(plane) != t_MAT) return 0;
            if (!*first) *first = plane;
            if (lg(plane) != lg(*first) || nbrows(plane) != nbrows(*first)) return 0;
        }
    }
    return *first != NULL;
}

static GEN plane_at(GEN x, long frame, long channel)
{
    if (typ(x) == t_MAT) return x;
    if (is_list(gel(x, 1))) return gmael(x, frame, channel);
    return gel(x, maxss(frame, channel));
}

static void set_image(const struct picture* picture, GEN x, int pixels, int color)
{
    static const int bytes[] = { 1, 1, 2, 4, 8 };
    long frames, channels;
    GEN first;
    if (!planes_of(x, picture->is_sequence, &frames, &channels, &first))
        refuse(picture->name, "is something else",
               picture->is_sequence ? "a vector of frames: matrices of one size, or vectors of their channels"
                                    : "a matrix, or a vector of the matrices of its channels");
    const int64_t rows = nbrows(first), columns = lg(first) - 1, plane = rows * columns;
    mvx_samples samples;
    memset(&samples, 0, sizeof samples);
    samples.color = color;
    samples.type = pixels >= 0 ? pixels : picture->integers;
    char* data = buffer((size_t)(plane * frames * channels) * sizeof(double));
    samples.data = data;
    for (long i = 0; i < frames * channels; ++i) {
        const int64_t step = bytes[samples.type];
        const int filled = fill_plane(plane_at(x, i / channels + 1, i % channels + 1), samples.type,
                                      data + i * plane * step);
        if (filled == 0 && pixels < 0 && samples.type < MVX_REAL32) {
            samples.type = picture->reals; /* from the start */
            i = -1;
        } else if (filled != 1) {
            refuse(picture->name, "holds others",
                   samples.type >= MVX_REAL32    ? "numbers"
                       : samples.type == MVX_BIT ? "0 and 1"
                       : samples.type == MVX_BYTE
                       ? "whole numbers from 0 to 255 (\"pixels\", \"bit16\" takes those to 65535), or reals"
                       : "whole numbers from 0 to 65535");
        }
    }
    const int64_t step = bytes[samples.type];
    const int64_t sizes[] = { picture->is_sequence || frames > 1 ? frames : 0, rows, columns, channels };
    const int64_t steps[] = { plane * channels * step, step, rows * step, plane * step };
    memcpy(samples.size, sizes, sizeof sizes);
    memcpy(samples.step, steps, sizeof steps);
    int status;
    DOOR(status = mvx_set_image(held.call, picture->name, &samples))
    expect(status);
}

/* --- results ---------------------------------------------------------------------------------------- */

static GEN real_gen(double real)
{
    if (isnan(real)) return strtoGENstr("NaN");
    if (isinf(real)) return real > 0 ? mkoo() : mkmoo();
    return dbltor(real);
}

/* Integers that all results share, as a picture has many of few. They lie outside of PARI's stack, like
 * gen_1. */
static long shared[256][3];

__attribute__((constructor)) static void make_shared(void)
{
    for (long i = 0; i < 256; ++i) {
        shared[i][0] = (long)(evaltyp(t_INT) | _evallg(3));
        shared[i][1] = (long)(evalsigne(1) | evallgefint(3));
        shared[i][2] = i;
    }
}

static GEN byte_gen(unsigned char byte) { return byte ? (GEN)shared[byte] : gen_0; }

static GEN sample_gen(const char* sample, int type)
{
    uint16_t wide;
    float narrow;
    double real;
    switch (type) {
    case MVX_BIT:
    case MVX_BYTE: return byte_gen(*(const unsigned char*)sample);
    case MVX_BIT16: memcpy(&wide, sample, 2); return utoi(wide);
    case MVX_REAL32: memcpy(&narrow, sample, 4); return real_gen(narrow);
    default: memcpy(&real, sample, 8); return real_gen(real);
    }
}

static GEN plane_gen(const mvx_samples* view, int64_t frame, int64_t channel)
{
    const char* start = (const char*)view->data + frame * view->step[0] + channel * view->step[3];
    GEN matrix = cgetg(view->size[2] + 1, t_MAT);
    for (int64_t j = 0; j < view->size[2]; ++j) gel(matrix, j + 1) = cgetg(view->size[1] + 1, t_COL);
    /* row by row, as the samples lie */
    for (int64_t i = 0; i < view->size[1]; ++i)
        for (int64_t j = 0; j < view->size[2]; ++j)
            gcoeff(matrix, i + 1, j + 1) =
                sample_gen(start + i * view->step[1] + j * view->step[2], view->type);
    return matrix;
}

/* A matrix, or a vector of those of its channels. */
static GEN picture_gen(const mvx_samples* view, int64_t frame)
{
    if (view->size[3] == 1) return plane_gen(view, frame, 0);
    GEN channels = cgetg(view->size[3] + 1, t_VEC);
    for (int64_t k = 0; k < view->size[3]; ++k) gel(channels, k + 1) = plane_gen(view, frame, k);
    return channels;
}

static GEN image_gen(void)
{
    mvx_samples view;
    mvx_image(held.call, &view);
    if (view.size[0] == 0) return picture_gen(&view, 0);
    GEN frames = cgetg(view.size[0] + 1, t_VEC);
    for (int64_t i = 0; i < view.size[0]; ++i) gel(frames, i + 1) = picture_gen(&view, i);
    return frames;
}

static GEN number_gen(const mvx_numbers* numbers, const char* place)
{
    if (numbers->type == MVX_INT64) {
        int64_t integer;
        memcpy(&integer, place, 8);
        return stoi(integer);
    }
    return sample_gen(place, MVX_REAL64);
}

/* A number, a column, a matrix, or a vector of matrices along the last dimension. */
static GEN array_gen(const mvx_numbers* numbers, const char* place, int rank)
{
    if (rank == 0) return number_gen(numbers, place);
    const int axis = rank - 1;
    GEN array = cgetg(numbers->size[axis] + 1, rank == 1 ? t_COL : rank == 2 ? t_MAT : t_VEC);
    for (int64_t i = 0; i < numbers->size[axis]; ++i)
        gel(array, i + 1) = array_gen(numbers, place + i * numbers->step[axis], rank - 1);
    return array;
}

static GEN part_gen(const mvx_part* part)
{
    return array_gen(&part->numbers, part->numbers.data, part->numbers.rank);
}

static void note_column(const char* name)
{
    const size_t used = strlen(held.columns);
    if (used + strlen(name) + 2 > sizeof held.columns) return;
    if (used) strcat(held.columns, ",");
    strcat(held.columns, name);
}

/* The parts from `first` to before `end`, which share a group: a matrix of columns, a vector of arrays, or
 * the array that stands for the group. */
static GEN group_gen(int first, int end)
{
    mvx_part part;
    mvx_part_at(held.call, first, &part);
    const int64_t rows = part.numbers.size[0];
    int is_table = 1;
    for (int i = first; i < end; ++i) {
        mvx_part_at(held.call, i, &part);
        note_column(part.name);
        is_table &= part.numbers.rank == 1 && part.numbers.size[0] == rows;
    }
    if (!strcmp(part.group, part.name)) return part_gen(&part);
    GEN group = cgetg(end - first + 1, is_table ? t_MAT : t_VEC);
    for (int i = first; i < end; ++i) {
        mvx_part_at(held.call, i, &part);
        gel(group, i - first + 1) = part_gen(&part);
    }
    return group;
}

/* Points or codes, whose first column numbers the contours, as a vector of one matrix for each. */
static GEN contours_gen(GEN lengths, GEN rows)
{
    GEN all = cgetg(lg(lengths), t_VEC);
    long next = 1;
    for (long i = 1; i < lg(lengths); ++i) {
        const long length = itos(gel(lengths, i));
        gel(all, i) = rowslice(vecslice(rows, 2, lg(rows) - 1), next, next + length - 1);
        next += length;
    }
    return all;
}

/* Groups of parts as a vector; the only one stands for itself. A copy, as PARI moves only what it finds in
 * whole objects. */
static GEN parts_gen(void)
{
    const pari_sp before = avma;
    const int count = mvx_parts(held.call);
    GEN groups = cgetg(count + 1, t_VEC), contours = NULL;
    long found = 0;
    held.columns[0] = '\0';
    for (int first = 0, end; first < count; first = end) {
        mvx_part part, next;
        mvx_part_at(held.call, first, &part);
        for (end = first + 1;
             mvx_part_at(held.call, end, &next) == MVX_DONE && !strcmp(next.group, part.group);)
            ++end;
        GEN group = group_gen(first, end);
        if (!strcmp(part.group, "contours"))
            contours = group;
        else
            gel(groups, ++found) = group;
    }
    if (contours) {
        GEN traced = found ? contours_gen(gel(contours, 1), gel(groups, 1)) : cgetg(1, t_VEC);
        if (lg(contours) > 2) traced = mkvec2(traced, vecslice(contours, 2, lg(contours) - 1));
        return gerepilecopy(before, traced);
    }
    return gerepilecopy(before, found == 1 ? gel(groups, 1) : vecslice(groups, 1, found));
}

static GEN result_gen(void)
{
    switch (mvx_result(held.call, NULL)) {
    case MVX_IS_IMAGE: return image_gen();
    case MVX_IS_REAL: return real_gen(mvx_real(held.call));
    default: return parts_gen();
    }
}

/* --- calls ------------------------------------------------------------------------------------------ */

/* A word of an option that is one of these. */
static int word_of(const char* name, GEN value, const char* const* words, int count, const char* expected)
{
    for (int i = 0; i < count; ++i)
        if (typ(value) == t_STR && !strcmp(GSTR(value), words[i])) return i;
    refuse(name, "is something else", expected);
    return 0;
}

static GEN options_of(GEN options)
{
    if (!options || gequal0(options)) return cgetg(1, t_VEC);
    if (!is_list(options) || lg(options) % 2 == 0)
        pari_err(e_MISC, "options are something else, expected [name, value, ...]");
    for (long i = 1; i < lg(options); i += 2)
        if (typ(gel(options, i)) != t_STR)
            pari_err(e_MISC, "options are something else, expected [name, value, ...]");
    return options;
}

static int interrupted(void* unused)
{
    (void)unused;
    return PARI_SIGINT_pending != 0;
}

static void set_argument(const char* operation, const char* name, GEN value, const struct picture* pictures,
                         int pixels, int color)
{
    int status;
    if (typ(value) == t_STR && strcmp(GSTR(value), "NaN")) {
        DOOR(status = mvx_set_text(held.call, name, GSTR(value)))
        expect(status);
        return;
    }
    for (; pictures->name; ++pictures)
        if (!strcmp(pictures->name, name)) {
            set_image(pictures, value, pixels, color);
            return;
        }
    if (mvx_kind(operation, name) == MVX_UNKNOWN) {
        DOOR(status = mvx_set_integer(held.call, name, 0)) /* refused by its name */
        expect(status);
        return;
    }
    set_numbers(name, value);
}

/* Calls an operation with its first arguments, by their names, and further ones and options as names and
 * values. */
static GEN miravex_call(const char* operation, const char* const* names, const GEN* given, int count,
                        const struct picture* pictures, GEN options)
{
    static const char* const types[] = { "bit", "byte", "bit16", "real32", "real" };
    static const char* const colors[] = { "gray", "RGB", "unspecified" };
    static const int codes[] = { MVX_GRAY, MVX_RGB, MVX_UNSPECIFIED };
    release();
    options = options_of(options);
    int status = MVX_DONE, pixels = -1, color = MVX_USUAL;
    DOOR(held.call = mvx_begin(operation); mvx_option(held.call, "positions", "matrix"))
    for (long i = 1; i < lg(options); i += 2) {
        const char* name = GSTR(gel(options, i));
        GEN value = gel(options, i + 1);
        if (!strcmp(name, "pixels"))
            pixels = word_of(name, value, types, 5, "bit, byte, bit16, real32 or real");
        else if (!strcmp(name, "colorspace"))
            color = codes[word_of(name, value, colors, 3, "gray, RGB or unspecified")];
        else if (!strcmp(name, "convert") || !strcmp(name, "positions")) {
            DOOR(status = mvx_option(held.call, name, typ(value) == t_STR ? GSTR(value) : ""))
            expect(status);
        }
    }
    for (int i = 0; i < count; ++i) set_argument(operation, names[i], given[i], pictures, pixels, color);
    for (long i = 1; i < lg(options); i += 2) {
        const char* name = GSTR(gel(options, i));
        if (strcmp(name, "pixels") && strcmp(name, "colorspace") && strcmp(name, "convert")
            && strcmp(name, "positions"))
            set_argument(operation, name, gel(options, i + 1), pictures, pixels, color);
    }
    /* An interrupt, or an alarm, is heard by the question between and raised at the end of the block. */
    DOOR(status = mvx_run_watched(held.call, interrupted, NULL); free_buffers())
    expect(status);
    if (*mvx_notes(held.call)) pari_warn(warner, "%s", mvx_notes(held.call));
    GEN result = result_gen();
    release();
    return result;
}

/* --- files ------------------------------------------------------------------------------------------ */

static int batch_interrupted(void* context, int64_t done, int64_t files)
{
    (void)done;
    (void)files;
    return interrupted(context);
}

/* Floats of a number or a vector. */
static float* floats_of(const char* name, GEN x, int64_t* count)
{
    GEN all = is_number(x) ? mkvec(x) : x;
    if (!is_list(all)) refuse(name, "is something else", "numbers");
    float* floats = buffer((size_t)lg(all) * sizeof *floats);
    *count = lg(all) - 1;
    for (long i = 1; i < lg(all); ++i) {
        if (!is_number(gel(all, i))) refuse(name, "holds something else", "numbers");
        floats[i - 1] = (float)real_of(gel(all, i));
    }
    return floats;
}

/* A slot, which is channels x rows x columns, as a picture. */
static GEN slot_gen(const float* slot, const mvx_batch* batch, int64_t channels)
{
    const mvx_samples view = { (void*)slot,
                               MVX_REAL32,
                               MVX_USUAL,
                               { 0, batch->height, batch->width, channels },
                               { 0, 4 * batch->width, 4, 4 * batch->width * batch->height } };
    return picture_gen(&view, 0);
}

/* Loads files: [pictures, positions of files that failed, why]. */
GEN gp_load_images(GEN paths, GEN options)
{
    static const char* const ways[] = { "fill", "skip", "stop" };
    release();
    options = options_of(options);
    mvx_batch batch;
    memset(&batch, 0, sizeof batch);
    batch.height = batch.width = 224;
    batch.color_space = "RGB";
    batch.progress = batch_interrupted;
    for (long i = 1; i < lg(options); i += 2) {
        const char* name = GSTR(gel(options, i));
        GEN value = gel(options, i + 1);
        if (!strcmp(name, "size") && is_list(value) && lg(value) == 3 && is_small(gel(value, 1))
            && is_small(gel(value, 2))) {
            batch.height = itos(gel(value, 1));
            batch.width = itos(gel(value, 2));
        } else if (!strcmp(name, "color") && typ(value) == t_STR)
            batch.color_space = GSTR(value);
        else if (!strcmp(name, "mean"))
            batch.mean = floats_of(name, value, &batch.mean_count);
        else if (!strcmp(name, "std"))
            batch.deviation = floats_of(name, value, &batch.deviation_count);
        else if (!strcmp(name, "on_error"))
            batch.on_error = word_of(name, value, ways, 3, "fill, skip or stop");
        else
            refuse(name, "is something else", "\"size\" with [rows, columns], color, mean, std, on_error");
    }
    if (batch.height < 1 || batch.width < 1 || batch.height > 1 << 30 || batch.width > 1 << 30)
        refuse("size", "is something else", "rows and columns from 1");
    if (!is_list(paths)) refuse("paths", "is something else", "a vector of names of files");
    const int64_t files = lg(paths) - 1, channels = strcmp(batch.color_space, "Grayscale") ? 3 : 1;
    const char** names = buffer((size_t)files * sizeof *names);
    for (int64_t i = 0; i < files; ++i) {
        if (typ(gel(paths, i + 1)) != t_STR) refuse("paths", "holds something else", "names of files");
        names[i] = GSTR(gel(paths, i + 1));
    }
    const int64_t slot = batch.height * batch.width * channels;
    float* slots = buffer((size_t)(files * slot) * sizeof *slots);
    int status;
    DOOR(held.call = mvx_load_images(&batch, files, names, slots); status = mvx_run(held.call))
    expect(status);
    GEN result = cgetg(4, t_VEC); /* before what it holds: PARI keeps what comes later */
    GEN report = parts_gen(); /* failed, then batch: files, slots, stopped */
    const long filled = itos(gmael3(report, 2, 2, 1));
    GEN pictures = cgetg(filled + 1, t_VEC);
    for (long i = 0; i < filled; ++i) gel(pictures, i + 1) = slot_gen(slots + i * slot, &batch, channels);
    gel(result, 1) = pictures;
    gel(result, 2) = gel(report, 1);
    gel(result, 3) = strtoGENstr(mvx_notes(held.call));
    release();
    return result;
}

/* The names of the columns of the last table, or of the parts of the last result. */
GEN gp_columns(void)
{
    const pari_sp before = avma;
    if (!held.columns[0]) return cgetg(1, t_VEC);
    return gerepilecopy(before, strsplit(strtoGENstr(held.columns), strtoGENstr(",")));
}
