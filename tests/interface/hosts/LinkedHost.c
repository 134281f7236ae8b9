/* A host in plain C, linked with the library: linked_host REQUEST */
#include <pdalink.h>

#include <stdio.h>
#include <string.h>

static char response[128 * 1024];

int main(int argc, char** argv) {
    const char* request = argc > 1 ? argv[1] : "";
    int length = -7;
    int result = PDA_CommonCall(request, (int)strlen(request), response, &length);
    printf("result: %d\nlength: %d\nresponse: %s\n", result, length, response);
    return 0;
}
