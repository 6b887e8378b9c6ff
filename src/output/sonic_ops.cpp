#include "output/sonic_ops.h"

#include "records/text.h"

namespace sonic {

namespace {

young_81000_data_header data_header;

}  // namespace

SonicOps young_81000_ops = {
    "\r",
    &young_81000_record_parser,
    young_81000_extract,
    &data_header,
    transform_strip_and_compress_spaces_to_tab,
};

}  // namespace sonic
