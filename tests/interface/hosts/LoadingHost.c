/* Loads the library and unloads it, without calling it, and tells what that does: loading_host LIBRARY */
#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

static int entriesOf(const char* path) {
    int count = 0;
    DIR* directory = opendir(path);
    while (directory != NULL && readdir(directory) != NULL) {
        ++count;
    }
    closedir(directory);
    return count;
}

static void tell(const char* when) {
    printf("%s threads: %d\n", when, entriesOf("/proc/self/task"));
    printf("%s descriptors: %d\n", when, entriesOf("/proc/self/fd"));
}

int main(int argc, char** argv) {
    if (argc < 2) {
        return EXIT_FAILURE;
    }
    tell("before");
    void* library = dlopen(argv[1], RTLD_NOW);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return EXIT_FAILURE;
    }
    tell("loaded");
    dlclose(library);
    tell("unloaded");
    printf("still loaded: %s\n", dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != NULL ? "yes" : "no");
    return EXIT_SUCCESS;
}
