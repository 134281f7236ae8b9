/* Loads the library by the name given and makes the requests given: calling_host LIBRARY REQUEST... */
#include <pdalink.h>

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

typedef int (*Entry)(const char*, int, char*, int*);

static char response[128 * 1024];

static Entry findEntry(void* library) {
    union {
        void* symbol;
        Entry function;
    } entry;
    entry.symbol = dlsym(library, "PDA_CommonCall");
    return entry.function;
}

int main(int argc, char** argv) {
    if (argc < 2) {
        return EXIT_FAILURE;
    }
    void* library = dlopen(argv[1], RTLD_NOW);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return EXIT_FAILURE;
    }
    Entry call = findEntry(library);
    for (int i = 2; i < argc; ++i) {
        int length = -7;
        response[0] = '\0';
        int result = call(argv[i], 0, response, &length);
        printf("result: %d\nlength: %d\nresponse: %s\n", result, length, response);
    }
    return EXIT_SUCCESS;
}
