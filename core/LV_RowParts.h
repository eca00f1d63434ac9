// Work over the rows of a table shared among the processor's cores.
//
// A job over rows [0, total) is cut into contiguous parts on block boundaries, at most
// one per core; the calling thread runs the first part, threads started for the job
// run the others, and all are joined before the job returns. Only for sources that
// allow concurrent reads (ILVDataSource::ConcurrentReads).
//
// Threads: the parts share an atomic count of rows done and a stop flag, nothing else
// of this unit. Progress is reported and cancellation checked on the calling thread
// only. The first error of any part (or the caller's cancellation) stops the others at
// their next block, and is raised once every thread has been joined.
#pragma once

#include <cstdint>
#include <functional>

#include "core/LV_Block.h"
#include "core/LV_Progress.h"

namespace lv {

// Parts a job over `total` rows gets: one per core, but none smaller than
// LVMinRowsPerPart() rows, and at least one.
int LVRowPartCount(TLVRowIndex total);

// Below this many rows a part is not worth a thread of its own. Tests lower it to make
// small tables run in parts.
TLVRowIndex LVMinRowsPerPart();
void LVSetMinRowsPerPart(TLVRowIndex rows);

// Calls `block(part, first, count)` for every block of rows [0, total) (count <=
// kLVBlockSize), in order within each of `parts` contiguous parts, and reports the rows
// done to `progress` after every block of the first part and while it waits for the
// others.
void LVForBlocksInParts(int parts, TLVRowIndex total, TLVProgressScope& progress,
                        const std::function<void(int part, TLVRowIndex first, int32_t count)>& block);

}  // namespace lv
