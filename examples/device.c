/* A panel's device in C, with libcurl: asks a service for its frame in pieces, hands each piece to
 * the panel, and sleeps until the next one.
 *
 *     cc device.c -lcurl -o device
 *     ./device http://127.0.0.1:8480/devices/kitchen/frame FRAME [TOKEN [WAKES]]
 *
 * Of its own it holds one piece and some text: what a microcontroller has room for. A frame of any
 * size is read so, by ranges that are refused if the frame changes meanwhile. FRAME stands for the
 * panel's memory. */
#include <curl/curl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

enum { PIECE = 4096, RETRY = 60 };

static unsigned char piece[PIECE];
static size_t filled;
static char tag[80];  /* of the frame that the panel shows */
static char part[80]; /* of the frame that is being read */
static long next_wake;
static long total; /* bytes of the frame; -1: not known */

static size_t on_body(char *data, size_t size, size_t count, void *unused) {
    (void)unused;
    size *= count;
    if (filled + size > PIECE)
        return 0; /* more than was asked for */
    memcpy(piece + filled, data, size);
    filled += size;
    return size;
}

static size_t on_header(char *line, size_t size, size_t count, void *unused) {
    (void)unused;
    size *= count;
    char text[160] = "";
    memcpy(text, line, size < sizeof text ? size : sizeof text - 1);
    if (strncasecmp(text, "etag: ", 6) == 0)
        sscanf(text + 6, "%79[^\r\n]", part);
    else if (strncasecmp(text, "x-next-wake: ", 13) == 0)
        next_wake = strtol(text + 13, NULL, 10);
    else if (strncasecmp(text, "content-range: ", 15) == 0 && strchr(text, '/'))
        total = strtol(strchr(text, '/') + 1, NULL, 10);
    return size;
}

/* Asks for a piece; returns the status, or 0 if the service cannot be reached. */
static long ask(CURL *curl, const char *token, long from) {
    char text[300];
    struct curl_slist *headers = NULL;
    if (token && *token) {
        snprintf(text, sizeof text, "Authorization: Bearer %s", token);
        headers = curl_slist_append(headers, text);
    }
    snprintf(text, sizeof text, from == 0 ? "If-None-Match: %s" : "If-Range: %s",
             from == 0 ? tag : part);
    if (from > 0 || *tag)
        headers = curl_slist_append(headers, text);
    snprintf(text, sizeof text, "%ld-%ld", from, from + PIECE - 1);
    curl_easy_setopt(curl, CURLOPT_RANGE, text);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    filled = 0;
    long status = 0;
    if (curl_easy_perform(curl) == CURLE_OK)
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_slist_free_all(headers);
    return status;
}

/* Whether the panel shows the frame that the service has. */
static int update(CURL *curl, const char *token, const char *path) {
    next_wake = RETRY;
    total = -1;
    long status = ask(curl, token, 0);
    if (status == 304)
        return 1;
    FILE *panel = status == 206 ? fopen(path, "wb") : NULL;
    if (!panel)
        return 0;
    long done = 0;
    while (status == 206 && fwrite(piece, 1, filled, panel) == filled) {
        done += (long)filled;
        if (done >= total || filled == 0)
            break;
        status = ask(curl, token, done);
    }
    const int whole = fclose(panel) == 0 && done == total;
    strcpy(tag, whole ? part : "");
    return whole;
}

int main(int argc, char **argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: device ADDRESS FRAME [TOKEN [WAKES]]\n");
        return 2;
    }
    const long wakes = argc > 4 ? strtol(argv[4], NULL, 10) : 0;
    CURL *curl = curl_easy_init();
    if (!curl)
        return 1;
    curl_easy_setopt(curl, CURLOPT_URL, argv[1]);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, on_body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, on_header);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 1024L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 60L);
    for (long wake = 1;; ++wake) {
        const int shown = update(curl, argc > 3 ? argv[3] : NULL, argv[2]);
        if (!shown)
            fprintf(stderr, "the frame could not be read whole\n");
        if (wake == wakes) {
            curl_easy_cleanup(curl);
            return shown ? 0 : 1;
        }
        sleep((unsigned)(shown ? next_wake : RETRY));
    }
}
