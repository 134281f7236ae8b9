#include <pdalink.h>

#include <stdio.h>

static char response[128 * 1024];

int main(void) {
    int length = 0;
    int result = PDA_CommonCall("{\"transCode\":\"700000\"}", 22, response, &length);
    printf("C: %d %d %s\n", result, length, response);
    return 0;
}
