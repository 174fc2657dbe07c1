#include "host/catalog.h"

#include <fmt/format.h>

int main()
{
    for (const miravex::Operation* operation : miravex::catalog())
        fmt::print("{:<30}{}\n", miravex::kebabCase(operation->name), operation->summary);
    return 0;
}
