/* VelOperation.h as a host in any C and C++ uses it. Compiled only. */
#include <VelOperation.h>

static void Receive(int level, const char* text) {
    (void)level;
    (void)text;
}

bool UseEveryFunction(void);
bool UseEveryFunction(void) {
    float sample = 0;
    float* current = &sample;
    VelHandle handle;
    bool isNew;

    SetMessageCallback(Receive);
    handle = Create(true, "MonoFlop", "FF", &current, &current);
    isNew = Initialize(handle, "F", VelPackFloat32(0.5f)) && Execute(handle) && Reset(handle) && Terminate(handle);
    return Dispose(handle) && isNew && GetDLLVersion() == VEL_OPERATION_VERSION && *GetDLLBuildNumber() != '\0';
}
