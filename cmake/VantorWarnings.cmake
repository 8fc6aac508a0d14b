# vantor_warnings(<target>): the project's warning level, on the project's own targets only.
function(vantor_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /utf-8 $<$<BOOL:${VANTOR_WERROR}>:/WX>)
        return()
    endif()
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wno-missing-field-initializers
        $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
        $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
        $<$<COMPILE_LANGUAGE:CXX>:-Wsuggest-override>
        $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments> # Qt's logging macros are such
        $<$<BOOL:${VANTOR_WERROR}>:-Werror>)
endfunction()
