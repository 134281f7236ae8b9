#pragma once

#include "util/mutexlock.h"

/// Holds a cmutexlock for a scope.
class MutexGuard {
public:
    explicit MutexGuard(cmutexlock& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~MutexGuard() { m_mutex.Unlock(); }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    cmutexlock& m_mutex;
};
