// Loads the library, opens its channel and unloads it, again and again:
// unloading_host LIBRARY (open|opening|call) ROUNDS [LIBRARY-TO-KEEP]
//
// "open" unloads with a running receiver, "opening" right after the receiver's start, "call" after a request.
// Fails when an unloading leaves a thread, a descriptor or the library itself behind.
#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

int entriesOf(const char* path) {
    int count = 0;
    DIR* const directory = opendir(path);
    while (readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}

[[noreturn]] void fail(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(EXIT_FAILURE);
}

/// The library while it is loaded, with its configuration read.
class Library {
public:
    explicit Library(const char* file) : m_handle(dlopen(file, RTLD_NOW)) {
        if (m_handle == nullptr) {
            fail(dlerror());
        }
        function<bool()>("_Z14LoadLockConfigv")();
    }
    ~Library() { dlclose(m_handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void openChannel() const {
        char object = 0; // the channel is the process's; opening does not look at the object
        function<bool(void*)>("_ZN10CHIDDevice13openHidDeviceEv")(&object);
    }
    void waitUntilRunning() const {
        const auto deadline = Clock::now() + std::chrono::seconds(20);
        while (!isRunning()) {
            if (Clock::now() > deadline) {
                fail("the channel does not open");
            }
            usleep(1000);
        }
    }
    std::string call(const char* request) const {
        std::vector<char> response(128UL * 1024, '\0');
        function<int(const char*, int, char*, int*)>("PDA_CommonCall")(request, 0, response.data(), nullptr);
        return response.data();
    }
    std::atomic<bool>& isRunning() const { return *static_cast<std::atomic<bool>*>(symbol("g_hidRun")); }
    int descriptor() const { return *static_cast<std::atomic<int>*>(symbol("g_fd")); }

private:
    void* symbol(const char* name) const {
        void* const found = dlsym(m_handle, name);
        if (found == nullptr) {
            fail(dlerror());
        }
        return found;
    }
    template <typename Signature>
    Signature* function(const char* name) const {
        return reinterpret_cast<Signature*>(symbol(name));
    }

    void* m_handle;
};

/// Opens the channel and closes it again before the library is unloaded. What the system's libraries keep
/// from their first use is then there. And a simulated system has looked up every system function that it
/// stands in front of: it does so at the first use, and during an unloading that would wait for the loader,
/// which waits for the library.
void useChannelOnce(const char* file) {
    const Library library(file);
    library.openChannel();
    library.waitUntilRunning();
    usleep(20000);
    library.isRunning() = false;
    while (library.descriptor() >= 0) {
        usleep(1000);
    }
}

void use(const Library& library, const std::string& how) {
    if (how == "call") {
        std::printf("response: %s\n", library.call(R"({"transCode":"600002"})").c_str());
        return;
    }
    library.openChannel();
    if (how == "open") {
        library.waitUntilRunning();
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        fail("unloading_host LIBRARY HOW ROUNDS [LIBRARY-TO-KEEP]");
    }
    if (argc > 4 && dlopen(argv[4], RTLD_NOW) == nullptr) {
        fail(dlerror());
    }
    useChannelOnce(argv[1]);
    const int threads = entriesOf("/proc/self/task");
    const int descriptors = entriesOf("/proc/self/fd");
    auto shortest = Clock::duration::max();
    const int rounds = std::stoi(argv[3]);
    for (int round = 0; round < rounds; ++round) {
        Clock::time_point begin;
        {
            const Library library(argv[1]);
            use(library, argv[2]);
            begin = Clock::now();
        }
        shortest = std::min(shortest, Clock::now() - begin);
        if (entriesOf("/proc/self/task") != threads || entriesOf("/proc/self/fd") != descriptors) {
            fail("a thread or a descriptor is left in round " + std::to_string(round));
        }
        if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
            fail("the library stays loaded in round " + std::to_string(round));
        }
    }
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(shortest).count();
    std::printf("shortest unloading: %lld ms\n", static_cast<long long>(milliseconds));
    std::puts("all unloaded");
    return EXIT_SUCCESS;
}
