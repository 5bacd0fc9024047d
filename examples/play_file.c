#define _POSIX_C_SOURCE 199309L /* nanosleep */
/* The smallest host: plays a file and prints the position until the end.
 *   play_file FILE */
#include <stdio.h>
#include <vexaengine.h>
#ifdef _WIN32
#include <windows.h>
#define sleep_ms(ms) Sleep(ms)
#else
#include <time.h>
static void sleep_ms(long ms) {
    struct timespec pause = {ms / 1000, (ms % 1000) * 1000000L};
    nanosleep(&pause, NULL);
}
#endif

int main(int argc, char **argv) {
    char recordFolder[256] = "", saveFolder[256] = "";
    if (argc != 2) {
        fprintf(stderr, "usage: play_file FILE\n");
        return 2;
    }
    int32_t result = VexaEngine_Play(NULL, argv[1], 0, recordFolder, 0, saveFolder);
    if (result != 1) {
        fprintf(stderr, "play_file: %s: error %d\n", argv[1], (int)result);
        return 1;
    }
    printf("VexaEngine %s, %d ms\n", VEXA_VERSION_STRING, (int)VexaEngine_GetLength());
    while (VexaEngine_GetMode() != VEXA_MODE_ENDED) {
        printf("%d ms\n", (int)VexaEngine_GetPosition());
        sleep_ms(250);
    }
    VexaEngine_Stop();
    return 0;
}
