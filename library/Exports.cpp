/// The nine exports. They only forward, and give a null handle a defined answer.

#include "VelOperation.h"

#include "core/Factory.h"
#include "core/Message.h"
#include "library/BuildText.h"
#include "library/OperationTable.h"

namespace {

using Velmarosk::Operation::COperation;

COperation* FromHandle(VelHandle handle) noexcept { return static_cast<COperation*>(handle); }

/// Ends a list of variable arguments on every way out, exceptions included.
class ListEnd {
public:
    explicit ListEnd(std::va_list& started) noexcept : list(started) {}
    ListEnd(const ListEnd&) = delete;
    ListEnd& operator=(const ListEnd&) = delete;
    ~ListEnd() { va_end(list); }

private:
    std::va_list& list;
};

} // namespace

uint32_t GetDLLVersion(void) { return VEL_OPERATION_VERSION; }

const char* GetDLLBuildNumber(void) { return Velmarosk::Operation::BuildText(); }

void SetMessageCallback(MessageCallback callback) { Velmarosk::Operation::SetMessageCallback(callback); }

VelHandle Create(bool noValueAware, const char* operationName, const char* typeSignature, ...) {
    std::va_list references;
    va_start(references, typeSignature);
    const ListEnd end(references);
    return Velmarosk::Operation::CreateOperation(Velmarosk::Operation::AllOperations(), noValueAware, operationName,
                                                 typeSignature, references);
}

bool Initialize(VelHandle handle, const char* parameterSignature, ...) {
    if (handle == nullptr)
        return false;
    std::va_list arguments;
    va_start(arguments, parameterSignature);
    const ListEnd end(arguments);
    Velmarosk::Operation::Parameters parameters(parameterSignature, arguments);
    return FromHandle(handle)->Initialize(parameters);
}

bool Execute(VelHandle handle) { return handle != nullptr && FromHandle(handle)->Execute(); }

bool Reset(VelHandle handle) {
    if (handle != nullptr)
        FromHandle(handle)->Reset();
    return true;
}

bool Terminate(VelHandle handle) { return handle != nullptr && FromHandle(handle)->Terminate(); }

bool Dispose(VelHandle handle) {
    delete FromHandle(handle);
    return true;
}
