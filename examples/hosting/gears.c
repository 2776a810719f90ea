/* The gear table of "Gangermittlung", handed over through a pipe in packet mode. */
#define _GNU_SOURCE
#include <VelOperation.h>

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

static bool InitializeGears(VelHandle handle) {
    int ends[2];
    char name[32], closing[80] = {0};
    if (pipe2(ends, O_DIRECT | O_CLOEXEC) != 0) /* needs _GNU_SOURCE */
        return false;
    bool isReady = write(ends[1], "3.45 =1", 8) == 8; /* with its NUL */
    isReady = write(ends[1], "1.94 =2", 8) == 8 && isReady;
    isReady = write(ends[1], closing, sizeof closing) == sizeof closing && isReady;
    snprintf(name, sizeof name, "/proc/self/fd/%d", ends[0]);
    isReady = isReady && Initialize(handle, "DS", 0.05, name);
    close(ends[0]);
    close(ends[1]);
    return isReady;
}

int main(void) {
    int8_t gear = INT8_MIN;
    uint16_t gate = 0xFFFF, divisor = 0xFFFF, dividend = 0xFFFF;
    int8_t* gearNow = &gear;
    uint16_t *gateNow = &gate, *divisorNow = &divisor, *dividendNow = &dividend;
    VelHandle handle = Create(true, "Gangermittlung", "bWWW", &gearNow, &gateNow, &divisorNow, &dividendNow);
    if (!InitializeGears(handle))
        return 1;
    gate = 1;
    divisor = 1000;
    dividend = 1950;
    const bool hasFound = Execute(handle) && gear == 2;
    Dispose(handle);
    return hasFound ? 0 : 1;
}
