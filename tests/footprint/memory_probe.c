/*
 * What the library takes of a process that uses it, measured from inside: resident memory after each step, and the
 * stack that one query needs. Prints "name value" lines, in bytes. For a thread with a stack of its own, filled with a
 * pattern, of which the query leaves the untouched part.
 *
 * memory_probe
 */
#define _GNU_SOURCE
#include <qel_api.h>

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#define STACK_SIZE (256 * 1024)
#define PATTERN 0xa5

static long resident(void) {
    FILE* status = fopen("/proc/self/status", "re");
    char line[128];
    long kilobytes = 0;

    while (status != NULL && kilobytes == 0 && fgets(line, sizeof line, status) != NULL)
        if (strncmp(line, "VmRSS:", 6) == 0)
            kilobytes = strtol(line + 6, NULL, 10);
    if (status != NULL)
        fclose(status);
    return kilobytes * 1024;
}

static void require(const char* call, long code) {
    if (code == VELA_OK)
        return;
    fprintf(stderr, "%s failed with %ld\n", call, code);
    exit(1);
}

static void* do_nothing(void* unused) { return unused; }

static void* query(void* unused) {
    tagLTE_BREIFINFO_T info;

    require("vela_arp_get_lte", (long)vela_arp_get_lte(&info));
    return unused;
}

/* How much of its stack a thread uses that runs this function. */
static long stack_of(void* (*function)(void*)) {
    unsigned char* stack = mmap(NULL, STACK_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    pthread_attr_t attributes;
    pthread_t thread;
    long untouched = 0;

    if (stack == MAP_FAILED)
        exit(1);
    memset(stack, PATTERN, STACK_SIZE);
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, STACK_SIZE);
    require("pthread_create", pthread_create(&thread, &attributes, function, NULL));
    pthread_join(thread, NULL);
    pthread_attr_destroy(&attributes);
    while (untouched < STACK_SIZE && stack[untouched] == PATTERN)
        untouched++;
    munmap(stack, STACK_SIZE);
    return STACK_SIZE - untouched;
}

int main(void) {
    tagVELA_SESSION_CFG_T cfg;
    uint32_t session;
    long before;

    before = resident();
    require("vela_init", vela_init());
    printf("resident.init %ld\n", resident() - before);
    memset(&cfg, 0, sizeof cfg);
    strcpy(cfg.client_name, "memory_probe");
    require("vela_session_open", vela_session_open(&cfg, &session));
    printf("resident.open %ld\n", resident() - before);
    query(NULL);
    printf("resident.query %ld\n", resident() - before);
    printf("stack.query %ld\n", stack_of(query) - stack_of(do_nothing));
    require("vela_session_close", vela_session_close(session));
    require("vela_release", vela_release());
    return 0;
}
