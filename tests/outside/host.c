/* A host in C11: the road of one operation through all nine functions. Ends with the number of the line that failed. */

#include "VelOperation.h"

#include <math.h>
#include <string.h>

#define EXPECT(condition)                                                                                              \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            return __LINE__;                                                                                           \
    } while (0)

static int lastLevel;
static char lastText[120];

static void Receive(int level, const char* text) {
    lastLevel = level;
    strncpy(lastText, text, sizeof lastText - 1);
}

int main(void) {
    double x = NAN, y = NAN, z = -1.0;
    double *currentX = &x, *currentY = &y, *currentZ = &z;
    VelHandle divide;

    EXPECT(GetDLLVersion() == 0x10800);
    EXPECT(strcmp(GetDLLBuildNumber(), "Beta Build 26227") == 0);
    SetMessageCallback(Receive);

    EXPECT(Create(true, "Divide", "DD", &currentZ, &currentX) == NULL);
    EXPECT(lastLevel == 4);
    EXPECT(strcmp(lastText, "VelOperation.dll : Unknown or unsupported unary operation Divide") == 0);

    divide = Create(true, "Divide", "DDD", &currentZ, &currentX, &currentY);
    EXPECT(divide != NULL);
    EXPECT(Initialize(divide, ""));
    x = 3.0;
    y = 4.0;
    EXPECT(Execute(divide) && z == 0.75);
    y = 0.0;
    EXPECT(!Execute(divide) && z == 0.75);
    y = NAN;
    EXPECT(!Execute(divide) && z == -1.0);
    EXPECT(Reset(divide));
    EXPECT(Terminate(divide));
    EXPECT(Dispose(divide));

    {
        unsigned short trigger = 0xFFFF, pulse = 0xFFFF;
        unsigned short *currentTrigger = &trigger, *currentPulse = &pulse;
        VelHandle monoFlop = Create(true, "MonoFlop", "WW", &currentPulse, &currentTrigger);
        EXPECT(Initialize(monoFlop, "F", VelPackFloat32(1000.0f)));
        trigger = 1;
        EXPECT(Execute(monoFlop) && pulse == 1);
        pulse = 7;
        EXPECT(Execute(monoFlop) && pulse == 7);
        EXPECT(Dispose(monoFlop));
    }
    SetMessageCallback(NULL);
    return 0;
}
