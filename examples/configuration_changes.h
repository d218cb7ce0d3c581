/*
 * Shows what differs between two texts of the router's configuration, for C and C++: a "+" before a line that has come,
 * a "-" before one that has gone, and the head of its section above it. A line is known by its section, not by its
 * place.
 */
#ifndef CONFIGURATION_CHANGES_H
#define CONFIGURATION_CHANGES_H

#include <stdbool.h>
#include <stdio.h>
#include <string.h>

struct configuration_text {
    const char* begin;
    size_t length;
};

struct configuration_line {
    const char* section;
    struct configuration_text head; /* of its section; empty where the lines are the whole router's */
    struct configuration_text text;
};

static inline bool same_text(struct configuration_text a, struct configuration_text b) {
    return a.length == b.length && (a.length == 0 || memcmp(a.begin, b.begin, a.length) == 0);
}

/* Goes to the next line; false at the end. "#" parts the sections, "return" is the last line. */
static inline bool next_line(const char** rest, struct configuration_line* line) {
    while (**rest != '\0') {
        struct configuration_text text = {*rest, strcspn(*rest, "\n")};

        *rest += text.length + (text.begin[text.length] == '\n' ? 1 : 0);
        if (*text.begin == '#' || strncmp(text.begin, "return\n", 7) == 0) {
            line->section = *rest;
            line->head.length = 0;
            continue;
        }
        if (*text.begin != ' ')
            line->head = text;
        line->text = text;
        return true;
    }
    return false;
}

static inline bool has_line(const char* configuration, const struct configuration_line* wanted) {
    struct configuration_line line = {configuration, {"", 0}, {"", 0}};

    while (next_line(&configuration, &line))
        if (same_text(line.head, wanted->head) && same_text(line.text, wanted->text))
            return true;
    return false;
}

static inline void print_line(char sign, struct configuration_text text) {
    printf("%c ", sign);
    fwrite(text.begin, 1, text.length, stdout);
    printf("\n");
}

/* The lines of one configuration that the other has not. */
static inline int print_lines_without(const char* configuration, const char* other, char sign) {
    struct configuration_line line = {configuration, {"", 0}, {"", 0}};
    const char* shown = configuration; /* the section that stands above */
    int count = 0;

    while (next_line(&configuration, &line)) {
        if (has_line(other, &line))
            continue;
        if (count == 0 || line.section != shown) {
            printf("  #\n");
            if (line.head.length != 0 && line.head.begin != line.text.begin)
                print_line(' ', line.head);
        }
        shown = line.section;
        print_line(sign, line.text);
        count++;
    }
    return count;
}

static inline void print_changes(const char* before, const char* after) {
    int count = print_lines_without(before, after, '-') + print_lines_without(after, before, '+');

    if (count == 0)
        printf("  (no change)\n");
}

#endif
