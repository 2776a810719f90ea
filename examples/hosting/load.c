/* A host that loads the library while it runs. The argument names it. */
#include <VelOperation.h>

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
    void* library = dlopen(argc > 1 ? argv[1] : "libVelOperation.so.1", RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    /* One line for each function. C has no cast from dlsym's pointer to a function, so the bytes are copied. */
    uint32_t (*getVersion)(void);
    void* symbol = dlsym(library, "GetDLLVersion");
    memcpy(&getVersion, &symbol, sizeof symbol);

    const uint32_t version = getVersion();
    const bool isCompatible = version >> 16 == VEL_OPERATION_VERSION >> 16 && version >= VEL_OPERATION_VERSION;
    printf("version %u.%u.%u\n", version >> 16, version >> 8 & 0xFF, version & 0xFF);

    dlclose(library); /* after the last Dispose */
    return isCompatible ? 0 : 1;
}
