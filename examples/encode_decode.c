/* The C interface from plain C: builds a record with a list, encodes it,
 * prints each frame's wire form and decodes the frames back.
 *
 *   pava_c_example [ID]      (default 20020, a list of data items) */
#include <stdio.h>
#include <stdlib.h>

#include "ZMPavaAnalyzerC.h"

/* Stops the program with the library's text for a failed call. */
static void check(int rc, const char* what) {
    if (rc != PAVA_RC_OK) {
        fprintf(stderr, "%s: %s (0x%x)\n", what, pava_rc_text(rc), (unsigned)rc);
        exit(1);
    }
}

static void print_bytes(const char* bytes, size_t n) {
    size_t i;
    for (i = 0; i < n; ++i) {
        unsigned char c = (unsigned char)bytes[i];
        if (c >= 0x20 && c < 0x7f)
            putchar(c);
        else
            printf("\\x%02x", c);
    }
}

int main(int argc, char** argv) {
    pava_record* record = NULL;
    pava_record* decoded = NULL;
    pava_frames* frames = NULL;
    char path[64];
    char text[64];
    size_t i, count, length;
    int rc;

    pava_set_log(PAVA_LOG_SINK_OFF, NULL, NULL); /* the codecs' own log lines are not needed here */
    check(pava_record_new(&record), "new record");
    check(pava_record_new(&decoded), "new record");
    check(pava_frames_new(&frames), "new frame set");

    check(pava_set_int(record, "msgId", argc > 1 ? atoi(argv[1]) : 20020), "msgId");
    check(pava_set_int(record, "rii", 5), "rii");
    check(pava_set_bytes(record, "text12b", "BAYCTRL00001", 12), "text12b");
    /* Setting a member one past the end of a list appends the element. */
    for (i = 0; i < 3; ++i) {
        sprintf(path, "dataList[%u].itemId", (unsigned)i);
        check(pava_set_int(record, path, (int64_t)(100 + i)), path);
        sprintf(path, "dataList[%u].itemText", (unsigned)i);
        check(pava_set_bytes(record, path, "V", 1), path);
    }

    rc = pava_encode(record, frames);
    count = pava_frames_count(frames);
    printf("encode -> 0x%x, %u frame(s)\n", (unsigned)rc, (unsigned)count);
    for (i = 0; i < count; ++i) {
        const char* frame = NULL;
        size_t wire = 0, items = 0, k;
        check(pava_frames_at(frames, i, &frame, &wire), "frame");
        printf("  wire |");
        print_bytes(frame, wire);
        printf("|\n");

        /* The wire form is enough to decode. */
        rc = pava_decode(frame, wire, decoded);
        length = 0;
        pava_get_bytes(decoded, "text12b", text, sizeof text, &length);
        pava_list_size(decoded, "dataList", &items);
        printf("  decode -> 0x%x: text12b \"", (unsigned)rc);
        print_bytes(text, length);
        printf("\", %u item(s):", (unsigned)items);
        for (k = 0; k < items; ++k) {
            int64_t id = 0;
            sprintf(path, "dataList[%u].itemId", (unsigned)k);
            pava_get_int(decoded, path, &id);
            printf(" %d", (int)id);
        }
        printf("\n");
    }

    pava_frames_free(frames);
    pava_record_free(decoded);
    pava_record_free(record);
    return rc == PAVA_RC_OK ? 0 : 1;
}
