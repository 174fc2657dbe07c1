/* The whole way through the door in C: a speck is filtered out of a picture that is kept column by column,
 * and a refusal is told in words. */
#include <miravex/miravex_host.h>

#include <stdio.h>
#include <string.h>

static int fail(const char* what)
{
    fprintf(stderr, "%s\n", what);
    return 1;
}

int main(void)
{
    /* Columns 10 40 70, 20 255 80, 30 50 60. */
    unsigned char picture[9] = { 10, 40, 70, 20, 255, 80, 30, 50, 60 };
    unsigned char filtered[9] = { 0 };
    mvx_samples samples = { picture, MVX_BYTE, MVX_USUAL, { 0, 3, 3, 1 }, { 0, 1, 3, 9 } };
    const char* layout = NULL;
    mvx_call* call;

    if (mvx_version() != MVX_VERSION) return fail("another version");
    call = mvx_begin("median_filter");
    mvx_set_image(call, "image", &samples);
    mvx_set_integer(call, "radius", 1);
    if (mvx_run(call) != MVX_DONE) return fail(mvx_error(call));
    if (mvx_result(call, &layout) != MVX_IS_IMAGE || strcmp(layout, "plain") != 0) return fail("no image");
    samples.data = filtered;
    if (mvx_copy(call, &samples) != MVX_DONE) return fail("not copied");
    /* By hand: the middle of 10 20 30 40 50 60 70 80 255, and borders repeated at the corners. */
    if (filtered[4] != 50 || filtered[0] != 20) return fail("another median");
    mvx_end(call);

    call = mvx_begin("median_filter");
    mvx_set_integer(call, "radius", 0);
    if (mvx_run(call) != MVX_REFUSED) return fail("not refused");
    if (!strstr(mvx_error(call), "image is missing")) return fail(mvx_error(call));
    mvx_end(call);
    printf("255 becomes %d\n", filtered[4]);
    return 0;
}
