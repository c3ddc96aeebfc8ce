/* The C interface header compiles as strict C and links against the library. */
#include <ZMPavaAnalyzerC.h>

int main(void) { return 0; }
