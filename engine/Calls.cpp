#include "engine/Calls.h"

#include <exception>
#include <functional>
#include <stdexcept>

#include <ffi.h>
#include <pthread.h>

namespace Vel::Engine {

namespace {

ffi_type* TypeOf(const Argument& argument) {
    // In the order of Argument's alternatives.
    ffi_type* const types[] = {&ffi_type_double, &ffi_type_sint32, &ffi_type_uint32,
                               &ffi_type_sint64, &ffi_type_uint64, &ffi_type_pointer};
    return types[argument.index()];
}

/// A call with fixed and variable arguments. The caller keeps the values.
class VariadicCall {
public:
    void Add(ffi_type& type, const void* value) {
        types.push_back(&type);
        values.push_back(const_cast<void*>(value)); // libffi only reads values, but lacks the const
    }
    void AddVariable(const std::vector<Argument>& arguments) {
        fixed = types.size();
        for (const Argument& argument : arguments)
            Add(*TypeOf(argument), std::visit([](const auto& value) -> const void* { return &value; }, argument));
    }
    void Run(void (*function)(), ffi_type& resultType, void* result) {
        ffi_cif interface;
        if (ffi_prep_cif_var(&interface, FFI_DEFAULT_ABI, static_cast<unsigned>(fixed),
                             static_cast<unsigned>(types.size()), &resultType, types.data()) != FFI_OK)
            throw std::logic_error("libffi does not know this call");
        ffi_call(&interface, function, result, values.data());
    }

private:
    std::vector<ffi_type*> types;
    std::vector<void*> values;
    std::size_t fixed = 0;
};

/// The C calling convention puts most variable arguments on the stack, 8 bytes each; libffi makes a copy there, too.
constexpr std::size_t mostArgumentsOnThisStack = 4096;
constexpr std::size_t stackForArgument = 16;
constexpr std::size_t stackForTheRest = std::size_t{1} << 20;

/// Calls a function on a stack with room for this many arguments.
void CallOnLargeStack(std::size_t arguments, const std::function<void()>& function) {
    struct Call {
        const std::function<void()>& function;
        std::exception_ptr exception;
    } call{function, {}};
    const auto run = [](void* pointer) -> void* {
        Call& running = *static_cast<Call*>(pointer);
        try {
            running.function();
        } catch (...) {
            running.exception = std::current_exception();
        }
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_t thread{};
    constexpr std::size_t page = 4096;
    const std::size_t size = (arguments * stackForArgument + stackForTheRest) / page * page;
    const bool isRunning =
        pthread_attr_setstacksize(&attributes, size) == 0 && pthread_create(&thread, &attributes, run, &call) == 0;
    pthread_attr_destroy(&attributes);
    if (!isRunning)
        throw std::bad_alloc();
    pthread_join(thread, nullptr);
    if (call.exception)
        std::rethrow_exception(call.exception);
}

} // namespace

VelHandle CallCreate(bool noValueAware, const std::string& operation, const ArgumentList& references) {
    const std::uint8_t aware = noValueAware ? 1 : 0;
    const char* const name = operation.c_str();
    const char* const signature = references.signature.c_str();
    VelHandle handle = nullptr;
    VariadicCall call;
    call.Add(ffi_type_uint8, &aware);
    call.Add(ffi_type_pointer, &name);
    call.Add(ffi_type_pointer, &signature);
    call.AddVariable(references.arguments);
    call.Run(reinterpret_cast<void (*)()>(&Create), ffi_type_pointer, &handle);
    return handle;
}

bool CallInitialize(VelHandle handle, const ArgumentList& parameters) {
    const char* const signature = parameters.signature.c_str();
    ffi_arg answer = 0;
    VariadicCall call;
    call.Add(ffi_type_pointer, &handle);
    call.Add(ffi_type_pointer, &signature);
    call.AddVariable(parameters.arguments);
    const auto run = [&] { call.Run(reinterpret_cast<void (*)()>(&Initialize), ffi_type_uint8, &answer); };
    if (parameters.arguments.size() > mostArgumentsOnThisStack)
        CallOnLargeStack(parameters.arguments.size(), run);
    else
        run();
    return (answer & 0xffu) != 0;
}

} // namespace Vel::Engine
