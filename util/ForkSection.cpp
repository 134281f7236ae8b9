#include "util/ForkSection.h"

#include <atomic>
#include <poll.h>
#include <pthread.h>

namespace pdalink {

namespace {

constexpr int kMaxWait = 100; // ms

pthread_rwlock_t g_lock = PTHREAD_RWLOCK_INITIALIZER;
std::atomic<bool> g_isForking{false}; // the lock is held for writing
pthread_t g_forkingThread{};
std::atomic<unsigned int> g_generation{0}; // number of forks that lie between this process and the first

bool isForkingThread() {
    return g_isForking && pthread_equal(g_forkingThread, pthread_self()) != 0;
}

} // namespace

ForkSection::ForkSection() : m_generation(g_generation) {
    pthread_rwlock_rdlock(&g_lock);
}

ForkSection::~ForkSection() {
    if (m_generation == g_generation) { // otherwise the lock that it holds is the parent's
        pthread_rwlock_unlock(&g_lock);
    }
}

void ForkSection::beforeFork() {
    for (int waited = 0; waited <= kMaxWait; ++waited) {
        if (pthread_rwlock_trywrlock(&g_lock) == 0) {
            g_forkingThread = pthread_self();
            g_isForking = true;
            return;
        }
        poll(nullptr, 0, 1);
    }
}

void ForkSection::afterFork() {
    if (isForkingThread()) {
        g_isForking = false;
        pthread_rwlock_unlock(&g_lock);
    }
}

bool ForkSection::afterForkInChild() {
    const bool wasQuiet = isForkingThread();
    g_isForking = false;
    g_lock = PTHREAD_RWLOCK_INITIALIZER;
    ++g_generation;
    return wasQuiet;
}

} // namespace pdalink
