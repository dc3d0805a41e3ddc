/* SPDX-License-Identifier: Apache-2.0 */
/* Writes a file's text to standard output with fwrite in stdio's default
 * buffering, the way a display writes what it formats: the cost of the
 * bytes alone, for the format-only comparison. */
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv)
{
    if (argc != 2) {
        fputs("usage: fwrite_text FILE\n", stderr);
        return 1;
    }
    FILE *in = fopen(argv[1], "rb");
    if (in == NULL) {
        perror(argv[1]);
        return 1;
    }
    fseek(in, 0, SEEK_END);
    long size = ftell(in);
    rewind(in);
    char *text = malloc(size > 0 ? (size_t)size : 1);
    if (text == NULL || fread(text, 1, (size_t)size, in) != (size_t)size) {
        fputs("fwrite_text: cannot read the file\n", stderr);
        return 1;
    }
    fclose(in);
    /* One line at a time, as a display hands its lines to stdio. */
    long start = 0;
    for (long i = 0; i < size; i++) {
        if (text[i] == '\n') {
            fwrite(text + start, 1, (size_t)(i + 1 - start), stdout);
            start = i + 1;
        }
    }
    fwrite(text + start, 1, (size_t)(size - start), stdout);
    free(text);
    return fflush(stdout) == 0 ? 0 : 1;
}
