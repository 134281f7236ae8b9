// Uses the library on both sides of a fork:
// forking_host LIBRARY (call|locked|exit|busy|failing)
//
// "call" makes a request in the parent, then one in a child of it, then one in the parent again; "locked" is
// the same with the receive buffer's lock held at the fork; "exit" lets the child do nothing; "busy" forks
// again and again while other threads keep the library busy, and lets each child make a request; "failing"
// lets the child open its channel without the memory for a thread.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

void* g_library = nullptr;

template <typename Symbol>
Symbol* symbol(const char* name) {
    void* const found = dlsym(g_library, name);
    if (found == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(EXIT_FAILURE);
    }
    return reinterpret_cast<Symbol*>(found);
}

std::string call(const char* request) {
    std::vector<char> response(128UL * 1024, '\0');
    symbol<int(const char*, int, char*, int*)>("PDA_CommonCall")(request, 0, response.data(), nullptr);
    return response.data();
}

std::string getInfo() {
    return call(R"({"transCode":"600002"})");
}

std::string refused() {
    return call(R"({"transCode":"700000"})");
}

void report(const char* who, const std::string& text) {
    std::printf("%s: %s\n", who, text.c_str());
    std::fflush(stdout);
}

/// Runs something in a child. Returns how it ended, as a shell states it; 142 when it has not within 20 s.
int inChild(const std::function<void()>& action) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        action();
        std::exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void reportState(const char* who) {
    report(who, "descriptor " + std::to_string(*symbol<std::atomic<int>>("g_fd")) + ", running " +
                    std::to_string(static_cast<int>(*symbol<std::atomic<bool>>("g_hidRun"))) + ", received " +
                    std::to_string(static_cast<int>(*symbol<std::atomic<bool>>("g_isBufferCome"))));
}

void requestOnBothSides(bool isLocked) {
    report("parent", getInfo());
    const int descriptor = *symbol<std::atomic<int>>("g_fd");
    *symbol<std::atomic<bool>>("g_isBufferCome") = true;
    void* const lock = symbol<void>("g_lock_buffer");
    if (isLocked) {
        symbol<int(void*)>("_ZN10cmutexlock4LockEv")(lock);
    }
    const int status = inChild([descriptor] {
        reportState("child begins with");
        report("child's copy of the node",
               access(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), F_OK) == 0 ? "open"
                                                                                          : "closed");
        report("child", getInfo());
        reportState("child ends with");
    });
    if (isLocked) {
        symbol<int(void*)>("_ZN10cmutexlock6UnlockEv")(lock);
        getInfo(); // the child's reply comes here, too, perhaps in the middle of this one's
    }
    *symbol<std::atomic<bool>>("g_isBufferCome") = false;
    report("child's status", std::to_string(status));
    report("parent again", getInfo());
}

void exitInChild() {
    getInfo();
    const auto begin = Clock::now();
    const int status = inChild([] {});
    const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    report("child's status", std::to_string(status));
    report("child's milliseconds", std::to_string(time.count()));
}

void forkWhileBusy() {
    constexpr int children = 40;
    refused();
    std::atomic<bool> done{false};
    std::thread caller([&done] {
        while (!done) {
            refused();
        }
    });
    std::thread writer([&done] {
        auto* const addLog = symbol<bool(void*, long, const char*)>("_ZN8CFileLog6AddLogElPKc");
        while (!done) {
            addLog(symbol<void>("g_PDA_Log"), 1, "busy");
        }
    });
    int failures = 0;
    for (int i = 0; i < children && failures == 0; ++i) {
        failures += inChild([] { refused(); }) == 0 ? 0 : 1;
    }
    done = true;
    caller.join();
    writer.join();
    report("children that failed", std::to_string(failures));
}

void openInChildWithoutMemory() {
    getInfo();
    const int status = inChild([] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_AS, &none); // no stack for a thread
        getInfo();
        getInfo();
    });
    report("child's status", std::to_string(status));
    report("parent again", getInfo());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "forking_host LIBRARY HOW\n");
        return EXIT_FAILURE;
    }
    g_library = dlopen(argv[1], RTLD_NOW);
    if (g_library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return EXIT_FAILURE;
    }
    const std::string how = argv[2];
    if (how == "call" || how == "locked") {
        requestOnBothSides(how == "locked");
    } else if (how == "exit") {
        exitInChild();
    } else if (how == "busy") {
        forkWhileBusy();
    } else {
        openInChildWithoutMemory();
    }
    return EXIT_SUCCESS;
}
