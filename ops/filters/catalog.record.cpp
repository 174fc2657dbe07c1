#include "catalog/catalog.h"

#include "ops/filters/catalog_groups.h"

namespace miravex {

std::span<const Operation> filtersCatalog()
{
    static const std::vector<Operation> operations = [] {
        std::vector<Operation> all;
        for (const auto group : { smoothingRecords(), neighbourhoodRecords(), transformRecords() })
            all.insert(all.end(), group.begin(), group.end());
        return all;
    }();
    return operations;
}

} // namespace miravex
