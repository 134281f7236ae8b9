#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace pdalink::test {

/// CPU time, user and system, of all threads of this process, those that have ended included.
std::chrono::nanoseconds processCpuTime();
/// CPU time of the calling thread.
std::chrono::nanoseconds threadCpuTime();
/// CPU time of any living thread of this process.
std::chrono::nanoseconds threadCpuTime(int threadId);

/// The ids of the living threads of this process, in ascending order.
std::vector<int> threadIds();
int threadCount();

/// Where the open file descriptors of this process lead, in the order of their numbers.
std::vector<std::string> descriptorTargets();
int descriptorCount();

/// Bytes on the heap that are in use; what a sanitizer holds back of freed ones is not counted.
std::size_t heapInUse();

/// Waits until a condition holds, looking every millisecond; false when the time is over.
bool waitUntil(const std::function<bool()>& condition,
               std::chrono::milliseconds timeout = std::chrono::seconds(10));

} // namespace pdalink::test
