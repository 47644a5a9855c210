/* The smallest host that links the library; built from the installed files alone. */
#include <orvane/hwprobe.h>
#include <stdio.h>

int main(void) {
    printf("memory %d last error '%s'\n", (int)getMemoryLoad(), getLastError());
    return 0;
}
