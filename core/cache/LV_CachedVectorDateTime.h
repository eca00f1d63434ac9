// Vectors of date-time values: days since 1899-12-30, the time of day as the
// fraction. Missing is the quiet NaN, so a date vector is a TLVCachedVectorReal of
// its own type: the statistics give the earliest and latest moments as min and max.
#pragma once

#include "core/cache/LV_CachedVectorFloat.h"

namespace lv {

class TLVCachedVectorDateTime : public TLVCachedVectorReal {};

}  // namespace lv
