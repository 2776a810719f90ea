/*
 * VelOperation: signal operations for measurement and data logging.
 *
 * A host holds typed channels. For each computed channel it creates one operation, which turns the current samples of
 * a few operand channels into one new sample of a result channel each time the host executes it. This header is the
 * whole interface: nine functions, for C11 and for C++. VelOperation.hpp is a typed layer on top of it for C++.
 *
 * What the library does not do: it owns no channel, starts no thread, takes no lock, writes no log, and reads no file
 * except the gear table that a host names to "Gangermittlung".
 *
 * Conventions
 *
 * 1. Life of an operation. Create, then Initialize if the operation takes parameters, then Execute once per sample
 *    period, with Reset for each fresh start, then Terminate, then Dispose. Nothing checks the order: Execute without
 *    Initialize computes with the initial values of the parameters.
 *
 * 2. References. A channel is reached through the address of the host's pointer to its current sample:
 *
 *        operation ---> host's pointer ---> current sample
 *           (kept for life)   (may move between calls)
 *
 *    Both the pointer and the sample belong to the host and must outlive the operation. Each access follows both, so
 *    the host may move the pointer (over a column, a ring, two buffers) without telling the operation. An operand's
 *    pointer may be null while the operation does not read that operand. An operand and a result may share a channel.
 *
 * 3. NoValue. THE SAMPLE THAT STANDS IN A CHANNEL WHEN Create IS CALLED IS THAT CHANNEL'S NoValue for this operation:
 *    the value that says "no valid sample now". Store it in every operand and result channel before Create. The
 *    operation keeps it for life as a marker; later changes of the channel do not change it. The pointer of the
 *    result must be valid at Create. An operand whose pointer is null at Create has no marker and never is NoValue,
 *    unless the reference of an operation says otherwise.
 *    A floating marker that is a NaN stands for every NaN; other markers compare exactly (-0.0 equals +0.0).
 *
 * 4. Threads. [set-up] functions may run on several threads at once for different operations, as long as nobody
 *    changes the message callback meanwhile. [one thread per handle]: calls for one handle must not overlap; calls for
 *    different handles may, as long as none of them writes a channel that another one uses.
 *
 * 5. Memory. [no allocation] functions allocate nothing in steady state; windows and delay lines allocate while they
 *    fill. If an allocation fails, std::bad_alloc passes through the function to the host: a host that must survive
 *    this makes the call from C++.
 *
 * 6. Results. A boolean sample is a UInt16, written as 0 or 1, read as true when it is not 0. Integer arithmetic wraps
 *    at the width of its type. The same parameters and samples give the same results to the last bit, NaNs included, on
 *    every platform and with every compiler that the library is tested on. 19 operations call the C library's
 *    mathematical functions, and their last bits may differ with it; the reference names them.
 */
#ifndef VEL_OPERATION_H
#define VEL_OPERATION_H

#include <stdbool.h>
#include <stdint.h>
#include <string.h>

#if defined(__GNUC__) && !defined(_WIN32)
#define VEL_API __attribute__((visibility("default")))
#else
#define VEL_API
#endif

/** What GetDLLVersion answers: 0x10800, version 1.8.0. */
#define VEL_OPERATION_VERSION 67584u

#ifdef __cplusplus
extern "C" {
#endif

/** An operation. Belongs to the host from Create to Dispose. */
typedef void* VelHandle;

/**
 * Receives the library's messages. `text` is NUL-terminated, at most 119 characters long, begins with
 * "VelOperation.dll : ", and is valid during the call only. `level` is 2 (the request has a wrong form), 4
 * (there is no such operation on these types) or 8 (the same, of an operation with three operands, or with two boolean
 * operands and another result).
 */
typedef void (*MessageCallback)(int level, const char* text);

/** The version of the library, VEL_OPERATION_VERSION. [any thread] */
VEL_API uint32_t GetDLLVersion(void);

/** The build text, "Beta Build 26227". The library owns it and never moves or frees it. [any thread] */
VEL_API const char* GetDLLBuildNumber(void);

/**
 * Sets the function that receives messages; null, the initial state, stops them. Only Create and the Initialize of the
 * limit operations send messages, on the calling thread. Do not call this while another thread is in one of those.
 * [set-up]
 */
VEL_API void SetMessageCallback(MessageCallback callback);

/**
 * Creates an operation.
 *
 * noValueAware   true: the operation does not compute while an operand holds its NoValue; false: it treats NoValue
 *                like any other sample. Some operations differ from this; their reference says how.
 * operationName  the name, compared as a whole and case sensitive: "Plus".
 * typeSignature  one letter for each channel, the result first, then the operands in order:
 *
 *                    B UInt8   W UInt16   L UInt32   Q UInt64    F or f Float32
 *                    b SInt8   w SInt16   l SInt32   q SInt64    D or d Float64
 *
 * ...            one reference for each letter, in the same order: the address of the pointer to the channel's current
 *                sample, for instance the `double**` that `&current` is. Operations with several results take all
 *                results first.
 *
 * Returns the handle, or null if there is no such operation on these types; a message tells why. Only these are
 * refused in silence: "If" on unknown types, and signatures of more than four letters for names other than
 * "Gangermittlung", "UpperLimit", "LowerLimit", "Linea", "VLinea", "Extract8Bits", "Extract16Bits" and "Statistics".
 * The strings must not be null, and are not kept. [set-up] [may call back]
 */
VEL_API VelHandle Create(bool noValueAware, const char* operationName, const char* typeSignature, ...);

/**
 * Passes parameters. The length of `parameterSignature` says how many values follow; only the limit operations look at
 * its letters. Pass values as C passes variable arguments: integers as the declared type (up to 32 bits as int or
 * unsigned, 64 bits as long long), floating values as double. The one exception, the duration of "MonoFlop" with one
 * operand, is passed through VelPackFloat32.
 *
 * False if the operation refuses the parameters, and for a null handle. May be called again at any time. The reference
 * says what each operation takes. [one thread per handle] [may call back]
 */
VEL_API bool Initialize(VelHandle handle, const char* parameterSignature, ...);

/**
 * Computes one sample.
 *
 * True: the calculation ran, and the result holds its outcome. Operations that latch write it only when it changes.
 * False: there is no new value, for one of two reasons that the return value does not tell apart. Either an operand
 * was NoValue, and the result now holds the result's NoValue; or the calculation was refused (a zero divisor, a root of
 * a negative number), and the result is as it was. Also false for a null handle.
 * [one thread per handle] [no allocation]
 */
VEL_API bool Execute(VelHandle handle);

/**
 * Returns to the state of a fresh start. Keeps parameters and NoValue markers, and writes no channel. Always true, even
 * for a null handle. [one thread per handle] [no allocation]
 */
VEL_API bool Reset(VelHandle handle);

/** Ends the work of an operation before Dispose. False for a null handle. [one thread per handle] */
VEL_API bool Terminate(VelHandle handle);

/** Destroys an operation and its handle. Always true, even for a null handle. [one thread per handle] */
VEL_API bool Dispose(VelHandle handle);

#ifdef __cplusplus
}
#endif

/**
 * The argument that passes a true Float32. C turns every float argument into a double, but the duration of "MonoFlop"
 * is read as a Float32 from the low 32 bits of its argument. This function puts it there, on either byte order:
 *
 *     Initialize(handle, "F", VelPackFloat32(0.5f));
 */
static inline double VelPackFloat32(float value) {
    uint32_t low;
    uint64_t bits;
    double argument;
    memcpy(&low, &value, sizeof low);
    bits = low;
    memcpy(&argument, &bits, sizeof argument);
    return argument;
}

#endif
