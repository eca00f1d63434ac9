#include "core/platform/LV_Platform.h"

#include <algorithm>
#include <new>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <psapi.h>
#include <windows.h>
#else
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#endif

namespace lv {

size_t LVPageSize() {
  static const size_t pageSize = [] {
#ifdef _WIN32
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return static_cast<size_t>(info.dwPageSize);
#else
    long size = sysconf(_SC_PAGESIZE);
    return size > 0 ? static_cast<size_t>(size) : size_t{4096};
#endif
  }();
  return pageSize;
}

size_t LVRoundToPages(size_t bytes) {
  const size_t page = LVPageSize();
  if (bytes == 0) return page;
  if (bytes > SIZE_MAX - page) throw std::bad_alloc();
  return (bytes + page - 1) / page * page;
}

void* LVAllocPages(size_t bytes) {
  const size_t size = LVRoundToPages(bytes);
#ifdef _WIN32
  void* memory = VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (!memory) throw std::bad_alloc();
#else
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
#endif
  return memory;
}

void LVPrefaultPages(void* memory, size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
  if (memory && bytes > 0) madvise(memory, LVRoundToPages(bytes), MADV_POPULATE_WRITE);
#else
  (void)memory;
  (void)bytes;
#endif
}

void LVFreePages(void* memory, size_t bytes) noexcept {
  if (!memory) return;
#ifdef _WIN32
  (void)bytes;
  VirtualFree(memory, 0, MEM_RELEASE);
#else
  munmap(memory, LVRoundToPages(bytes));
#endif
}

size_t LVTrimPages(void* memory, size_t bytes, size_t keep) noexcept {
#ifdef _WIN32
  (void)memory;
  (void)keep;
  return bytes;
#else
  const size_t held = LVRoundToPages(bytes);
  const size_t kept = LVRoundToPages(keep);
  if (kept < held) munmap(static_cast<uint8_t*>(memory) + kept, held - kept);
  return std::min(kept, held);
#endif
}

bool LVRaiseThreadPriority(std::thread& thread) noexcept {
  if (!thread.joinable()) return false;
#ifdef _WIN32
  return SetThreadPriority(static_cast<HANDLE>(thread.native_handle()),
                           THREAD_PRIORITY_TIME_CRITICAL) != 0;
#else
  // A real-time class is the only raise an ordinary thread can get on POSIX; most
  // systems refuse it without privileges, which is fine: the thread merely finishes at
  // its normal priority.
  sched_param param{};
  param.sched_priority = sched_get_priority_max(SCHED_RR);
  return pthread_setschedparam(thread.native_handle(), SCHED_RR, &param) == 0;
#endif
}

size_t LVResidentBytes() noexcept {
#ifdef _WIN32
  PROCESS_MEMORY_COUNTERS counters{};
  if (!K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))) return 0;
  return counters.WorkingSetSize;
#else
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  if (!file) return 0;
  unsigned long total = 0;
  unsigned long resident = 0;
  const int read = std::fscanf(file, "%lu %lu", &total, &resident);
  std::fclose(file);
  return read == 2 ? static_cast<size_t>(resident) * LVPageSize() : 0;
#endif
}

}  // namespace lv
