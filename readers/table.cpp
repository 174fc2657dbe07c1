#include "miravex/host_interface.h"
#include "ops/loading/parallel_load.h"
#include "ops/photo/film_enlargement.h"
#include "readers/readers.h"

/// The only export of libmiravex_readers.
extern "C" MIRAVEX_PUBLIC const miravex::Readers* miravexReaders()
{
    static const miravex::Readers table { .version = MIRAVEX_VERSION,
                                          .loadPictures = miravex::importops::loadPictures,
                                          .enlargeSecondFrame = miravex::enlargeSecondFrame,
                                          .createDualTvl1 = cv::superres::createOptFlow_DualTVL1 };
    return &table;
}
