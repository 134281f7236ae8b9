// A host whose own exported functions are named like the library's: own_names_host LIBRARY REQUEST
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

void fun1();
bool LoadLockConfig();
void* run_proc(void* argument);

void fun1() {
    std::puts("the host's fun1");
}

bool LoadLockConfig() {
    std::puts("the host's LoadLockConfig");
    return true;
}

void* run_proc(void* argument) {
    std::puts("the host's run_proc");
    return argument;
}

int main(int argc, char** argv) {
    if (argc < 3) {
        return EXIT_FAILURE;
    }
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return EXIT_FAILURE;
    }
    using Entry = int (*)(const char*, int, char*, int*);
    const auto call = reinterpret_cast<Entry>(dlsym(library, "PDA_CommonCall"));
    std::vector<char> response(128UL * 1024, '\0');
    int length = 0;
    std::printf("result: %d\n", call(argv[2], 0, response.data(), &length));
    std::printf("response: %s\n", response.data());
    return EXIT_SUCCESS;
}
