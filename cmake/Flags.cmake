# Compiler flags, as interface libraries.

set(VEL_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined")

# Within another project, or with --compile-no-warning-as-error, warnings are no errors.
set(CMAKE_COMPILE_WARNING_AS_ERROR ${PROJECT_IS_TOP_LEVEL})

# For everything that is built here. Results are contract to the last bit: no contraction, and no fast-math even if the
# surrounding project uses it. When linking, fast-math would change the processor's mode for the whole process.
add_library(vel_flags INTERFACE)
target_link_options(vel_flags INTERFACE -fno-fast-math)
target_compile_options(vel_flags INTERFACE
    -fno-fast-math -ffp-contract=off
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
option(VEL_PORTABLE "Leave the instructions of this processor out, so that what others compile is tested here" OFF)
if(VEL_PORTABLE)
    target_compile_definitions(vel_flags INTERFACE VEL_PORTABLE)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND NOT WIN32) # otherwise times on 32-bit Linux end in 2038
    target_compile_definitions(vel_flags INTERFACE _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()
set(VEL_SANITIZED 0)
if(VEL_SANITIZE)
    set(VEL_SANITIZED 1)
    target_compile_options(vel_flags INTERFACE
        -fsanitize=${VEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vel_flags INTERFACE -fsanitize=${VEL_SANITIZE})
endif()

# For the code of the shared library: position independent, nothing exported unless it says so, no run-time type
# information (nothing here needs it), and no unique symbols, which would prevent unloading.
add_library(vel_library_flags INTERFACE)
target_compile_options(vel_library_flags INTERFACE
    -fPIC -fvisibility=hidden -fvisibility-inlines-hidden -ffunction-sections -fdata-sections
    $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(NOT VEL_SANITIZE) # sanitizers look at types
    target_compile_options(vel_library_flags INTERFACE -fno-rtti)
endif()
