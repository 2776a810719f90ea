/* A host on Windows that loads the library while it runs: every export, a calculation, the gear table's name in UTF-8,
 * and the clocks. Prints what is wrong. */
#include <VelOperation.h>

#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

static int failures = 0;

static void Check(bool isRight, const char* what) {
    if (!isRight) {
        printf("wrong: %s\n", what);
        ++failures;
    }
}

static FARPROC Find(HMODULE library, const char* name) {
    const FARPROC function = GetProcAddress(library, name);
    if (function == NULL) {
        printf("no export %s\n", name);
        exit(1);
    }
    return function;
}

#define FIND(type, name) type name##Now = (type)(void (*)(void))Find(library, #name)
typedef uint32_t (*VersionCall)(void);
typedef const char* (*TextCall)(void);
typedef void (*CallbackCall)(MessageCallback callback);
typedef VelHandle (*CreateCall)(bool noValueAware, const char* operationName, const char* typeSignature, ...);
typedef bool (*InitializeCall)(VelHandle handle, const char* parameterSignature, ...);
typedef bool (*HandleCall)(VelHandle handle);

static int messages = 0;
static void OnMessage(int level, const char* text) { messages += level == 2 && text[0] == 'V'; }

static void UseOnce(const char* path) {
    const HMODULE library = LoadLibraryA(path);
    if (library == NULL) {
        printf("%s does not load: %lu\n", path, GetLastError());
        exit(1);
    }
    FIND(VersionCall, GetDLLVersion);
    FIND(TextCall, GetDLLBuildNumber);
    FIND(CallbackCall, SetMessageCallback);
    FIND(CreateCall, Create);
    FIND(InitializeCall, Initialize);
    FIND(HandleCall, Execute);
    FIND(HandleCall, Reset);
    FIND(HandleCall, Terminate);
    FIND(HandleCall, Dispose);

    Check(GetDLLVersionNow() == VEL_OPERATION_VERSION, "version");
    Check(strncmp(GetDLLBuildNumberNow(), "Beta Build ", 11) == 0, "build text, set at load");
    SetMessageCallbackNow(OnMessage);
    messages = 0;
    Check(CreateNow(false, "Plus", "") == NULL && messages == 1, "message of a refusal");

    double z = -1, x = -1;
    double *zNow = &z, *xNow = &x;
    VelHandle scale = CreateNow(true, "PhysToFloat", "DD", &zNow, &xNow);
    Check(InitializeNow(scale, "DD", 2.0, 0.5), "parameters");
    x = 3;
    Check(ExecuteNow(scale) && z == 6.5, "calculation");
    x = -1;
    Check(!ExecuteNow(scale) && z == -1, "NoValue");
    Check(ResetNow(scale) && TerminateNow(scale) && DisposeNow(scale), "end");

    /* A first piece of 80 bytes ends the reading: Initialize is true if the file was found. */
    const HANDLE file =
        CreateFileW(L"Gänge-齿轮.txt", GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
    const char piece[80] = {0};
    DWORD written = 0;
    WriteFile(file, piece, sizeof piece, &written, NULL);
    CloseHandle(file);
    int8_t gear = 0;
    uint16_t speed = 0;
    int8_t* gearNow = &gear;
    uint16_t* speedNow = &speed;
    VelHandle gears = CreateNow(false, "Gangermittlung", "bWWW", &gearNow, &speedNow, &speedNow, &speedNow);
    Check(InitializeNow(gears, "DS", 0.5, "G\xC3\xA4nge-\xE9\xBD\xBF\xE8\xBD\xAE.txt"),
          "gear table with a name in UTF-8");
    Check(!InitializeNow(gears, "DS", 0.5, "G\xE4nge.txt"), "gear table with a name that is not UTF-8");
    DisposeNow(gears);
    DeleteFileW(L"Gänge-齿轮.txt");

    SYSTEMTIME before, after;
    double seconds = -1;
    double* secondsNow = &seconds;
    VelHandle clock = CreateNow(false, "LocalTime", "D", &secondsNow);
    double hour = 99;
    double* hourNow = &hour;
    VelHandle hours = CreateNow(false, "Hour", "DD", &hourNow, &secondsNow);
    GetLocalTime(&before);
    Check(ExecuteNow(clock) && ExecuteNow(hours), "clock");
    GetLocalTime(&after);
    Check(hour == before.wHour || hour == after.wHour, "hour of the local time");
    DisposeNow(hours);
    DisposeNow(clock);
    FreeLibrary(library);
}

int main(int argc, char** argv) {
    for (int load = 0; argc > 1 && load < 3; ++load)
        UseOnce(argv[1]);
    return argc > 1 ? failures : 1;
}
