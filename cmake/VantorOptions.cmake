# What is built. Everything but the library itself is on only where this project is the top one, so that a host
# that adds it as a subdirectory gets the library alone.
set(VANTOR_IS_TOP_LEVEL OFF)
if(CMAKE_SOURCE_DIR STREQUAL PROJECT_SOURCE_DIR)
    set(VANTOR_IS_TOP_LEVEL ON)
endif()

option(VANTOR_BUILD_TESTS "Build the test programs" ${VANTOR_IS_TOP_LEVEL})
option(VANTOR_BUILD_APPS "Build the viewer" ${VANTOR_IS_TOP_LEVEL})
option(VANTOR_BUILD_EXAMPLES "Build the example hosts" ${VANTOR_IS_TOP_LEVEL})
option(VANTOR_BUILD_BENCHMARKS "Build the benchmarks" ${VANTOR_IS_TOP_LEVEL})
option(VANTOR_WERROR "Treat warnings in the project's own code as errors" OFF)
set(VANTOR_SANITIZE "" CACHE STRING "Sanitizers for the project's own code: address, thread or fuzzer")
set_property(CACHE VANTOR_SANITIZE PROPERTY STRINGS "" address thread fuzzer)

if(VANTOR_IS_TOP_LEVEL)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
    endif()
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    find_program(CCACHE_PROGRAM ccache)
    if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
        # ccache takes the precompiled header only with this sloppiness; the other two let checkouts share the cache.
        set(ccache ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros
            CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
        set(CMAKE_C_COMPILER_LAUNCHER ${ccache})
        set(CMAKE_CXX_COMPILER_LAUNCHER ${ccache})
    endif()
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# A DLL is called as on Windows everywhere, also where the compiler is GCC.
if(WIN32)
    set(CMAKE_SHARED_LIBRARY_PREFIX "")
endif()
