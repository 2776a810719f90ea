/* A host that loads the library while it runs. The argument names it. */
#include <VelOperation.h>

#include <stdio.h>
#include <windows.h>

int main(int argc, char** argv) {
    HMODULE library = LoadLibraryA(argc > 1 ? argv[1] : "VelOperation.dll");
    if (library == NULL) {
        fprintf(stderr, "error %lu\n", GetLastError());
        return 1;
    }
    /* One line for each function. The step in between keeps compilers from warning. */
    uint32_t (*getVersion)(void) = (uint32_t(*)(void))(void (*)(void))GetProcAddress(library, "GetDLLVersion");
    if (getVersion == NULL)
        return 1;

    const uint32_t version = getVersion();
    const bool isCompatible = version >> 16 == VEL_OPERATION_VERSION >> 16 && version >= VEL_OPERATION_VERSION;
    printf("version %u.%u.%u\n", version >> 16, version >> 8 & 0xFF, version & 0xFF);

    FreeLibrary(library); /* after the last Dispose */
    return isCompatible ? 0 : 1;
}
