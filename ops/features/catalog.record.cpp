#include "catalog/catalog.h"

#include "ops/features/catalog_groups.h"

namespace miravex {

std::span<const Operation> featuresCatalog()
{
    static const std::vector<Operation> all = [] {
        std::vector<Operation> records;
        for (const auto group :
             { keypointRecords(), lineRecords(), shapeRecords(), matchingRecords(), faceRecords() })
            records.insert(records.end(), group.begin(), group.end());
        return records;
    }();
    return all;
}

} // namespace miravex
