/* A host that knows the library by its plain name gets the one that others know by its number. */
#include <dlfcn.h>
#include <stddef.h>

int main(void)
{
    void* plain = dlopen("libmiravex.so", RTLD_NOW);
    void* numbered = dlopen("libmiravex.so.1", RTLD_NOW);
    return !(plain && plain == numbered && dlsym(plain, "opencv_MedianFilter") != NULL);
}
