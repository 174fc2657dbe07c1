/* The flat door to Miravex: every operation by name, for languages and kernels that can call C.
 *
 * libmiravex_host.so brings the embedded host along, loads libmiravex.so at the first run, completes and
 * checks arguments by the operations' records, and explains every refusal. A binding opens a call, sets its
 * arguments, runs it and reads the result:
 *
 *     mvx_call *call = mvx_begin("median_filter");
 *     mvx_set_image(call, "image", &picture);
 *     mvx_set_integer(call, "radius", 3);
 *     if (mvx_run(call) == MVX_DONE) mvx_copy(call, &filtered);
 *     else fprintf(stderr, "%s\n", mvx_error(call));
 *     mvx_end(call);
 *
 * No function throws, jumps or ends the process. A call belongs to one thread at a time; different calls may
 * run on different threads at once. Texts are NUL-terminated UTF-8; file names are handed on byte by byte. A
 * null call is accepted everywhere: functions that answer a status answer MVX_NO_MEMORY, others nothing.
 *
 * Compiles as C99 and as C++11 and later. Structures and enumerators are frozen; functions are only added.
 */
#ifndef MIRAVEX_HOST_H
#define MIRAVEX_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MVX_VERSION 1

#if defined(__GNUC__)
#define MVX_PUBLIC __attribute__((visibility("default")))
#else
#define MVX_PUBLIC
#endif

/* Answers of functions that may fail. */
enum {
    MVX_DONE = 0,
    MVX_REFUSED = 1, /* an argument, a name or an option is not acceptable; nothing was run */
    MVX_FAILED = 2, /* the library can't be loaded, or the operation failed on acceptable arguments */
    MVX_NO_MEMORY = 3,
    MVX_STOPPED = 4 /* mvx_run_watched was told to stop */
};

/* Types of samples and numbers. The first five are the pixel types of images, with full ranges of 1, 255,
 * 65535, 1.0 and 1.0; a bit takes one byte and holds 0 or 1. */
enum {
    MVX_BIT = 0,
    MVX_BYTE = 1,
    MVX_BIT16 = 2,
    MVX_REAL32 = 3,
    MVX_REAL64 = 4,
    MVX_INT32 = 5,
    MVX_INT64 = 6
};

/* What the channels of an image mean. MVX_USUAL: gray for one channel, RGB for three, else unspecified. */
enum { MVX_USUAL = -1, MVX_GRAY = 0, MVX_RGB = 1, MVX_UNSPECIFIED = 8 };

/* What an argument takes, as mvx_kind answers. */
enum {
    MVX_UNKNOWN = -1, /* there is no such operation or argument */
    MVX_INTEGER = 0,
    MVX_REAL = 1,
    MVX_FLAG = 2,
    MVX_TEXT = 3,
    MVX_IMAGE = 4,
    MVX_REALS = 5, /* a list or a table of reals */
    MVX_INTEGERS = 6,
    MVX_ARRAY = 7 /* 32-bit reals; see mvx_set_numbers */
};

/* What a call has for a result, as mvx_result answers. */
enum {
    MVX_NOTHING = 0, /* it did not run, or not well */
    MVX_IS_IMAGE = 1, /* read with mvx_image or mvx_copy */
    MVX_IS_REAL = 2, /* read with mvx_real */
    MVX_IS_PARTS = 3 /* named columns and arrays, read with mvx_part or mvx_copy_part */
};

/* Samples of a picture or of a sequence in somebody's memory. Sample (slice, row, column, channel) lies at
 * `data` + the sum of index times step, in bytes. Rows count from the top. `size[0]` is 0 for a picture,
 * whose step[0] is not looked at. Steps may be negative, and 0 where samples are only read. */
typedef struct mvx_samples {
    void* data;
    int32_t type; /* MVX_BIT ... MVX_REAL64 */
    int32_t color; /* MVX_GRAY, MVX_RGB, MVX_UNSPECIFIED, another code, or MVX_USUAL */
    int64_t size[4]; /* slices, rows, columns, channels */
    int64_t step[4];
} mvx_samples;

/* Numbers in somebody's memory, likewise: of `rank` 0 (one number) to 4 dimensions. */
typedef struct mvx_numbers {
    void* data;
    int32_t type; /* any type */
    int32_t rank;
    int64_t size[4];
    int64_t step[4];
} mvx_numbers;

/* A named part of a result: a column of a table, or an array. Parts of one table share a group and a length;
 * a part that is named like its group stands for itself. */
typedef struct mvx_part {
    const char* group;
    const char* name;
    mvx_numbers numbers; /* MVX_REAL64 or MVX_INT64 */
} mvx_part;

