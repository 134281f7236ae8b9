/*
 * The smallest host: makes one request after the other and prints each answer.
 *
 *     first_call '{"transCode":"600002"}' ...
 *
 * The library finds its PDAConfigure.ini beside libpdalink.so.1 and writes log/PDA.log there.
 */
#include <pdalink.h>

#include <stdio.h>
#include <string.h>

/* The largest response: 23 values of 5000 bytes with their keys. */
static char response[128 * 1024];

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        int length = 0;
        response[0] = '\0';
        PDA_CommonCall(argv[i], (int)strlen(argv[i]), response, &length);
        printf("request   %s\nresponse  %s\n", argv[i], response);
    }
    return argc > 1 ? 0 : 2;
}
