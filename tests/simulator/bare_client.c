/*
 * A host in plain C for the tests of pdasim.
 *
 * bare_client good            one information request, its reply on standard output
 * bare_client gap             the same, then a second request whose sequence number jumps
 * bare_client exit CODE       no request, this exit code
 * bare_client signal NUMBER   no request, ends by this signal
 * bare_client wait            no request, waits for ever
 */
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int sendRequest(int node, int sequence) {
    char message[128];
    int size =
        snprintf(message, sizeof(message),
                 "0001128001QEV   %024d%8s05<Ex_TrTime>20260102030405</Ex_TrTime><Ex_SeqNo>%04d</Ex_SeqNo>",
                 0, "", sequence);
    return size == 112 && write(node, message, 112) == 112;
}

static int printReply(int node) {
    int reports = 0;
    while (reports < 4) {
        struct pollfd watched = {node, POLLIN, 0};
        if (poll(&watched, 1, 10000) != 1) {
            return 0;
        }
        /* The one byte more ends the text. A constant count, so that no fortified read is made of it. */
        char report[65] = {0};
        if (read(node, report, 64) == 64) {
            fputs(report, stdout);
            ++reports;
        }
    }
    return 1;
}

static int talk(int withGap) {
    int node = open("/dev/hidraw0", O_RDWR | O_NONBLOCK);
    if (node < 0 || !sendRequest(node, 1) || !printReply(node) || (withGap && !sendRequest(node, 3))) {
        perror("bare_client");
        return 1;
    }
    close(node);
    return 0;
}

int main(int argc, char** argv) {
    const char* mode = argc > 1 ? argv[1] : "";
    int number = argc > 2 ? (int)strtol(argv[2], NULL, 10) : 0;
    if (strcmp(mode, "good") == 0) {
        return talk(0);
    }
    if (strcmp(mode, "gap") == 0) {
        return talk(1);
    }
    if (strcmp(mode, "exit") == 0) {
        return number;
    }
    if (strcmp(mode, "signal") == 0) {
        raise(number);
    }
    if (strcmp(mode, "wait") == 0) {
        puts("waiting");
        fflush(stdout);
        for (;;) {
            pause();
        }
    }
    return 2;
}
