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

#include <atomic>
#include <cstdint>
#include <functional>

#include "core/columns/LV_Block.h"
#include "core/sources/LV_Progress.h"

namespace lv {

// Parts a job over `total` rows gets: one per core, but none smaller than
// LVMinRowsPerPart() rows, and at least one.
int LVRowPartCount(TLVRowIndex total);

// Below this many rows a part is not worth a thread of its own. Tests lower it to make
// small tables run in parts.
TLVRowIndex LVMinRowsPerPart();
void LVSetMinRowsPerPart(TLVRowIndex rows);

// One part of a job: its number, and a flag that becomes true when another part has
// failed (a long part checks it now and then and returns early).
using TLVPartFn = std::function<void(int part, const std::atomic<bool>& stop)>;

// Runs `part` for parts 0 to parts - 1: the calling thread runs part 0, a thread started
// for the job each other one, and all are joined before it returns. While the caller
// waits for the others it calls `waiting` (if set) every 50 ms; that may raise to end
// the job. The first error of any part is raised once every thread has been joined.
void LVRunInParts(int parts, const TLVPartFn& part, const std::function<void()>& waiting = {});

// Calls `block(part, first, count)` for every block of rows [0, total) (count <=
// kLVBlockSize), in order within each of `parts` contiguous parts, and reports the rows
// done to `progress` after every block of the first part and while it waits for the
// others.
void LVForBlocksInParts(int parts, TLVRowIndex total, TLVProgressScope& progress,
                        const std::function<void(int part, TLVRowIndex first, int32_t count)>& block);

}  // namespace lv
