#include "util/ForkSection.h"

#include <atomic>
#include <ctime>
#include <pthread.h>

namespace pdalink {

namespace {

constexpr std::time_t kMaxWait = 5; // s

// A fork that waits goes before sections that have not begun: on a busy machine there would always be one.
constexpr pthread_rwlock_t kUnlocked = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
pthread_rwlock_t g_lock = kUnlocked;
thread_local unsigned int t_sections = 0; // that this thread is in
std::atomic<bool> g_isForking{false};     // the lock is held for writing
pthread_t g_forkingThread{};
std::atomic<unsigned int> g_generation{0}; // number of forks that lie between this process and the first

bool isForkingThread() {
    return g_isForking && pthread_equal(g_forkingThread, pthread_self()) != 0;
}

} // namespace

ForkSection::ForkSection() : m_generation(g_generation) {
    if (t_sections++ == 0) {
        pthread_rwlock_rdlock(&g_lock);
    }
}

ForkSection::~ForkSection() {
    if (--t_sections == 0 &&
        m_generation == g_generation) { // otherwise the lock that it holds is the parent's
        pthread_rwlock_unlock(&g_lock);
    }
}

void ForkSection::beforeFork() {
    timespec end{};
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += kMaxWait;
    if (t_sections == 0 && pthread_rwlock_timedwrlock(&g_lock, &end) == 0) {
        g_forkingThread = pthread_self();
        g_isForking = true;
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
    g_lock = kUnlocked;
    ++g_generation;
    return wasQuiet;
}

} // namespace pdalink
