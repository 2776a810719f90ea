/* The gear table of "Gangermittlung", handed over through a named pipe: a thread writes it while Initialize reads. */
#include <VelOperation.h>

#include <windows.h>

static const char pipeName[] = "\\\\.\\pipe\\gears";

/* Each record is a message of its own. The next one follows when the library has read it: FlushFileBuffers waits. */
static void Send(HANDLE pipe, const char* record, DWORD size) {
    DWORD written = 0;
    WriteFile(pipe, record, size, &written, NULL);
    FlushFileBuffers(pipe);
}

static DWORD WINAPI SendTable(LPVOID pipe) {
    const char closing[80] = {0};
    ConnectNamedPipe(pipe, NULL);
    Send(pipe, "3.45 =1", 8); /* with its NUL */
    Send(pipe, "1.94 =2", 8);
    Send(pipe, closing, sizeof closing);
    return 0;
}

static bool InitializeGears(VelHandle handle) {
    HANDLE pipe = CreateNamedPipeA(pipeName, PIPE_ACCESS_OUTBOUND, PIPE_TYPE_MESSAGE, 1, 4096, 4096, 0, NULL);
    if (pipe == INVALID_HANDLE_VALUE)
        return false;
    HANDLE sender = CreateThread(NULL, 0, SendTable, pipe, 0, NULL);
    const bool isReady = sender != NULL && Initialize(handle, "DS", 0.05, pipeName);
    if (sender != NULL) {
        WaitForSingleObject(sender, INFINITE);
        CloseHandle(sender);
    }
    CloseHandle(pipe);
    return isReady;
}

int main(void) {
    int8_t gear = INT8_MIN;
    uint16_t gate = 0xFFFF, divisor = 0xFFFF, dividend = 0xFFFF;
    int8_t* gearNow = &gear;
    uint16_t *gateNow = &gate, *divisorNow = &divisor, *dividendNow = &dividend;
    VelHandle handle = Create(true, "Gangermittlung", "bWWW", &gearNow, &gateNow, &divisorNow, &dividendNow);
    if (handle == NULL || !InitializeGears(handle))
        return 1;
    gate = 1;
    divisor = 1000;
    dividend = 1950;
    const bool hasFound = Execute(handle) && gear == 2;
    Dispose(handle);
    return hasFound ? 0 : 1;
}
