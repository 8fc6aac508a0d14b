# VANTOR_SANITIZE=address adds AddressSanitizer and UBSan, VANTOR_SANITIZE=thread adds ThreadSanitizer,
# VANTOR_SANITIZE=fuzzer adds the first two and what libFuzzer counts by (Clang only), to every target of the project.
if(VANTOR_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(VANTOR_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(VANTOR_SANITIZE STREQUAL "fuzzer")
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "libFuzzer comes with Clang; the preset fuzz names it as the compiler")
    endif()
    # Left out is what asks for type information of classes whose vtables are in libraries that hide them.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize=vptr,function
        -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=fuzzer-no-link,address,undefined)
elseif(VANTOR_SANITIZE)
    message(FATAL_ERROR "VANTOR_SANITIZE is \"${VANTOR_SANITIZE}\"; it must be empty, address, thread or fuzzer")
endif()

# vantor_sanitizer_support(<program>): what a program of this project needs to be judged fairly by a sanitizer.
function(vantor_sanitizer_support program)
    set(support ${Vantor_SOURCE_DIR}/tests/support)
    if(VANTOR_SANITIZE)
        target_sources(${program} PRIVATE ${support}/keeplibraries.cpp)
    endif()
    if(VANTOR_SANITIZE STREQUAL "thread")
        target_sources(${program} PRIVATE ${support}/tsanhooks.cpp)
        target_link_libraries(${program} PRIVATE ${CMAKE_DL_LIBS})
    endif()
endfunction()
