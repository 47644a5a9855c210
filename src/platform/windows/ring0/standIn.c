/* A WinRing0.dll for machines without the ring-0 component: the same ordinals, no driver, and the status
   "unsupported platform", so that the library loads and says why a register cannot be read. */
#include <windows.h>

#define STATUS_UNSUPPORTED 1

DWORD WINAPI GetDllStatus(void) {
    return STATUS_UNSUPPORTED;
}

BOOL WINAPI InitializeOls(void) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
}

void WINAPI releaseOls(void) {}

BOOL WINAPI RdmsrTx(DWORD index, DWORD* low, DWORD* high, DWORD affinityMask) {
    (void)index, (void)low, (void)high, (void)affinityMask;
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
}

BYTE WINAPI ReadIoPortByte(WORD port) {
    (void)port;
    return 0xFF;
}

void WINAPI WriteIoPortByte(WORD port, BYTE value) {
    (void)port, (void)value;
}

void WINAPI WriteIoPortWord(WORD port, WORD value) {
    (void)port, (void)value;
}

BYTE WINAPI ReadPciConfigByte(DWORD address, DWORD reg) {
    (void)address, (void)reg;
    return 0xFF;
}

WORD WINAPI ReadPciConfigWord(DWORD address, DWORD reg) {
    (void)address, (void)reg;
    return 0xFFFF;
}

DWORD WINAPI ReadPciConfigDword(DWORD address, DWORD reg) {
    (void)address, (void)reg;
    return 0xFFFFFFFF;
}

void WINAPI WritePciConfigDword(DWORD address, DWORD reg, DWORD value) {
    (void)address, (void)reg, (void)value;
}

BOOL WINAPI ReadPciConfigDwordEx(DWORD address, DWORD reg, DWORD* value) {
    (void)address, (void)reg, (void)value;
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
}

BOOL WINAPI WritePciConfigDwordEx(DWORD address, DWORD reg, DWORD value) {
    (void)address, (void)reg, (void)value;
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
}
