/* What the appliance is. It stands here and not with the other records because
 * the paths of the user interface carry its software version. */
#pragma once

#include "module/record.h"

namespace records {
using namespace field;

inline constexpr Field general_info_fields[] = {
    text("systemSerialNumber", 255),
    text("boardSerialNumber", 255),
    text("hardware", 255),
    text("software", 255),
};
inline constexpr Record general_info_record =
    record("general_info_record", 1020, general_info_fields);

} // namespace records
