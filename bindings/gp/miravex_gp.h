/* What the functions that are made from the records, in operations.c, hand to the one that calls all of them. */
#ifndef MIRAVEX_GP_H
#define MIRAVEX_GP_H

#include <pari/pari.h>

/* What an argument that is an image takes for numbers of GP, as the door's types. */
struct picture {
    const char *name; /* NULL behind the last */
    int is_sequence;
    int integers, reals;
};

/* Calls an operation with its first arguments, by their names, and further ones and options as names and values. */
GEN miravex_call(const char *operation, const char *const *names, const GEN *given, int count,
                 const struct picture *pictures, GEN options);

#endif
