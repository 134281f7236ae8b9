#include "util/mutexlock.h"

cmutexlock::cmutexlock() {
    pthread_mutex_init(&m_mutex, nullptr);
}

cmutexlock::~cmutexlock() {
    pthread_mutex_destroy(&m_mutex);
}

int cmutexlock::Lock() {
    return pthread_mutex_lock(&m_mutex);
}

int cmutexlock::Unlock() {
    return pthread_mutex_unlock(&m_mutex);
}
