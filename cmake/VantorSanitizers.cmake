# VANTOR_SANITIZE=address adds AddressSanitizer and UBSan, VANTOR_SANITIZE=thread adds ThreadSanitizer, to every
# target of the project.
if(VANTOR_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(VANTOR_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(VANTOR_SANITIZE)
    message(FATAL_ERROR "VANTOR_SANITIZE is \"${VANTOR_SANITIZE}\"; it must be empty, address or thread")
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
