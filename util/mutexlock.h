#pragma once

#include "Export.h"

#include <pthread.h>

/// A plain, non-recursive mutex. Not copyable.
class PDALINK_EXPORT cmutexlock {
public:
    /// Initialises the mutex with default attributes.
    cmutexlock();
    /// Destroys the mutex, which must not be locked.
    ~cmutexlock();
    cmutexlock(const cmutexlock&) = delete;
    cmutexlock& operator=(const cmutexlock&) = delete;

    /// Waits for the mutex and takes it. Returns 0, or pthread_mutex_lock's error number.
    int Lock();
    /// Gives the mutex back. Returns 0, or pthread_mutex_unlock's error number.
    int Unlock();

private:
    pthread_mutex_t m_mutex{};
};
