#include "catalog/catalog.h"
#include "ops/photo/catalog_groups.h"

namespace miravex {

std::span<const Operation> photoCatalog()
{
    static const std::vector<Operation> all = [] {
        std::vector<Operation> records;
        for (const auto group : { denoisingCatalog(), filterCatalog(), exposureCatalog(), motionCatalog() })
            records.insert(records.end(), group.begin(), group.end());
        return records;
    }();
    return all;
}

} // namespace miravex
