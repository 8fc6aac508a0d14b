# vantor_add_test(<name> SOURCES <file>... [LIBRARIES <target>...] [TIMEOUT <seconds>] [LABELS <label>...] [NO_DISPLAY]
#                 [STANDALONE])
#
# A QtTest program run by CTest, each on an X server of its own with Mesa's software OpenGL unless NO_DISPLAY is given.
# For Windows only the tests that VANTOR_WINDOWS_TESTS names are built. The label "wine-10" is for those that older
# versions of Wine can't pass, "wine" for all others. They get twice the time: Wine's waits are slow.
#
# STANDALONE leaves the library and the test support out, for a program that loads and unloads the library. Its leaks are
# not looked for: those of the libraries below ours are in modules that have no name any more.
function(vantor_add_test name)
    cmake_parse_arguments(ARG "NO_DISPLAY;STANDALONE" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    if(NOT ARG_STANDALONE)
        vantor_sanitizer_support(${name})
    endif()
    set_target_properties(${name} PROPERTIES AUTOMOC ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE Qt5::Test ${ARG_LIBRARIES})
    if(NOT ARG_STANDALONE)
        target_link_libraries(${name} PRIVATE vantor_test_support Vantor::vantor)
    endif()
    vantor_warnings(${name})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    if(WIN32)
        vantor_add_windows_test(${name} ${ARG_TIMEOUT})
        return()
    endif()
    if(ARG_NO_DISPLAY)
        add_test(NAME ${name} COMMAND ${name})
    else()
        add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/tests/support/with-display $<TARGET_FILE:${name}>)
    endif()
    set(environment_of "")
    if(ARG_NO_DISPLAY)
        list(APPEND environment_of NO_DISPLAY)
    endif()
    if(ARG_STANDALONE)
        list(APPEND environment_of STANDALONE)
    endif()
    vantor_test_environment(${name} ${environment_of})
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests
        FIXTURES_REQUIRED what_tests_write) # the test secrets reads it
endfunction()

# vantor_test_environment(<test> [NO_DISPLAY] [STANDALONE]): what a test program finds around it.
function(vantor_test_environment name)
    cmake_parse_arguments(ARG "NO_DISPLAY;STANDALONE" "" "" ${ARGN})
    # Strict string checks refuse a bounded copy inside libxkbcommon-x11 that is right, before a window can be shown.
    set(asan_options "detect_leaks=$<NOT:$<BOOL:${ARG_STANDALONE}>>:allocator_may_return_null=1")
    if(ARG_NO_DISPLAY)
        string(APPEND asan_options ":strict_string_checks=1")
    endif()
    # No test is heard on the machine's own loudspeakers: a test with sound starts a server of its own.
    set(environment
        "PULSE_SERVER=unix:${CMAKE_BINARY_DIR}/tests/no-sound-server"
        "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp:ignore_noninstrumented_modules=1:halt_on_error=1:second_deadlock_stack=1:allocator_may_return_null=1"
        "ASAN_OPTIONS=${asan_options}"
        "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0"
        "UBSAN_OPTIONS=print_stacktrace=1")
    if(ARG_NO_DISPLAY)
        list(APPEND environment "QT_QPA_PLATFORM=offscreen")
    endif()
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${environment}")
endfunction()

function(vantor_add_windows_test name timeout)
    if(NOT name IN_LIST VANTOR_WINDOWS_TESTS)
        return()
    endif()
    add_dependencies(windows_tests ${name})
    add_test(NAME ${name} COMMAND ${name})
    math(EXPR timeout "2 * ${timeout}")
    if(name IN_LIST VANTOR_NOT_UNDER_OLD_WINE)
        set(label wine-10)
    else()
        set(label wine)
    endif()
    set_tests_properties(${name} PROPERTIES
        TIMEOUT ${timeout} LABELS ${label} WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
endfunction()
