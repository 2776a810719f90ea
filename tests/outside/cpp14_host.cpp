// A host in C++14: VelOperation.h is enough for it.
#include <VelOperation.h>

static_assert(__cplusplus == 201402L, "the library has changed the host's version of C++");

bool ExecuteOperation(VelHandle handle) { return Execute(handle); }