/* One call of one operation: its arguments, options, result and error. */
typedef struct mvx_call mvx_call;

/* --- the library and its catalogue -------------------------------------------------------------------- */

/* MVX_VERSION of the library that is loaded. */
MVX_PUBLIC int mvx_version(void);

/* Loads libmiravex.so from this file, or from its usual place for null: what MIRAVEX_LIBRARY names, else
 * beside this library, else where the dynamic linker looks. Null when it is loaded, by this function or
 * earlier; otherwise why not, a text that is valid on this thread until it calls mvx_load again. Not needed:
 * the first run loads the usual one. It is never unloaded. From any thread. */
MVX_PUBLIC const char* mvx_load(const char* path);

/* All records as JSON, what `miravex schema` prints: {"interfaceVersion", "operations": [{"function",
 * "summary", "arguments": [...], "results": [...], ...}]}. Valid as long as the process; null without
 * memory. From any thread; does not load the library. */
MVX_PUBLIC const char* mvx_catalogue(void);

/* What an argument takes: MVX_INTEGER ... MVX_ARRAY, or MVX_UNKNOWN. From any thread. */
MVX_PUBLIC int mvx_kind(const char* operation, const char* argument);

/* --- a call ------------------------------------------------------------------------------------------- */

/* Opens a call of an operation, by its name as exported ("MedianFilter"), in snake case or in kebab case.
 * The caller owns it until mvx_end. Null only without memory: an unknown name is told by mvx_run. */
MVX_PUBLIC mvx_call* mvx_begin(const char* operation);

/* Ends a call and everything that was read from it. Null is fine. */
MVX_PUBLIC void mvx_end(mvx_call* call);

/* Sets an option of this call: MVX_DONE, or MVX_REFUSED for an unknown one (mvx_run refuses then, too).
 *
 *   "convert"    "never"    images of a pixel type that the operation does not take are refused (the start)
 *                "usual"    they are converted: to the next larger type that it takes, else to the largest
 *                           smaller one; mvx_notes tells what was lost. Whole ranges correspond, so that
 *                           1.0 becomes 255, and reals beyond 0 to 1 are cut off
 *   "positions"  "library"  x to the right and y upward from the bottom left corner, as records say (the
 * start) "matrix"   columns and rows as matrices count them, from 1 at the top left: pixel centres at whole
 * numbers, y downward; indices of contours from 1, 0 for none. So in results and in arguments that are
 * positions, flows or homographies. Regions give their first and last columns and rows. */
MVX_PUBLIC int mvx_option(mvx_call* call, const char* name, const char* value);

/* Set one argument by its name in snake case; setting it again replaces it. What is left out takes its
 * default. Numbers are taken for what the argument wants where nothing is lost: 2.0 for an integer, 0 and 1
 * for a flag, one number for a list of one. Everything else is refused by mvx_run, in one go with what else
 * is wrong; these functions answer MVX_DONE even then, and MVX_REFUSED only for descriptions that can't be
 * read (no data, negative sizes, an unknown type). */
MVX_PUBLIC int mvx_set_integer(mvx_call* call, const char* name, int64_t value);
MVX_PUBLIC int mvx_set_real(mvx_call* call, const char* name, double value);

/* A word or a path; copied. Null leaves the argument out. */
MVX_PUBLIC int mvx_set_text(mvx_call* call, const char* name, const char* value);

/* A picture or a sequence. The samples must stay as they are until mvx_run has returned; they are read where
 * they lie when rows are dense and channels interleaved or planar, and copied otherwise: quickest where the
 * samples of a column are dense (column-major matrices), at any steps. The library never writes into them.
 * A picture serves as a sequence of one frame, and such a sequence as a picture. The description itself is
 * copied. */
MVX_PUBLIC int mvx_set_image(mvx_call* call, const char* name, const mvx_samples* samples);

/* Numbers of any type; copied. A matrix of one row or one column serves where a list is wanted, and one of
 * the right length, read row by row, where a list of a fixed length is. For an argument that the operation
 * fills (the destination of load_images_from_path_into) they must be MVX_REAL32 and dense, row by row, and
 * are written where they lie. */
MVX_PUBLIC int mvx_set_numbers(mvx_call* call, const char* name, const mvx_numbers* numbers);

/* Runs the call: MVX_DONE, or what mvx_error explains. A call runs once; further runs answer the same. It
 * can't be interrupted; signals are left to the process. */
MVX_PUBLIC int mvx_run(mvx_call* call);

/* Runs the call as mvx_run does, so that people can interrupt it: while it runs, on a thread of its own,
 * `stop` is called with `context` on this thread, some twenty times a second. When it answers other than 0
 * the call is given up: it answers MVX_STOPPED, has no result, and is to be ended like any other. The
 * operation itself goes on unseen, on samples that were copied before the start, and the end of the process
 * waits for it. `stop` must return; it may open calls of its own. Calls that are over in a moment (pictures
 * of less than 16384 samples, say) run on this thread, as do those that fill the caller's array, and are not
 * asked about. Signals are kept away from the run on either thread: a handler may jump. A null `stop` never
 * stops. */
MVX_PUBLIC int mvx_run_watched(mvx_call* call, int (*stop)(void* context), void* context);

/* Why the last function of this call did not answer MVX_DONE, in the words that the command line uses, one
 * reason a line; empty when nothing is wrong. Valid until the next function of this call. */
MVX_PUBLIC const char* mvx_error(const mvx_call* call);

/* The argument that mvx_error speaks of first; empty when it is none of them. Valid until mvx_end. */
MVX_PUBLIC const char* mvx_refused(const mvx_call* call);

/* What was changed on the way, one change a line ("image: real samples are converted to byte"); empty when
 * nothing was. Valid until mvx_end. */
MVX_PUBLIC const char* mvx_notes(const mvx_call* call);

/* --- its result --------------------------------------------------------------------------------------- */

/* MVX_NOTHING, MVX_IS_IMAGE, MVX_IS_REAL or MVX_IS_PARTS. Where `layout` is not null it receives the layout's
 * name as in the catalogue ("keypoints"), valid as long as the process. */
MVX_PUBLIC int mvx_result(const mvx_call* call, const char** layout);

/* The result of MVX_IS_REAL; otherwise NaN. */
MVX_PUBLIC double mvx_real(const mvx_call* call);

/* The samples of MVX_IS_IMAGE, dense and interleaved, valid until mvx_end; MVX_REFUSED when there is none. */
MVX_PUBLIC int mvx_image(const mvx_call* call, mvx_samples* view);

/* Writes the samples of MVX_IS_IMAGE into the caller's memory: sizes must be those that mvx_image tells, the
 * type may be another (then as "convert" does), `color` is not looked at, and the steps must lead to memory
 * of one's own for every sample. MVX_REFUSED for other sizes. */
MVX_PUBLIC int mvx_copy(const mvx_call* call, const mvx_samples* to);

/* How many parts MVX_IS_PARTS has; otherwise 0. */
MVX_PUBLIC int mvx_parts(const mvx_call* call);

/* A part, counted from 0; what it points to is valid until mvx_end. MVX_REFUSED beyond the last. */
MVX_PUBLIC int mvx_part_at(const mvx_call* call, int index, mvx_part* part);

/* Writes a part's numbers as doubles, densely, the first index running fastest (as column-major languages
 * keep arrays); `to` has room for the product of its sizes. */
MVX_PUBLIC int mvx_copy_part(const mvx_call* call, int index, double* to);

/* --- batches of files --------------------------------------------------------------------------------- */

enum {
    MVX_FILL = 0, /* slots of files that can't be read hold noise */
    MVX_SKIP = 1, /* such files get no slot: the following move up */
    MVX_STOP = 2 /* loading ends at the first of them */
};

/* How files become one array of floats. */
typedef struct mvx_batch {
    int64_t height, width; /* of every slot, in pixels */
    const char* color_space; /* "RGB", "XYZ", "LAB", "LUV" or "Grayscale", which has one channel; null: RGB */
    int32_t channels_last; /* 0: channels x height x width, else height x width x channels */
    int32_t on_error; /* MVX_FILL, MVX_SKIP, MVX_STOP */
    int64_t mean_count; /* 0: none, 1: for all, the channels, or a whole slot in its layout */
    const float* mean; /* subtracted */
    int64_t deviation_count; /* likewise */
    const float* deviation; /* divided by */
    int (*progress)(void* context, int64_t done, int64_t files); /* null, or called on this thread between
                                                                    chunks; not 0 ends the batch */
    void* context; /* handed to it */
} mvx_batch;

/* Loads files into consecutive slots of `slots`, which has room for files times a slot's floats, row by row.
 * The call it answers, null only without memory, has already run: mvx_run tells how it went, the parts of
 * group "failed" the positions (from 1) of the files that could not be read, mvx_notes why, a file a line,
 * and those of group "batch" how many files were looked at, slots filled and whether it ended early. To be
 * ended with mvx_end. */
MVX_PUBLIC mvx_call* mvx_load_images(const mvx_batch* batch, int64_t files, const char* const* paths,
                                     float* slots);

#ifdef __cplusplus
}
#endif

#endif
